// SPDX-License-Identifier: MIT
#include "output/row.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <utility>

namespace kt3::output {
namespace {

Align align_of(const Heading& heading) {
    const Kind kind = heading.type.kind;
    const bool number = kind == Kind::integer || kind == Kind::bytes || kind == Kind::number;
    return heading.look.align.value_or(number ? Align::right : Align::left);
}

} // namespace

Paint paint_of(const Cell& cell) {
    const auto number = cell.value.whole();
    return number && *number >= cell.heading->look.hot ? Paint::bad : cell.paint;
}

void add_empty_cell(Row& row, const Heading& heading) {
    row.emplace_back().heading = &heading;
}

std::string cell_text(const Cell& cell, Format format) {
    if (format == Format::csv) {
        return cell.value.csv();
    }
    return cell.text ? *cell.text : shown_briefly(cell.value, cell.heading->look.unit);
}

const Cell& cell_named(const Row& row, std::string_view key) {
    return *std::find_if(row.begin(), row.end(), [&](const Cell& cell) { return cell.heading->key == key; });
}

Cell& cell_named(Row& row, std::string_view key) {
    return const_cast<Cell&>(cell_named(std::as_const(row), key));
}

void add_heading(Table& table, const Heading& heading) {
    const char* group = heading.look.group;
    table.columns.push_back({heading.text, group == nullptr ? heading.key : fmt::format("{}.{}", group, heading.key),
                             align_of(heading), heading.look.rank,
                             heading.type.kind == Kind::text && !heading.look.whole});
}

void add_row(Table& table, const Row& row, Format format) {
    auto& cells = table.rows.emplace_back();
    cells.reserve(row.size());
    for (const Cell& cell : row) {
        cells.push_back(cell_text(cell, format));
    }
    if (format == Format::text) {
        auto& paints = table.paints.emplace_back();
        std::transform(row.begin(), row.end(), std::back_inserter(paints), paint_of);
    }
}

void put_row(Json& object, const Row& row) {
    for (const Cell& cell : row) {
        const Heading& heading = *cell.heading;
        Json& into = heading.look.group == nullptr ? object : object[heading.look.group];
        if (heading.type.reading) {
            put_reading(into, heading.key, cell.value);
        } else {
            into[heading.key] = cell.value.json();
        }
    }
}

} // namespace kt3::output
