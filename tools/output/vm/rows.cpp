#include "output/vm/rows.hpp"

#include "observe/text.hpp"
#include "output/screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

Json address_json(std::int64_t address, std::int32_t known) {
    return known == 0 ? Json(nullptr) : Json(address);
}

// Where every table stands: "0:0/1:3/2:17", with "?" for a parent that is not there.
struct Paths {
    std::vector<std::string> of[observe::kLevels];

    explicit Paths(const VmClient& client) {
        for (int level = 0; level < observe::kLevels; ++level) {
            for (const observe::TableEntry& table : client.tables[level]) {
                const std::string above = level == 0 ? "" : under(level - 1, table.parent) + '/';
                of[level].push_back(above + fmt::format("{}:{}", level, table.index));
            }
        }
    }
    [[nodiscard]] std::string under(int level, std::int32_t position) const {
        return position < 0 ? "?" : of[level][static_cast<std::size_t>(position)];
    }
    [[nodiscard]] std::string under(const observe::TableEntry& table) const {
        return table.level == 0 ? "" : under(table.level - 1, table.parent);
    }
    [[nodiscard]] std::string under(const observe::PageEntry& page) const { return under(page.level, page.owner); }
};

Json table_json(const observe::TableEntry& table, const Paths& paths) {
    return {{"kind", "table"},
            {"under", paths.under(table)},
            {"level", table.level},
            {"index", table.index},
            {"address", address_json(table.address, table.address_known)},
            {"buffer", observe::valid_utf8(observe::field_text(table.buffer))}};
}

Json page_json(const observe::PageEntry& page, const Paths& paths) {
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
            for (const observe::TableEntry& row : tables) {
                table.rows.push_back({client.folder, client.pid, "table", paths.under(row), std::to_string(row.level),
                                      std::to_string(row.index), address_value(row.address, row.address_known),
                                      observe::field_text(row.buffer), "", "", "", "", ""});
            }
        }
        for (const auto& pages : client.pages) {
            for (const observe::PageEntry& row : pages) {
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

Table client_rows(const std::vector<VmClient>& clients, const std::vector<DumpFinding>& findings) {
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
                                         [&](const DumpFinding& finding) { return finding.entry == client.folder; });
        std::vector<std::string> row{client.folder, client.pid, client.name, client.read ? "yes" : "no",
                                     std::to_string(table_count(client) + page_count(client))};
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
    for (int level = 0; level < observe::kLevels; ++level) {
        tables.push_back(client.tables[level].size());
        pages.push_back(client.pages[level].size());
    }
    return {{"client", observe::valid_utf8(client.folder)},
            {"pid", client.pid.empty() ? Json(nullptr) : Json(observe::valid_utf8(client.pid))},
            {"name", observe::valid_utf8(client.name)},
            {"read", client.read},
            {"row_count", table_count(client) + page_count(client)},
            {"table_counts", tables},
            {"sub_table_counts", pages}};
}

void write_client(JsonStream& json, const VmClient& client) {
    const Paths paths(client);
    const Json facts = client_json(client);
    json.begin_object();
    for (const auto& [name, value] : facts.items()) {
        json.member(name, value);
    }
    json.key("rows");
    json.begin_array();
    for (const auto& tables : client.tables) {
        for (const observe::TableEntry& table : tables) {
            json.value(table_json(table, paths));
        }
    }
    for (const auto& pages : client.pages) {
        for (const observe::PageEntry& page : pages) {
            json.value(page_json(page, paths));
        }
    }
    json.end_array();
    json.end_object();
}

} // namespace kt3::output
