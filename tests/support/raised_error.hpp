// SPDX-License-Identifier: MIT
#pragma once
// What a call raises, to compare with the texts of the standard conversions.

#include <stdexcept>
#include <string>

namespace kt3::tests {

// The text of the error of that type which the call raises, or "none".
template<typename Error, typename Call>
std::string error_of(Call call) {
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return "none";
}

// "invalid stoi", "range stoll" and the like for a call that may raise either error; empty when it raises none.
template<typename Call>
std::string raised_by(Call call) {
    try {
        call();
    } catch (const std::invalid_argument& error) {
        return std::string("invalid ") + error.what();
    } catch (const std::out_of_range& error) {
        return std::string("range ") + error.what();
    }
    return "";
}

} // namespace kt3::tests
