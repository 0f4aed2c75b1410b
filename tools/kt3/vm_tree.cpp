#include "vm_tree.hpp"

#include "screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace kt3::cli {
namespace {

std::string address_text(std::int64_t address, std::int32_t known) {
    if (known == 0) {
        return "-";
    }
    return address < 0 ? "-" + hexadecimal(0 - static_cast<std::uint64_t>(address))
                       : hexadecimal(static_cast<std::uint64_t>(address));
}

std::string buffer_text(const TableEntry& table) {
    return field_text(table.buffer);
}

std::string counted(std::size_t count, const char* one, const char* many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

// ---- the tree -------------------------------------------------------------------------------------------------------

bool follows(const PageEntry& page, const PageEntry& before) {
    return page.owner == before.owner && page.index == before.index + 1 && page.snoop == before.snoop &&
           page.segment == before.segment && page.large_page == before.large_page &&
           page.address_known == before.address_known;
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
    explicit TreeText(const VmClient& client) : client_(client), branches_(branches_of(client)) {}

    std::string text() {
        for (int level = 0; level < kLevels; ++level) {
            add_runs(level, -1, 1);
            add_tables(level, -1, 1);
        }
        return std::move(text_);
    }

private:
    void add_line(std::size_t depth, const std::string& line) {
        text_.append(depth * 2, ' ') += line;
        text_.erase(text_.find_last_not_of(' ') + 1);
        text_ += '\n';
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
                                        screen_safe(buffer_text(table)), lost ? "  (under no table)" : ""));
            const auto position = static_cast<std::int32_t>(branch->second);
            add_runs(level, position, depth + 1);
            if (level + 1 < kLevels) {
                add_tables(level + 1, position, depth + 1);
            }
        }
    }

    const VmClient& client_;
    Branches branches_;
    std::string text_;
};

std::size_t total(const VmClient& client, bool of_tables) {
    std::size_t sum = 0;
    for (int level = 0; level < kLevels; ++level) {
        sum += of_tables ? client.tables[level].size() : client.pages[level].size();
    }
    return sum;
}

std::string client_heading(const VmClient& client) {
    return fmt::format("{}  pid {}  {}", screen_safe(client.folder), client.pid.empty() ? "-" : screen_safe(client.pid),
                       client.name.empty() ? "-" : screen_safe(client.name));
}

// ---- values ---------------------------------------------------------------------------------------------------------

Json address_json(std::int64_t address, std::int32_t known) {
    return known == 0 ? Json(nullptr) : Json(address);
}

// Where every table stands: "0:0/1:3/2:17", with "?" for a parent that is not there.
struct Paths {
    std::vector<std::string> of[kLevels];

    explicit Paths(const VmClient& client) {
        for (int level = 0; level < kLevels; ++level) {
            for (const TableEntry& table : client.tables[level]) {
                const std::string above = level == 0 ? "" : under(level - 1, table.parent) + '/';
                of[level].push_back(above + fmt::format("{}:{}", level, table.index));
            }
        }
    }
    [[nodiscard]] std::string under(int level, std::int32_t position) const {
        return position < 0 ? "?" : of[level][static_cast<std::size_t>(position)];
    }
    [[nodiscard]] std::string under(const TableEntry& table) const {
        return table.level == 0 ? "" : under(table.level - 1, table.parent);
    }
    [[nodiscard]] std::string under(const PageEntry& page) const { return under(page.level, page.owner); }
};

Json table_json(const TableEntry& table, const Paths& paths) {
    return {{"kind", "table"},
            {"under", paths.under(table)},
            {"level", table.level},
            {"index", table.index},
            {"address", address_json(table.address, table.address_known)},
            {"buffer", valid_utf8(buffer_text(table))}};
}

Json page_json(const PageEntry& page, const Paths& paths) {
    return {{"kind", "sub_table"},
            {"under", paths.under(page)},
            {"level", page.level},
            {"index", page.index},
            {"address", address_json(page.address, page.address_known)},
            {"parent_level", page.parent_level},
            {"parent_index", page.parent_index},
            {"snoop", page.snoop},
            {"segment", page.segment},
            {"large_page", page.large_page}};
}

std::string address_value(std::int64_t address, std::int32_t known) {
    return known == 0 ? "" : std::to_string(address);
}

} // namespace

std::vector<PageRun> fold_runs(const std::vector<PageEntry>& pages) {
    std::vector<PageRun> runs;
    for (const PageEntry& page : pages) {
        if (!runs.empty()) {
            PageRun& run = runs.back();
            const PageEntry& before = run.first[run.count - 1];
            const auto step = static_cast<std::int64_t>(static_cast<std::uint64_t>(page.address) -
                                                        static_cast<std::uint64_t>(before.address));
            if (follows(page, before) && (run.count == 1 || step == run.step)) {
                run.step = step;
                ++run.count;
                continue;
            }
        }
        runs.push_back({&page, 1, 0});
    }
    return runs;
}

std::size_t row_count(const VmClient& client) {
    return total(client, true) + total(client, false);
}

std::string tree_text(const VmClient& client, bool color) {
    std::string text = painted(client_heading(client), Paint::bold, color);
    if (!client.read) {
        return text + "  not read\n";
    }
    text += fmt::format("  {}, {}\n", counted(total(client, true), "table entry", "table entries"),
                        counted(total(client, false), "sub-table entry", "sub-table entries"));
    return text + TreeText(client).text();
}

Table flat_rows(const std::vector<VmClient>& clients) {
    Table table{{{"CLIENT", "client"},
                 {"PID", "pid"},
                 {"KIND", "kind"},
                 {"UNDER", "under"},
                 {"LEVEL", "level"},
                 {"INDEX", "index"},
                 {"ADDRESS", "address"},
                 {"BUFFER", "buffer"},
                 {"PARENT LEVEL", "parent_level"},
                 {"PARENT INDEX", "parent_index"},
                 {"SNOOP", "snoop"},
                 {"SEGMENT", "segment"},
                 {"LARGE PAGE", "large_page"}},
                {}};
    for (const VmClient& client : clients) {
        const Paths paths(client);
        for (const auto& tables : client.tables) {
            for (const TableEntry& row : tables) {
                table.rows.push_back({client.folder, client.pid, "table", paths.under(row), std::to_string(row.level),
                                      std::to_string(row.index), address_value(row.address, row.address_known),
                                      buffer_text(row), "", "", "", "", ""});
            }
        }
        for (const auto& pages : client.pages) {
            for (const PageEntry& row : pages) {
                table.rows.push_back(
                    {client.folder, client.pid, "sub_table", paths.under(row), std::to_string(row.level),
                     std::to_string(row.index), address_value(row.address, row.address_known), "",
                     std::to_string(row.parent_level), std::to_string(row.parent_index), std::to_string(row.snoop),
                     std::to_string(row.segment), std::to_string(row.large_page)});
            }
        }
    }
    return table;
}

Json rows_json(const VmClient& client) {
    Json rows = Json::array();
    const Paths paths(client);
    for (const auto& tables : client.tables) {
        for (const TableEntry& table : tables) {
            rows.push_back(table_json(table, paths));
        }
    }
    for (const auto& pages : client.pages) {
        for (const PageEntry& page : pages) {
            rows.push_back(page_json(page, paths));
        }
    }
    return rows;
}

Table client_rows(const std::vector<VmClient>& clients, const std::vector<DumpFault>& findings) {
    Table table{{{"CLIENT", "client"},
                 {"PID", "pid", Align::right},
                 {"NAME", "name"},
                 {"READ", "read"},
                 {"ROWS", "rows", Align::right},
                 {"TABLES 0", "tables_level0", Align::right},
                 {"1", "tables_level1", Align::right},
                 {"2", "tables_level2", Align::right},
                 {"ENTRIES 0", "sub_tables_level0", Align::right},
                 {"1", "sub_tables_level1", Align::right},
                 {"2", "sub_tables_level2", Align::right},
                 {"FINDINGS", "findings", Align::right}},
                {}};
    for (const VmClient& client : clients) {
        const auto count = std::count_if(findings.begin(), findings.end(),
                                         [&](const DumpFault& finding) { return finding.entry == client.folder; });
        std::vector<std::string> row{client.folder, client.pid, client.name, client.read ? "yes" : "no",
                                     std::to_string(row_count(client))};
        for (const auto& tables : client.tables) {
            row.push_back(std::to_string(tables.size()));
        }
        for (const auto& pages : client.pages) {
            row.push_back(std::to_string(pages.size()));
        }
        row.push_back(std::to_string(count));
        table.rows.push_back(std::move(row));
    }
    return table;
}

Json client_json(const VmClient& client) {
    Json tables = Json::array();
    Json pages = Json::array();
    for (int level = 0; level < kLevels; ++level) {
        tables.push_back(client.tables[level].size());
        pages.push_back(client.pages[level].size());
    }
    return {{"client", valid_utf8(client.folder)},
            {"pid", client.pid.empty() ? Json(nullptr) : Json(valid_utf8(client.pid))},
            {"name", valid_utf8(client.name)},
            {"read", client.read},
            {"row_count", row_count(client)},
            {"table_counts", tables},
            {"sub_table_counts", pages}};
}

// ---- allocation nodes -----------------------------------------------------------------------------------------------

std::string nodes_text(const std::vector<VmNode>& nodes, bool color) {
    std::map<std::int64_t, std::vector<const VmNode*>> by_process;
    for (const VmNode& node : nodes) {
        by_process[node.pid].push_back(&node);
    }
    std::string text;
    for (const auto& [pid, own] : by_process) {
        std::uint64_t sum = 0;
        Table table{{{"  HANDLE", "handle"}, {"ADDRESS", "gpu_va", Align::right}, {"SIZE", "size", Align::right}}, {}};
        for (const VmNode* node : own) {
            sum += node->size;
            table.rows.push_back({"  " + node->handle, hexadecimal(node->gpu_va), shown_size(node->size)});
        }
        const std::string heading = fmt::format("pid {}  {}  {}, {}", pid, screen_safe(own.front()->name),
                                                counted(own.size(), "node", "nodes"), shown_size(sum));
        text += (text.empty() ? "" : "\n") + painted(heading, Paint::bold, color) + '\n' + aligned(table, false);
    }
    return text;
}

Table node_rows(const std::vector<VmNode>& nodes) {
    Table table{{{"PID", "pid"}, {"NAME", "name"}, {"HANDLE", "handle"}, {"ADDRESS", "gpu_va"}, {"SIZE", "size_bytes"}},
                {}};
    for (const VmNode& node : nodes) {
        table.rows.push_back(
            {std::to_string(node.pid), node.name, node.handle, std::to_string(node.gpu_va), std::to_string(node.size)});
    }
    return table;
}

Json node_json(const VmNode& node) {
    return {{"pid", node.pid},
            {"name", valid_utf8(node.name)},
            {"handle", valid_utf8(node.handle)},
            {"gpu_va", node.gpu_va},
            {"size_bytes", node.size}};
}

// ---- findings -------------------------------------------------------------------------------------------------------

std::string finding_line(const DumpFault& finding) {
    const bool allocation = finding.file.find("/allocations/") != std::string::npos;
    const std::string file = finding.file.substr(finding.file.rfind('/') + 1);
    return fmt::format("{} {}{}{}: {}", allocation ? "allocation" : "client", finding.entry,
                       file == finding.entry ? "" : ", " + file,
                       finding.line == 0 ? "" : fmt::format(" line {}", finding.line), finding.message);
}

std::string findings_text(const std::vector<DumpFault>& findings, bool color) {
    if (findings.empty()) {
        return "";
    }
    std::string text = painted("Findings", Paint::bad, color) + '\n';
    for (const DumpFault& finding : findings) {
        text += "  " + screen_safe(finding_line(finding)) + '\n';
    }
    return text;
}

Json findings_json(const std::vector<DumpFault>& findings) {
    Json all = Json::array();
    for (const DumpFault& finding : findings) {
        all.push_back({{"entry", valid_utf8(finding.entry)},
                       {"file", valid_utf8(finding.file)},
                       {"line", finding.line == 0 ? Json(nullptr) : Json(finding.line)},
                       {"code", finding.code},
                       {"message", valid_utf8(finding.message)}});
    }
    return all;
}

std::string hexadecimal(std::uint64_t value) {
    return fmt::format("{:#x}", value);
}

std::string shown_size(std::uint64_t bytes) {
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    auto value = static_cast<double>(bytes);
    while (value >= 1024 && unit + 1 < std::size(kUnits)) {
        value /= 1024;
        ++unit;
    }
    return value == static_cast<double>(static_cast<std::uint64_t>(value))
               ? fmt::format("{:.0f} {}", value, kUnits[unit])
               : fmt::format("{:.1f} {}", value, kUnits[unit]);
}

} // namespace kt3::cli
