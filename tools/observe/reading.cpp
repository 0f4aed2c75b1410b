#include "observe/reading.hpp"

#include <array>
#include <cerrno>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

struct AbsenceWords {
    const char* code;
    const char* words;
};

// By the value of Absence.
constexpr std::array<AbsenceWords, 9> kAbsences = {{
    {"", ""},
    {"permission", "permission denied"},
    {"no_node", "not published by this driver"},
    {"not_on_this_chip", "not on this chip"},
    {"parse_error", "not a number"},
    {"driver", "driver part missing or not answering"},
    {"no_tool", "not told by dmidecode"},
    {"first_sample", "needs a second sample"},
    {"unchanged", "no new frame sample yet"},
}};

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

const char* reason_code(Absence absence) {
    return kAbsences[static_cast<std::size_t>(absence)].code;
}

const char* reason_words(Absence absence) {
    return kAbsences[static_cast<std::size_t>(absence)].words;
}

Absence absence_of(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return Absence::permission;
    case ENOENT:
        return Absence::no_node;
    default:
        return Absence::driver;
    }
}

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

} // namespace kt3::cli
