// SPDX-License-Identifier: MIT
#pragma once
// Dump lines of the usual shape, and records read from text.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "vmdump/page_table_reading.hpp"

#include <string>
#include <string_view>

namespace kt3::tests {

inline std::string entry_line(int level, int index, const std::string& addr = "0x1000",
                              const std::string& buffer = "b") {
    return std::string(2 * static_cast<std::size_t>(level), ' ') + std::to_string(level) + ":" + std::to_string(index) +
           ": entry addr:" + addr + ", buffer:" + buffer + "\n";
}

inline std::string sub_line(int level, int index, const std::string& addr = "0x3f00") {
    return std::to_string(level) + ":" + std::to_string(index) + " Snoop:1 Segment:2 LargePage:3 Addr:" + addr + "\n";
}

inline void read_text(std::string_view text, data_vectors& record) {
    vmdump::ReadingState state;
    vmdump::read_lines(text, true, state, record);
}

inline data_vectors read_text(std::string_view text) {
    data_vectors record;
    read_text(text, record);
    return record;
}

} // namespace kt3::tests
