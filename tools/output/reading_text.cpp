#include "output/reading_text.hpp"

#include <fmt/format.h>

namespace kt3::output {
namespace {

std::string value_text(const Json& value) {
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    if (value.is_array()) {
        std::string text;
        for (const Json& item : value) {
            text += (text.empty() ? "" : ", ") + value_text(item);
        }
        return text.empty() ? "none" : text;
    }
    return value.is_string() ? value.get<std::string>() : value.dump();
}

} // namespace

void put(Json& object, const std::string& key, const Reading& reading) {
    object[key] = reading.value;
    object[key + "_reason"] = reading.present() ? Json(nullptr) : Json(reason_code(reading.absence));
}

std::string shown(const Reading& reading, const char* unit) {
    return reading.present() ? shown_briefly(reading, unit) : fmt::format("-  ({})", reason_words(reading.absence));
}

std::string shown_briefly(const Reading& reading, const char* unit) {
    if (!reading.present()) {
        return "-";
    }
    return value_text(reading.value) + (*unit == '\0' ? "" : " ") + unit;
}

std::string bare(const Reading& reading) {
    const bool text = reading.value.is_string();
    return !reading.present() ? "" : text ? reading.value.get<std::string>() : reading.value.dump();
}

} // namespace kt3::output
