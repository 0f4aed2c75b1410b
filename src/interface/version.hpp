// SPDX-License-Identifier: MIT
#pragma once
// Interface version negotiation: which client versions go with this library.

#include <cstdint>

namespace kt3::interface {

struct VersionVerdict {
    std::int32_t code;    // one of the KT3_VERSION_ codes
    const char* log_line; // fixed text, complete with its newline
};

// Major part in the upper 16 bits, minor part in the lower 16 bits.
VersionVerdict judge_client_version(std::uint32_t client);

} // namespace kt3::interface
