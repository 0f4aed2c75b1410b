#pragma once
// One value of a report: there, or absent with the reason.

#include <nlohmann/json.hpp>
#include <string>

namespace kt3::observe {

using Json = nlohmann::ordered_json;

enum class Absence {
    none,
    permission,       // the node is there, the rights are not
    no_node,          // the driver publishes no such node
    not_on_this_chip, // other chips have it
    parse_error,      // the node holds no number
    driver,           // the driver, its directory or its module is missing or reports an error
    no_tool,          // dmidecode is missing, may not read or does not know
    first_sample,     // a rate needs two samples
    unchanged,        // the time stamp is that of the sample before
};

[[nodiscard]] const char* reason_code(Absence absence);  // "no_node"
[[nodiscard]] const char* reason_words(Absence absence); // "no such node"

struct Reading {
    Json value = nullptr; // a number, a truth value, valid UTF-8 text or a list of these; null when absent
    Absence absence = Absence::none;

    [[nodiscard]] bool present() const { return absence == Absence::none; }
};

[[nodiscard]] inline Reading absent(Absence why) {
    return {nullptr, why};
}

// What errno says about a node that could not be opened or read.
[[nodiscard]] Absence absence_of(int error);

} // namespace kt3::observe
