// SPDX-License-Identifier: MIT
#include "config/ini_reading.hpp"

#include "support/checked_numbers.hpp"
#include "support/text_edges.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kt3::config {
namespace {

using Entry = _UTIL_GPU_PREFERENCE_NODE;

std::string_view up_to(std::string_view text, char end) {
    const void* at = text.empty() ? nullptr : std::memchr(text.data(), end, text.size());
    return at == nullptr ? text : text.substr(0, static_cast<std::size_t>(static_cast<const char*>(at) - text.data()));
}

// A value that is longer than its field fills it without a terminator. What a shorter one leaves over is zeroed,
// because entries are compared over all their bytes.
template<std::size_t N>
void fill_field(char (&field)[N], std::string_view text) {
    const std::size_t length = std::min(text.size(), N);
    std::memcpy(field, text.data(), length);
    std::memset(field + length, 0, N - length);
}

// Reads one number off `rest`; false when there is none.
bool take_number(std::string_view& rest, std::int32_t& number) {
    const auto found = support::scan_leading_number(rest, 10);
    if (!found.any_digit) {
        return false;
    }
    number = static_cast<std::int32_t>(found.value);
    rest.remove_prefix(found.end);
    return true;
}

// 0000:03:00.0, all in decimal. Numbers are stored as they are read, four bytes each in this order, so each field
// keeps the low bits of its own number and the later fields overwrite the rest. Reading ends at the first part that
// is missing: the numbers before it are stored, top bytes included.
void store_bus_id(std::string_view value, Entry& entry) {
    constexpr std::size_t kOffsets[] = {
        offsetof(Entry, bus_domain),
        offsetof(Entry, bus_number),
        offsetof(Entry, device_number),
        offsetof(Entry, function_number),
    };
    constexpr char kSeparators[] = {':', ':', '.'};
    for (std::size_t i = 0;; ++i) {
        std::int32_t number = 0;
        if (!take_number(value, number)) {
            return;
        }
        std::memcpy(reinterpret_cast<char*>(&entry) + kOffsets[i], &number, sizeof number);
        if (i == std::size(kSeparators) || value.empty() || value.front() != kSeparators[i]) {
            return;
        }
        value.remove_prefix(1);
    }
}

struct Key {
    std::string_view name;
    void (*store)(std::string_view value, Entry& entry);
};

constexpr Key kKeys[] = {
    {"FullPath", [](std::string_view value, Entry& entry) { fill_field(entry.FullPath, value); }},
    {"GpuPrefer", [](std::string_view value, Entry& entry) { take_number(value, entry.GpuPrefer); }},
    {"PreferGpuName", [](std::string_view value, Entry& entry) { fill_field(entry.PreferGpuName, value); }},
    {"PreferGpuBusID", store_bus_id},
};

// What `entries` that took the first `done` bytes of a page grow to: enough for a page that goes on as it began, and
// at most four times as many, because a page can begin with other sections than it goes on with.
std::size_t next_capacity(std::size_t entries, std::size_t done, std::size_t page) {
    constexpr std::size_t kFirst = 16;
    if (entries < kFirst) {
        return kFirst;
    }
    const std::size_t expected = entries * page / done;
    return std::min(expected + expected / 8 + 1, 4 * entries);
}

} // namespace

std::string_view without_byte_order_mark(std::string_view page) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return page.substr(0, kMark.size()) == kMark ? page.substr(kMark.size()) : page;
}

std::string_view take_line(std::string_view& rest) {
    const std::string_view line = up_to(rest.substr(0, kLinePiece), '\n');
    const bool ends_in_newline = line.size() < std::min(rest.size(), kLinePiece);
    rest.remove_prefix(line.size() + (ends_in_newline ? 1 : 0));
    // A zero byte ends the line for every reader that takes it as a C string. A ";" starts a comment even inside a
    // value: whoever writes the file cannot store one.
    return support::trimmed(up_to(up_to(line, '\0'), ';'));
}

std::string_view section_name(std::string_view line) {
    if (line.empty() || line.front() != '[') {
        return {};
    }
    const std::size_t end = line.find(']');
    return end == line.npos ? std::string_view() : line.substr(1, end - 1);
}

void store_value(std::string_view line, Entry& entry) {
    const std::size_t split = line.find('=');
    if (split == line.npos) {
        return;
    }
    const std::string_view name = support::trimmed(line.substr(0, split));
    for (const Key& key : kKeys) {
        if (key.name == name) {
            key.store(support::trimmed(line.substr(split + 1)), entry);
            return;
        }
    }
}

void store_name(std::string_view name, Entry& entry) {
    fill_field(entry.name, name);
}

std::vector<Entry> parse_ini(std::string_view page) {
    std::vector<Entry> entries;
    Entry before_any_section{};
    std::string_view rest = without_byte_order_mark(page);
    while (!rest.empty()) {
        const std::size_t done = page.size() - rest.size();
        const std::string_view line = take_line(rest);
        const std::string_view name = section_name(line);
        if (name.data() == nullptr) {
            store_value(line, entries.empty() ? before_any_section : entries.back());
            continue;
        }
        if (entries.size() == entries.capacity()) {
            entries.reserve(next_capacity(entries.size(), done, page.size()));
        }
        Entry& added = entries.emplace_back();
        if (entries.size() == 1) {
            added = before_any_section;
        }
        store_name(name, added);
    }
    return entries;
}

} // namespace kt3::config
