// SPDX-License-Identifier: MIT
#pragma once
// Rows of cells as an aligned text table or as comma-separated values.

#include <string>
#include <vector>

namespace kt3::output {

enum class Align { left, right };

struct TableColumn {
    const char* heading; // on screen
    std::string key;     // in CSV; carries the unit
    Align align = Align::left;
};

struct Table {
    std::vector<TableColumn> columns;
    std::vector<std::vector<std::string>> rows; // on screen, one cell per column
};

enum class Paint { plain, bold, good, bad, dim };

// The text in colour, or as it is.
[[nodiscard]] std::string painted(const std::string& text, Paint paint, bool color);

// Columns two spaces apart, no spaces at line ends. Control characters are escaped.
[[nodiscard]] std::string aligned(const Table& table, bool color);

// A heading line of the keys, then the rows. Cells with commas or quotes are quoted, control characters escaped.
[[nodiscard]] std::string comma_separated(const Table& table);

// Label and value, values in one column, indented.
struct Fact {
    std::string label;
    std::string value;
};
[[nodiscard]] std::string fact_list(const std::vector<Fact>& facts, std::size_t indent, std::size_t label_width);

} // namespace kt3::output
