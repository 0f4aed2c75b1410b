#pragma once
// What a call raises, to compare with the texts of the standard conversions.

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

} // namespace kt3::tests
