#include "observe/reading.hpp"

#include <array>
#include <cerrno>

namespace kt3::observe {
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

} // namespace kt3::observe
