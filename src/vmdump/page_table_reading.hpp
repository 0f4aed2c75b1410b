// SPDX-License-Identifier: MIT
#pragma once
// One client's dump, line by line, rebuilt into its page tables.
//
//   0:12: entry addr:0x1000, buffer:directory          page-table entry, level 0, index 12
//     1:7: entry addr:0x1a20, buffer:text              its first child
//   1:511 Snoop:1 Segment:0 LargePage:0 Addr:0x3f00    sub-table entry of level 1, below the last level 1 entry

#include "vmdump/client_record.hpp"
#include "vmdump/dump_reading.hpp"

#include <string_view>

namespace kt3::vmdump {

// What one line leaves for the next. Lives as long as one dump is read.
struct ReadingState {
    std::int32_t in_level0 = 0; // one of the three is 1: the level of the last page-table line, dropped ones included
    std::int32_t in_level1 = 0;
    std::int32_t in_level2 = 0;
    bool in_sub_table = false; // the last entry line was a sub-table line, of whatever level
    bool stamps = false;       // set by the caller: every entry is stamped when it is made, which saves a second pass
};

// Appends the entries of the text to the record and returns the bytes read: all of them when the text is the last of
// its dump, else all but an unfinished line.
std::size_t read_lines(std::string_view text, bool last, ReadingState& state, data_vectors& record);

// Appends the entries of a whole dump. False when the file cannot be read.
bool read_page_tables(const char* path, const DumpBlock& block, data_vectors& record);

// The same with every entry of the record stamped, which must be empty before.
bool read_stamped_page_tables(const char* path, const DumpBlock& block, data_vectors& record);

} // namespace kt3::vmdump
