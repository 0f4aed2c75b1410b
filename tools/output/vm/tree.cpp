// SPDX-License-Identifier: MIT
#include "output/vm/tree.hpp"

#include "observe/text.hpp"
#include "observe/vm/page_runs.hpp"
#include "output/screen_text.hpp"
#include "output/text_table.hpp"
#include "output/units.hpp"

#include <fmt/format.h>
#include <map>

namespace kt3::output {
namespace {

using namespace observe;

std::string address_text(std::int64_t address, std::int32_t known) {
    if (known == 0) {
        return "-";
    }
    return address < 0 ? "-" + hexadecimal(0 - static_cast<std::uint64_t>(address))
                       : hexadecimal(static_cast<std::uint64_t>(address));
}

std::string run_line(const PageRun& run) {
    const PageEntry& first = *run.first;
    const PageEntry& last = run.first[run.count - 1];
    std::string line = fmt::format("sub {}:{}", first.level, first.index);
    if (run.count > 1) {
        line += fmt::format("..{}", last.index);
    }
    line += "  " + address_text(first.address, first.address_known);
    if (run.count > 1) {
        line += ".." + address_text(last.address, last.address_known);
        line += run.step == 1 || run.step == 0 ? "" : fmt::format(" step {:#x}", run.step);
    }
    return line + fmt::format("  snoop {}  segment {}{}", first.snoop, first.segment,
                              first.large_page != 0 ? fmt::format("  large page {}", first.large_page) : "");
}

// Positions of children and runs by the position of what they hang under; -1 for what hangs nowhere.
struct Branches {
    std::multimap<std::int32_t, std::size_t> tables[kLevels];
    std::multimap<std::int32_t, PageRun> runs[kLevels];
};

Branches branches_of(const VmClient& client) {
    Branches branches;
    for (int level = 0; level < kLevels; ++level) {
        for (std::size_t at = 0; at < client.tables[level].size(); ++at) {
            branches.tables[level].emplace(client.tables[level][at].parent, at);
        }
        for (const PageRun& run : fold_runs(client.pages[level])) {
            branches.runs[level].emplace(run.first->owner, run);
        }
    }
    return branches;
}

class TreeText {
public:
    TreeText(const VmClient& client, std::size_t width)
        : client_(client), branches_(branches_of(client)), width_(width) {}

    std::string text() {
        for (int level = 0; level < kLevels; ++level) {
            add_runs(level, -1, 1);
            add_tables(level, -1, 1);
        }
        return std::move(text_);
    }

private:
    void add_line(std::size_t depth, const std::string& line) {
        std::string whole = std::string(depth * 2, ' ') + line;
        whole.erase(whole.find_last_not_of(' ') + 1);
        text_ += (width_ == 0 ? whole : shortened(whole, width_)) + '\n';
    }
    void add_runs(int level, std::int32_t owner, std::size_t depth) {
        const auto [first, last] = branches_.runs[level].equal_range(owner);
        for (auto run = first; run != last; ++run) {
            add_line(depth, run_line(run->second) + (owner < 0 ? "  (under no table)" : ""));
        }
    }
    void add_tables(int level, std::int32_t parent, std::size_t depth) {
        const auto [first, last] = branches_.tables[level].equal_range(parent);
        for (auto branch = first; branch != last; ++branch) {
            const TableEntry& table = client_.tables[level][branch->second];
            const bool lost = parent < 0 && level > 0;
            add_line(depth, fmt::format("{}:{}  {}  {}{}", level, table.index,
                                        address_text(table.address, table.address_known),
                                        screen_safe(field_text(table.buffer)), lost ? "  (under no table)" : ""));
            const auto position = static_cast<std::int32_t>(branch->second);
            add_runs(level, position, depth + 1);
            if (level + 1 < kLevels) {
                add_tables(level + 1, position, depth + 1);
            }
        }
    }

    const VmClient& client_;
    Branches branches_;
    std::size_t width_;
    std::string text_;
};

std::string client_heading(const VmClient& client) {
    return fmt::format("{}  pid {}  {}", screen_safe(client.folder), client.pid.empty() ? "-" : screen_safe(client.pid),
                       client.name.empty() ? "-" : screen_safe(client.name));
}

} // namespace

std::string tree_text(const observe::VmClient& client, const Screen& screen) {
    std::string text = painted(client_heading(client), Paint::bold, screen.color);
    if (!client.read) {
        return text + "  not read\n";
    }
    text += fmt::format("  {}, {}\n", counted(table_count(client), "table entry", "table entries"),
                        counted(page_count(client), "sub-table entry", "sub-table entries"));
    return text + TreeText(client, screen.width).text();
}

} // namespace kt3::output
