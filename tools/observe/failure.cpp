// SPDX-License-Identifier: MIT
#include "observe/failure.hpp"

#include <fmt/format.h>

namespace kt3::observe {

Failure malformed_number(const std::string& what, const std::logic_error& error) {
    return {ExitStatus::failure, "parse_error",
            fmt::format("the driver published a malformed number in {} ({})", what, error.what())};
}

} // namespace kt3::observe
