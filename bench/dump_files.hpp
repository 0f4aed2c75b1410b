// SPDX-License-Identifier: MIT
#pragma once
// Dumps of any size in files of the run.

#include "scratch_folder.hpp"

#include <cstdio>
#include <map>
#include <random>
#include <string>

namespace kt3::bench {

// The files of this run; removed at its end.
inline const ScratchFolder& run_folder() {
    static const ScratchFolder made;
    return made;
}

// A dump of about that many sub-table entries, fifteen to a page-table entry of level 2.
inline std::string dump_text(int sub_entries) {
    std::mt19937 random(7);
    std::string text;
    const auto hex = [&] {
        char digits[16];
        std::snprintf(digits, sizeof digits, "0x%x", static_cast<unsigned>(random() & 0x7fffffff));
        return std::string(digits);
    };
    const auto entry = [&](int level, int index) {
        text += std::string(2 * static_cast<std::size_t>(level), ' ') + std::to_string(level) + ":" +
                std::to_string(index) + ": entry addr:" + hex() + ", buffer:page table at " + hex() + "\n";
    };
    const auto sub = [&](int level, int index) {
        text += std::to_string(level) + ":" + std::to_string(index) + " Snoop:" + std::to_string(random() & 1) +
                " Segment:" + std::to_string(random() & 3) + " LargePage:0 Addr:" + hex() + "\n";
    };
    entry(0, 0);
    sub(0, 0);
    entry(1, 0);
    sub(1, 0);
    for (int at = 0; at < sub_entries; ++at) {
        if (at % 15 == 0) {
            entry(2, at / 15);
        }
        sub(2, at % 512);
    }
    return text;
}

inline const std::string& dump_file(int sub_entries) {
    static std::map<int, std::string> files;
    std::string& file = files[sub_entries];
    if (file.empty()) {
        file = run_folder().write("dump" + std::to_string(sub_entries), dump_text(sub_entries));
    }
    return file;
}

} // namespace kt3::bench
