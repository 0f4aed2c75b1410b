// SPDX-License-Identifier: MIT
#pragma once
// Rows of a command's data. A table of columns, one line per value, says how each looks as text, in CSV and in JSON.

#include "output/format.hpp"
#include "output/text_table.hpp"
#include "output/value.hpp"

#include <functional>
#include <span>
#include <type_traits>

namespace kt3::output {

// The formats that a column appears in.
enum Forms : unsigned { kText = 1, kCsv = 2, kJson = 4, kEverywhere = 7 };

// What columns may have beside key and heading.
struct Look {
    const char* unit = "";           // on screen
    const char* group = nullptr;     // the object in JSON that holds it; stands before the key in CSV
    unsigned forms = kEverywhere;    // any of Forms
    std::optional<Align> align = {}; // numbers stand right, other cells left
    std::int64_t least = INT64_MIN;  // bounds of a number
    std::int64_t most = INT64_MAX;   //
    const char* one_of = nullptr;    // the words or numbers that it can be, a space apart
    const char* pattern = nullptr;   // of a text
    Rank rank = Rank::second;        // on a screen that is too narrow
    std::int64_t hot = INT64_MAX;    // from here on a number is painted as bad
    bool whole = false;              // a text that says nothing when its middle is taken out
};

struct Heading {
    const char* key;  // in CSV and JSON; carries the unit
    const char* text; // on screen: above a column or before a fact
    Type type;
    Look look;
};

template<typename Record>
struct Column {
    Heading heading;
    Value (*value)(const Record&);
    std::string (*text)(const Record&); // the cell on screen, when it is more than the value; or null
};

// What the record of an accessor is: of a member, or of a function that takes the record.
template<typename T>
struct RecordOf;
template<typename Record, typename Member>
struct RecordOf<Member Record::*> {
    using type = Record;
};
template<typename Result, typename Record>
struct RecordOf<Result (*)(const Record&)> {
    using type = Record;
};

// One line of a table. `Get` is a member or a function of the record; `Text` a function that makes the cell on screen.
template<auto Get, auto Text = nullptr>
constexpr auto column(const char* key, const char* heading, Look look = {}) {
    using Record = typename RecordOf<decltype(Get)>::type;
    using Result = std::remove_cvref_t<std::invoke_result_t<decltype(Get), const Record&>>;
    return Column<Record>{{key, heading, TypeOf<Result>::type, look},
                          [](const Record& record) -> Value { return std::invoke(Get, record); },
                          Text};
}

// A line that JSON alone has.
template<auto Get>
constexpr auto member(const char* key, Look look = {}) {
    look.forms = kJson;
    return column<Get>(key, "", look);
}

// A value under its heading.
struct Cell {
    const Heading* heading = nullptr;
    Value value;
    std::optional<std::string> text = {}; // when it is more than the value
    Paint paint = Paint::plain;           // when it does not follow from the value
};
using Row = std::vector<Cell>;

template<typename Record>
using Columns = std::span<const Column<Record>>;

[[nodiscard]] constexpr bool appears(const Heading& heading, Format format) {
    const Forms form = format == Format::text ? kText : format == Format::csv ? kCsv : kJson;
    return (heading.look.forms & form) != 0;
}

// Adds the cells of a record that appear in the format.
template<typename Record>
void add_cells(Row& row, std::type_identity_t<Columns<Record>> columns, const Record& record, Format format) {
    for (const Column<Record>& column : columns) {
        if (appears(column.heading, format)) {
            const bool own_text = format == Format::text && column.text != nullptr;
            row.push_back(
                {&column.heading, column.value(record), own_text ? std::optional(column.text(record)) : std::nullopt});
        }
    }
}

// A cell without a value.
void add_empty_cell(Row& row, const Heading& heading);

// The same cells without values, in rows that mix records of several kinds.
template<typename Record>
void add_empty_cells(Row& row, Columns<Record> columns, Format format) {
    for (const Column<Record>& column : columns) {
        if (appears(column.heading, format)) {
            add_empty_cell(row, column.heading);
        }
    }
}

template<typename Record>
[[nodiscard]] Row row_of(std::type_identity_t<Columns<Record>> columns, const Record& record, Format format) {
    Row row;
    add_cells(row, columns, record, format);
    return row;
}

// The cell as text or in CSV.
[[nodiscard]] std::string cell_text(const Cell& cell, Format format);

// Hot values stand out, and cells with a paint of their own.
[[nodiscard]] Paint paint_of(const Cell& cell);

// The cell with this key; there must be one.
[[nodiscard]] const Cell& cell_named(const Row& row, std::string_view key);
[[nodiscard]] Cell& cell_named(Row& row, std::string_view key);

void add_heading(Table& table, const Heading& heading);
void add_row(Table& table, const Row& row, Format format);

template<typename Record>
void add_headings(Table& table, Columns<Record> columns, Format format) {
    for (const Column<Record>& column : columns) {
        if (appears(column.heading, format)) {
            add_heading(table, column.heading);
        }
    }
}

// A table of records, as text or CSV.
template<typename Record>
[[nodiscard]] Table table_of(std::type_identity_t<Columns<Record>> columns, const std::vector<Record>& records,
                             Format format) {
    Table table;
    add_headings(table, columns, format);
    for (const Record& record : records) {
        add_row(table, row_of(columns, record, format), format);
    }
    return table;
}

// The members of a JSON object.
void put_row(Json& object, const Row& row);

template<typename Record>
[[nodiscard]] Json object_of(std::type_identity_t<Columns<Record>> columns, const Record& record) {
    Json object = Json::object();
    put_row(object, row_of(columns, record, Format::json));
    return object;
}

template<typename Record>
[[nodiscard]] Json array_of(std::type_identity_t<Columns<Record>> columns, const std::vector<Record>& records) {
    Json array = Json::array();
    for (const Record& record : records) {
        array.push_back(object_of(columns, record));
    }
    return array;
}

} // namespace kt3::output
