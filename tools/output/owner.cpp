// SPDX-License-Identifier: MIT
#include "output/owner.hpp"

#include "support/checked_numbers.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

// As tools that deal with containers and pods shorten identifiers; names stay whole.
constexpr std::size_t kIdDigits = 64;
constexpr std::size_t kShortId = 12;
constexpr std::size_t kShortUid = 8;

struct BelongingWords {
    const char* kind;
    const char* text; // null: the name
};

// By the value of Belonging.
constexpr BelongingWords kBelongings[] = {
    {"named", nullptr},
    {"none", "(none)"},
    {"ended", "(ended)"},
    {"not_visible", "(not visible)"},
};

std::string short_id(const std::string& container) {
    const bool id = container.size() == kIdDigits && std::all_of(container.begin(), container.end(),
                                                                 [](char c) { return support::digit_value(c) < 16; });
    return id ? container.substr(0, kShortId) : container;
}

const BelongingWords& words_of(const GroupKey& key) {
    return kBelongings[static_cast<std::size_t>(key.belonging)];
}

} // namespace

std::string belonging_text(const Attribution& attribution) {
    if (attribution.pod) {
        return "pod " + attribution.pod->substr(0, kShortUid);
    }
    if (attribution.container) {
        return "container " + short_id(*attribution.container);
    }
    if (attribution.job) {
        return "job " + *attribution.job;
    }
    return attribution.unit ? "unit " + *attribution.unit : "";
}

bool is_stuck(const Attribution& attribution) {
    return attribution.state == "D" || attribution.state == "Z";
}

std::string group_text(const GroupKey& key) {
    const char* text = words_of(key).text;
    return text == nullptr ? key.name : text;
}

std::optional<std::string> group_name(const GroupKey& key) {
    return key.belonging == Belonging::named ? std::optional(key.name) : std::nullopt;
}

const char* group_kind(const GroupKey& key) {
    return words_of(key).kind;
}

} // namespace kt3::output
