// SPDX-License-Identifier: MIT
#pragma once
// What the driver's dumps say about GPU virtual memory, as kt3 keeps it. TableEntry and PageEntry are plain data: they
// travel through a pipe as they are.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kt3::observe {

constexpr int kLevels = 3;

// One page-table entry.
struct TableEntry {
    std::int64_t address = 0;
    std::int32_t address_known = 0; // 0 when its text is not a number
    std::int32_t level = 0;
    std::int32_t index = 0;
    std::int32_t parent = -1; // position among the entries of the level above; -1 when it has none
    char buffer[48] = {};
};

// One sub-table entry.
struct PageEntry {
    std::int64_t address = 0;
    std::int32_t address_known = 0;
    std::int32_t level = 0;
    std::int32_t index = 0;
    std::int32_t owner = -1; // position among the page-table entries of its level; -1 when it has none
    std::int32_t parent_level = 0;
    std::int32_t parent_index = 0;
    std::uint16_t snoop = 0;
    std::uint16_t segment = 0;
    std::uint16_t large_page = 0;
};

struct VmClient {
    std::string folder; // its directory at the driver
    std::string pid;
    std::string name;
    bool read = false; // false when its dump could not be read: there are no entries then
    std::vector<TableEntry> tables[kLevels];
    std::vector<PageEntry> pages[kLevels];
};

[[nodiscard]] inline std::size_t table_count(const VmClient& client) {
    return client.tables[0].size() + client.tables[1].size() + client.tables[2].size();
}
[[nodiscard]] inline std::size_t page_count(const VmClient& client) {
    return client.pages[0].size() + client.pages[1].size() + client.pages[2].size();
}

struct VmNode {
    std::int64_t pid = 0;
    std::string name;   // of the process
    std::string handle; // the allocation's directory at the driver
    std::uint64_t gpu_va = 0;
    std::uint64_t size = 0;
};

// Something wrong with a dump. What is wrong with many lines of a file in the same way is one finding.
struct DumpFinding {
    std::string entry; // directory of the client or allocation
    std::string file;  // where it stands
    int line = 0;      // the first one; 0 when it does not concern one line
    std::string code;  // one word for scripts
    std::string message;
    int count = 1; // of lines
};

// "devices/00000012/vm_info" below the driver's directory.
inline constexpr const char* kDumpDirectory = "/sys/kernel/debug/dri/0/qn";

[[nodiscard]] inline std::string dump_path(const std::string& folder, const std::string& entry, const char* file) {
    return std::string(kDumpDirectory) + '/' + folder + '/' + entry + '/' + file;
}

} // namespace kt3::observe
