// SPDX-License-Identifier: MIT
#include "output/value.hpp"

#include "observe/text.hpp"
#include "output/units.hpp"

#include <fmt/format.h>

namespace kt3::output {
namespace {

std::string joined(const std::vector<std::string>& texts) {
    std::string text;
    for (const std::string& one : texts) {
        text += (text.empty() ? "" : ", ") + one;
    }
    return text.empty() ? "none" : text;
}

} // namespace

std::string Value::text() const {
    if (!present()) {
        return why_ ? "-" : "";
    }
    switch (kind_) {
    case Kind::flag:
        return std::get<bool>(held_) ? "yes" : "no";
    case Kind::bytes:
        return bytes_text(static_cast<double>(std::get<std::int64_t>(held_)));
    case Kind::hex:
        return fmt::format("{:#06x}", std::get<std::int64_t>(held_));
    case Kind::texts:
        return joined(std::get<std::vector<std::string>>(held_));
    default:
        return csv();
    }
}

std::string Value::csv() const {
    const auto as_text = [this](const auto& value) -> std::string {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
            return "";
        } else if constexpr (std::is_same_v<T, std::string>) {
            return value;
        } else if constexpr (std::is_same_v<T, std::int64_t> || std::is_same_v<T, std::uint64_t>) {
            return std::to_string(value); // page tables have millions of numbers, and dumping JSON is slow
        } else {
            return json().dump();
        }
    };
    return std::visit(as_text, held_);
}

Json Value::json() const {
    const auto as_json = [](const auto& value) -> Json {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
            return nullptr;
        } else if constexpr (std::is_same_v<T, std::string>) {
            return observe::valid_utf8(value);
        } else {
            return value;
        }
    };
    return std::visit(as_json, held_);
}

std::string shown(const Value& value, const char* unit) {
    if (!value.why()) {
        return shown_briefly(value, unit);
    }
    const std::string raw = value.raw().empty() ? "" : ": " + value.raw();
    return fmt::format("-  ({}{})", reason_words(*value.why()), raw);
}

std::string shown_briefly(const Value& value, const char* unit) {
    return value.text() + (*unit == '\0' || !value.present() ? "" : " ") + (value.present() ? unit : "");
}

void put_reading(Json& object, const std::string& key, const Value& value) {
    object[key] = value.json();
    object[key + "_reason"] = value.why() ? Json(reason_code(*value.why())) : Json(nullptr);
    if (!value.raw().empty()) {
        object["raw"][key] = observe::valid_utf8(value.raw());
    }
}

} // namespace kt3::output
