// SPDX-License-Identifier: MIT
#pragma once
// What the arguments of options must be. A check that is not met ends parsing with a sentence on what the option takes.

#include <CLI/Error.hpp> // Validators.hpp names its classes
#include <CLI/Validators.hpp>
#include <cstdint>

namespace kt3::cli {

// Seconds to wait, from `least` to a day. "nan" and "inf" would never end.
[[nodiscard]] CLI::Validator seconds_to_wait(double least = 0);

// For transform(): a whole number in decimal digits. Leading zeros are taken off, or they would make it octal.
[[nodiscard]] CLI::Validator whole_number(std::int64_t least, std::int64_t most);

// A script that passes a variable without a value means something else than leaving the option out.
[[nodiscard]] CLI::Validator not_empty();

} // namespace kt3::cli
