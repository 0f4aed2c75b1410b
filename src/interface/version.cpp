// SPDX-License-Identifier: MIT
#include "interface/version.hpp"

#include "kt3_mgmt/kt3_mgmt_interface.h"

namespace kt3::interface {

VersionVerdict judge_client_version(std::uint32_t client) {
    constexpr std::uint32_t kOwn = KT3_INTERFACE_VERSION;
    if (client >> 16 != kOwn >> 16) {
        return {KT3_VERSION_MAJOR_MISMATCH, "major version mismatch !!!\n"};
    }
    if (client < kOwn) {
        return {KT3_VERSION_OLDER_CLIENT, "minor version compatile.\n"};
    }
    if (client > kOwn) {
        return {KT3_VERSION_NEWER_CLIENT,
                "warning!!! client minor version > server minior vesion, might have compatible issue.\n"};
    }
    return {KT3_VERSION_MATCH, "client_interface_version ALL Match.\n"};
}

} // namespace kt3::interface
