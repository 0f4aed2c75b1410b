#pragma once
// The page that describes one open device.

#include "allocation/text_lines.hpp"
#include "support/checked_numbers.hpp"

#include <cstdint>
#include <string_view>

namespace kt3::allocation {

// Calls `take_pid(pid)` and `take_handle(handle)` for the lines "pid = 1234" and "handle = a0", in their order. Unlike
// in the pages of allocations a blank stands on each side of the "=", and the characters there go unread. A handle
// that is no hexadecimal number throws std::invalid_argument or std::out_of_range with the text "stoi".
template<typename TakePid, typename TakeHandle>
void parse_device_page(std::string_view page, TakePid&& take_pid, TakeHandle&& take_handle) {
    for_each_pair(page, [&](std::string_view in_front, std::string_view behind) {
        // A line may begin with its "=" or end right behind it: there is no key, or no value, then.
        const std::string_view key = in_front.substr(0, in_front.empty() ? 0 : in_front.size() - 1);
        const std::string_view value = value_text(behind.substr(behind.empty() ? 0 : 1));
        if (key == "pid") {
            take_pid(support::leading_int(value));
        } else if (key == "handle") {
            take_handle(support::checked_int(value, 16));
        }
    });
}

} // namespace kt3::allocation
