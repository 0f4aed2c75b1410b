// SPDX-License-Identifier: MIT
#pragma once
// One value of a report: there, or absent with the reason.

#include <cstddef>
#include <string>
#include <utility>
#include <variant>

namespace kt3::observe {

enum class Absence {
    permission,
    no_node,
    not_on_this_chip,
    parse_error,
    driver, // also when its directory or its module is missing
    no_tool,
    first_sample,
    unchanged,
    implausible, // outside what such a value can be; the reading has the text
    timeout,     // its file did not answer
    suspended,   // the adapter sleeps and was left alone
};

struct AbsenceWords {
    const char* code;  // for scripts
    const char* words; // for people
};

// By the value of Absence.
inline constexpr AbsenceWords kAbsences[] = {
    {"permission", "permission denied"},
    {"no_node", "not published by this driver"},
    {"not_on_this_chip", "not on this chip"},
    {"parse_error", "not a number"},
    {"driver", "driver part missing or not answering"},
    {"no_tool", "not reported by dmidecode"},
    {"first_sample", "needs a second sample"},
    {"unchanged", "no new frame sample yet"},
    {"implausible", "implausible"},
    {"timeout", "no answer in time"},
    {"suspended", "the adapter is suspended"},
};

[[nodiscard]] constexpr const char* reason_code(Absence absence) {
    return kAbsences[static_cast<std::size_t>(absence)].code;
}
[[nodiscard]] constexpr const char* reason_words(Absence absence) {
    return kAbsences[static_cast<std::size_t>(absence)].words;
}

// What errno says about a node that could not be opened or read.
[[nodiscard]] Absence absence_of(int error);

// What the driver published in place of a value that cannot be.
struct Implausible {
    std::string raw;
};

// A value or why there is none.
template<typename T>
class Reading {
public:
    Reading(T value) : held_(std::move(value)) {}
    Reading(Absence why = Absence::driver) : held_(why) {}
    Reading(Implausible what) : held_(Absence::implausible), raw_(std::move(what.raw)) {}

    [[nodiscard]] bool present() const { return std::holds_alternative<T>(held_); }
    [[nodiscard]] const T& value() const { return std::get<T>(held_); }        // of a present one
    [[nodiscard]] Absence absence() const { return std::get<Absence>(held_); } // of an absent one
    [[nodiscard]] const std::string& raw() const { return raw_; }              // what was published; when implausible

    // The same question about another form of the value: make(value), or absent for the same reason.
    template<typename Make>
    [[nodiscard]] auto as(Make make) const -> Reading<decltype(make(std::declval<const T&>()))> {
        if (present()) {
            return make(value());
        }
        if (absence() == Absence::implausible) {
            return Implausible{raw()};
        }
        return absence();
    }

private:
    std::variant<T, Absence> held_;
    std::string raw_;
};

} // namespace kt3::observe
