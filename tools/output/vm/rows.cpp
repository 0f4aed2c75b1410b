// SPDX-License-Identifier: MIT
#include "output/vm/rows.hpp"

#include "observe/text.hpp"
#include "output/schema.hpp"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <type_traits>

namespace kt3::output {
namespace {

using observe::kLevels;
using observe::PageEntry;
using observe::TableEntry;

// ---- clients --------------------------------------------------------------------------------------------------------

// Nothing when the driver's page has no number for it.
std::optional<std::int64_t> pid_of(const VmClient& client) {
    std::int64_t pid = 0;
    const char* end = client.pid.data() + client.pid.size();
    const auto result = std::from_chars(client.pid.data(), end, pid);
    return result.ec == std::errc() && result.ptr == end ? std::optional(pid) : std::nullopt;
}
const char* read_word(const VmClient& client) {
    return client.read ? "yes" : "no";
}
std::uint64_t row_count(const VmClient& client) {
    return table_count(client) + page_count(client);
}
template<std::size_t Level>
std::uint64_t tables_of(const VmClient& client) {
    return client.tables[Level].size();
}
template<std::size_t Level>
std::uint64_t pages_of(const VmClient& client) {
    return client.pages[Level].size();
}

// How many findings a client has.
struct FindingCount {
    std::int64_t count;
};

constexpr unsigned kNotInJson = kText | kCsv;

// clang-format off
// JSON has the counts of the levels as lists.
constexpr Column<VmClient> kClientColumns[] = {
    column<&VmClient::folder>("client",            "CLIENT"),
    column<pid_of>           ("pid",               "PID"),
    column<&VmClient::name>  ("name",              "NAME"),
    column<read_word>        ("read",              "READ",      {.forms = kNotInJson}),
    member<&VmClient::read>  ("read"),
    column<row_count>        ("rows",              "ROWS",      {.forms = kNotInJson}),
    member<row_count>        ("row_count",                      {.least = 0}),
    column<tables_of<0>>     ("tables_level0",     "TABLES 0",  {.forms = kNotInJson}),
    column<tables_of<1>>     ("tables_level1",     "1",         {.forms = kNotInJson}),
    column<tables_of<2>>     ("tables_level2",     "2",         {.forms = kNotInJson}),
    column<pages_of<0>>      ("sub_tables_level0", "ENTRIES 0", {.forms = kNotInJson}),
    column<pages_of<1>>      ("sub_tables_level1", "1",         {.forms = kNotInJson}),
    column<pages_of<2>>      ("sub_tables_level2", "2",         {.forms = kNotInJson}),
};

constexpr Column<FindingCount> kFindingCountColumn[] = {
    column<&FindingCount::count>("findings", "FINDINGS", {.forms = kNotInJson}),
};
// clang-format on

// ---- entries of tables ----------------------------------------------------------------------------------------------

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

constexpr const char* kNamesKey = "row_columns";
constexpr const char* kRowsKey = "rows";
constexpr const char* kTable = "table";
constexpr const char* kSubTable = "sub_table";

// What both kinds of entries have.
struct Place {
    const char* kind;
    std::string under;
    std::int32_t level;
    std::int32_t index;
    std::optional<std::int64_t> address;
};

template<typename Entry>
Place place_of(const Entry& entry, const Paths& paths) {
    return {std::is_same_v<Entry, TableEntry> ? kTable : kSubTable, paths.under(entry), entry.level, entry.index,
            entry.address_known == 0 ? std::nullopt : std::optional(entry.address)};
}

std::string buffer_of(const TableEntry& table) {
    return observe::field_text(table.buffer);
}

// clang-format off
// Before the columns of an entry in CSV; JSON has its rows within the client.
constexpr Column<VmClient> kOwnerColumns[] = {
    column<&VmClient::folder>("client", "CLIENT"),
    column<&VmClient::pid>   ("pid",    "PID"),
};

constexpr Column<Place> kPlaceColumns[] = {
    column<&Place::kind>   ("kind",    "KIND"),
    column<&Place::under>  ("under",   "UNDER"),
    column<&Place::level>  ("level",   "LEVEL",   {.least = 0, .most = kLevels - 1}),
    column<&Place::index>  ("index",   "INDEX"),
    column<&Place::address>("address", "ADDRESS"),
};

constexpr Column<TableEntry> kTableColumns[] = {
    column<buffer_of>("buffer", "BUFFER"),
};

constexpr Column<PageEntry> kPageColumns[] = {
    column<&PageEntry::parent_level>("parent_level", "PARENT LEVEL", {.least = 0, .most = kLevels - 1}),
    column<&PageEntry::parent_index>("parent_index", "PARENT INDEX"),
    column<&PageEntry::snoop>       ("snoop",        "SNOOP",        {.least = 0}),
    column<&PageEntry::segment>     ("segment",      "SEGMENT",      {.least = 0}),
    column<&PageEntry::large_page>  ("large_page",   "LARGE PAGE",   {.least = 0}),
};
// clang-format on

// The cells of the entry's own kind; those of the other kind are empty.
void add_own_cells(Row& row, const TableEntry& table) {
    add_cells(row, kTableColumns, table, Format::csv);
    add_empty_cells<PageEntry>(row, kPageColumns, Format::csv);
}
void add_own_cells(Row& row, const PageEntry& page) {
    add_empty_cells<TableEntry>(row, kTableColumns, Format::csv);
    add_cells(row, kPageColumns, page, Format::csv);
}

template<typename Entry>
void add_rows(Table& table, const std::vector<Entry>& entries, const VmClient& client, const Paths& paths) {
    Row row;
    for (const Entry& entry : entries) {
        row.clear();
        add_cells(row, kOwnerColumns, client, Format::csv);
        add_cells(row, kPlaceColumns, place_of(entry, paths), Format::csv);
        add_own_cells(row, entry);
        add_row(table, row, Format::csv);
    }
}

template<typename Entry>
void write_entries(JsonStream& json, const std::vector<Entry>& entries, std::span<const Column<Entry>> columns,
                   const Paths& paths) {
    for (const Entry& entry : entries) {
        Json object = object_of(kPlaceColumns, place_of(entry, paths));
        put_row(object, row_of(columns, entry, Format::json));
        json.value(object);
    }
}

// The names of the values of an entry's array.
Json names_of_values() {
    Json names = Json::array();
    const auto add = [&](const auto& columns) {
        for (const auto& column : columns) {
            names.push_back(column.heading.key);
        }
    };
    add(kPlaceColumns);
    add(kTableColumns);
    add(kPageColumns);
    return names;
}

// The cells of the entry's own kind; those of the other kind are null.
template<typename Entry>
void write_arrays(JsonStream& json, const std::vector<Entry>& entries, const Paths& paths) {
    Row row;
    for (const Entry& entry : entries) {
        row.clear();
        add_cells(row, kPlaceColumns, place_of(entry, paths), Format::csv);
        add_own_cells(row, entry);
        Json values = Json::array();
        for (const Cell& cell : row) {
            values.push_back(cell.value.json());
        }
        json.value_in_line(values);
    }
}

template<typename Entry>
Json entry_form(const char* kind, Columns<Entry> columns) {
    Json form = form_of(kPlaceColumns);
    form["properties"]["kind"] = {{"const", kind}};
    add_columns<Entry>(form, columns);
    return form;
}

} // namespace

// ---- clients --------------------------------------------------------------------------------------------------------

Table client_rows(const std::vector<VmClient>& clients, const std::vector<DumpFinding>& findings, Format format) {
    Table table;
    add_headings<VmClient>(table, kClientColumns, format);
    add_headings<FindingCount>(table, kFindingCountColumn, format);
    for (const VmClient& client : clients) {
        const auto count = std::count_if(findings.begin(), findings.end(),
                                         [&](const DumpFinding& finding) { return finding.entry == client.folder; });
        Row row = row_of(kClientColumns, client, format);
        add_cells(row, kFindingCountColumn, FindingCount{count}, format);
        add_row(table, row, format);
    }
    return table;
}

Json client_json(const VmClient& client) {
    Json object = object_of(kClientColumns, client);
    object["table_counts"] = Json::array();
    object["sub_table_counts"] = Json::array();
    for (int level = 0; level < kLevels; ++level) {
        object["table_counts"].push_back(client.tables[level].size());
        object["sub_table_counts"].push_back(client.pages[level].size());
    }
    return object;
}

Json client_form() {
    const Json counts = array_form({{"type", "integer"}, {"minimum", 0}}, kLevels);
    Json form = form_of(kClientColumns);
    add_member(form, "table_counts", counts);
    add_member(form, "sub_table_counts", counts);
    return form;
}

// ---- entries of tables ----------------------------------------------------------------------------------------------

Table flat_rows(const std::vector<VmClient>& clients) {
    Table table;
    add_headings<VmClient>(table, kOwnerColumns, Format::csv);
    add_headings<Place>(table, kPlaceColumns, Format::csv);
    add_headings<TableEntry>(table, kTableColumns, Format::csv);
    add_headings<PageEntry>(table, kPageColumns, Format::csv);
    for (const VmClient& client : clients) {
        const Paths paths(client);
        for (const auto& tables : client.tables) {
            add_rows(table, tables, client, paths);
        }
        for (const auto& pages : client.pages) {
            add_rows(table, pages, client, paths);
        }
    }
    return table;
}

void write_client(JsonStream& json, const VmClient& client, RowForm form) {
    const Paths paths(client);
    const Json facts = client_json(client);
    json.begin_object();
    for (const auto& [name, value] : facts.items()) {
        json.member(name, value);
    }
    if (form == RowForm::arrays) {
        json.key(kNamesKey);
        json.value_in_line(names_of_values());
    }
    json.key(kRowsKey);
    json.begin_array();
    for (const auto& tables : client.tables) {
        form == RowForm::arrays ? write_arrays(json, tables, paths)
                                : write_entries<TableEntry>(json, tables, kTableColumns, paths);
    }
    for (const auto& pages : client.pages) {
        form == RowForm::arrays ? write_arrays(json, pages, paths)
                                : write_entries<PageEntry>(json, pages, kPageColumns, paths);
    }
    json.end_array();
    json.end_object();
}

void unfold_rows(Json& client) {
    if (!client.contains(kNamesKey)) {
        return;
    }
    const Json names = client.at(kNamesKey);
    for (Json& row : client.at(kRowsKey)) {
        Json object = Json::object();
        for (std::size_t at = 0; at < names.size(); ++at) {
            const std::string name = names[at].get<std::string>();
            if (!row.at(at).is_null() || name == "address") { // null stands for what the other kind has
                object[name] = std::move(row.at(at));
            }
        }
        row = std::move(object);
    }
    client.erase(kNamesKey);
}

Json client_with_rows_form() {
    const Json table = entry_form<TableEntry>(kTable, kTableColumns);
    const Json sub_table = entry_form<PageEntry>(kSubTable, kPageColumns);
    const Json names = names_of_values();
    Json form = client_form();
    add_member(form, kRowsKey, array_form({{"oneOf", {table, sub_table, array_form(Json::object(), names.size())}}}));
    form["properties"][kNamesKey] = {{"const", names}};
    return form;
}

} // namespace kt3::output
