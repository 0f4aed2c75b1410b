// SPDX-License-Identifier: MIT
#pragma once
// Rows of cells as an aligned text table or as comma-separated values.

#include <string>
#include <vector>

namespace kt3::output {

enum class Align { left, right };

// What a column gives up when the screen is too narrow for its table. Texts are shortened first, down to kShortest
// characters. Then columns go, those of the lowest rank first and of equal ones the rightmost; the others stay.
enum class Rank { first, second, third, stays };

struct TableColumn {
    const char* heading; // on screen
    std::string key;     // in CSV; carries the unit
    Align align = Align::left;
    Rank rank = Rank::second;
    bool shortens = true; // in the middle; never a number
};

enum class Paint { plain, bold, good, warn, bad, dim };

struct Table {
    std::vector<TableColumn> columns;
    std::vector<std::vector<std::string>> rows; // on screen, one cell per column
    std::vector<std::vector<Paint>> paints{};   // of the cells; or empty
};

inline constexpr std::size_t kShortest = 20; // characters of a shortened cell

// Where text is shown.
struct Screen {
    bool color = false;
    std::size_t width = 0; // characters of a line; 0: as many as it takes
};

// The text in colour, or as it is.
[[nodiscard]] std::string painted(const std::string& text, Paint paint, bool color);

// Columns two spaces apart, no spaces at line ends. Control characters are escaped. What had to go for want of width is
// named in a line below.
[[nodiscard]] std::string aligned(const Table& table, const Screen& screen);

// The text with its middle taken out when it is longer: "/usr/bin/re...er-process".
[[nodiscard]] std::string shortened(const std::string& text, std::size_t characters);

// Lines broken between words, the later ones indented.
[[nodiscard]] std::string wrapped(const std::string& text, std::size_t width, std::size_t indent);

// A heading line of the keys, then the rows. Cells with commas or quotes are quoted, control characters escaped.
[[nodiscard]] std::string comma_separated(const Table& table);

// Label and value, values in one column, indented; a value too long for the width goes on in the next line.
struct Fact {
    std::string label;
    std::string value;
};
[[nodiscard]] std::string fact_list(const std::vector<Fact>& facts, std::size_t indent, std::size_t label_width,
                                    std::size_t width = 0);

} // namespace kt3::output
