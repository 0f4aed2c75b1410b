// SPDX-License-Identifier: MIT
#pragma once
// The page that describes one open device.

#include "allocation/text_lines.hpp"
#include "support/checked_numbers.hpp"

#include <cstdint>
#include <string_view>

namespace kt3::allocation {

// Calls `take_pid(pid)` and `take_handle(handle)` for the lines "pid = 1234" and "handle = a0", in their order. Unlike
// in the pages of allocations a space stands on each side of the "="; whatever stands there is skipped. A handle
// that is not a hexadecimal number throws std::invalid_argument or std::out_of_range with the text "stoi".
template<typename TakePid, typename TakeHandle>
void parse_device_page(std::string_view page, TakePid&& take_pid, TakeHandle&& take_handle) {
    for_each_pair(page, [&](std::string_view before, std::string_view after) {
        // A line may begin with its "=" or end right after it: then there is no key, or no value.
        const std::string_view key = before.substr(0, before.empty() ? 0 : before.size() - 1);
        const std::string_view value = value_text(after.substr(after.empty() ? 0 : 1));
        if (key == "pid") {
            take_pid(support::leading_int(value));
        } else if (key == "handle") {
            take_handle(support::checked_int(value, 16));
        }
    });
}

} // namespace kt3::allocation
