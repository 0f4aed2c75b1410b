// SPDX-License-Identifier: MIT
#include "output/text_table.hpp"

#include "output/screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <optional>

namespace kt3::output {
namespace {

const char* escape_sequence(Paint paint) {
    switch (paint) {
    case Paint::bold:
        return "\x1b[1m";
    case Paint::good:
        return "\x1b[32m";
    case Paint::warn:
        return "\x1b[33m";
    case Paint::bad:
        return "\x1b[31m";
    case Paint::dim:
        return "\x1b[2m";
    case Paint::plain:
        break;
    }
    return "";
}

std::string padded(const std::string& cell, std::size_t width, Align align, Paint paint = Paint::plain) {
    const std::size_t count = character_count(cell);
    const std::string padding(width > count ? width - count : 0, ' ');
    const std::string text = painted(cell, paint, true);
    return align == Align::right ? padding + text : text + padding;
}

using Lines = std::vector<std::vector<std::string>>; // the headings, then the rows

constexpr std::size_t kGap = 2; // between columns

// `paints` is empty or has one for each cell.
std::string line_of(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                    const std::vector<TableColumn>& columns, const std::vector<Paint>& paints) {
    std::string line;
    for (std::size_t at = 0; at < cells.size(); ++at) {
        line += std::string(at == 0 ? 0 : kGap, ' ') +
                padded(cells[at], widths[at], columns[at].align, paints.empty() ? Paint::plain : paints[at]);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

Lines safe_lines(const Table& table) {
    Lines lines(1);
    for (const TableColumn& column : table.columns) {
        lines[0].emplace_back(column.heading);
    }
    for (const auto& row : table.rows) {
        auto& cells = lines.emplace_back();
        std::transform(row.begin(), row.end(), std::back_inserter(cells), screen_safe);
    }
    return lines;
}

std::vector<std::size_t> widths_of(const Lines& lines, std::size_t columns) {
    std::vector<std::size_t> widths(columns);
    for (const auto& cells : lines) {
        for (std::size_t at = 0; at < cells.size(); ++at) {
            widths[at] = std::max(widths[at], character_count(cells[at]));
        }
    }
    return widths;
}

std::size_t line_width(const std::vector<std::size_t>& widths) {
    return std::accumulate(widths.begin(), widths.end(), widths.empty() ? 0 : kGap * (widths.size() - 1));
}

// The widest column that may give up a character; nothing when all are as short as they may be.
std::optional<std::size_t> widest_to_shorten(const std::vector<TableColumn>& columns,
                                             const std::vector<std::size_t>& widths) {
    std::optional<std::size_t> widest;
    for (std::size_t at = 0; at < columns.size(); ++at) {
        const std::size_t shortest = std::max(kShortest, character_count(columns[at].heading));
        if (columns[at].shortens && columns[at].align == Align::left && widths[at] > shortest &&
            (!widest || widths[at] > widths[*widest])) {
            widest = at;
        }
    }
    return widest;
}

// The next column to leave out; nothing when only those are left that stay.
std::optional<std::size_t> next_to_drop(const std::vector<TableColumn>& columns) {
    std::optional<std::size_t> next;
    for (std::size_t at = columns.size(); at-- > 0;) {
        if (columns[at].rank != Rank::stays && (!next || columns[at].rank < columns[*next].rank)) {
            next = at;
        }
    }
    return next;
}

// A table that was made to fit.
struct Fitted {
    std::vector<TableColumn> columns;
    Lines lines;
    std::vector<std::size_t> widths;
    std::vector<std::vector<Paint>> paints;
    std::string left_out; // headings
};

void drop(Fitted& fitted, std::size_t at) {
    const auto place = static_cast<std::ptrdiff_t>(at);
    fitted.left_out.insert(0, fitted.columns[at].heading + std::string(fitted.left_out.empty() ? "" : ", "));
    fitted.columns.erase(fitted.columns.begin() + place);
    fitted.widths.erase(fitted.widths.begin() + place);
    for (auto& cells : fitted.lines) {
        cells.erase(cells.begin() + place);
    }
    for (auto& paints : fitted.paints) {
        paints.erase(paints.begin() + place);
    }
}

void fit(Fitted& fitted, std::size_t width) {
    while (line_width(fitted.widths) > width) {
        if (const auto widest = widest_to_shorten(fitted.columns, fitted.widths)) {
            --fitted.widths[*widest];
        } else if (const auto next = next_to_drop(fitted.columns)) {
            drop(fitted, *next);
            fitted.widths =
                widths_of(fitted.lines, fitted.columns.size()); // what was shortened for it may be long again
        } else {
            break;
        }
    }
    for (auto& cells : fitted.lines) {
        for (std::size_t at = 0; at < cells.size(); ++at) {
            cells[at] = shortened(cells[at], fitted.widths[at]);
        }
    }
}

std::string quoted(const std::string& cell) {
    std::string safe = screen_safe(cell);
    if (safe.find_first_of(",\"") == std::string::npos) {
        return safe;
    }
    std::string text = "\"";
    for (const char c : safe) {
        text += c == '"' ? "\"\"" : std::string(1, c);
    }
    return text + '"';
}

} // namespace

std::string painted(const std::string& text, Paint paint, bool color) {
    return color && paint != Paint::plain ? escape_sequence(paint) + text + "\x1b[0m" : text;
}

std::string shortened(const std::string& text, std::size_t characters) {
    constexpr std::size_t kDots = 3;
    const std::size_t count = character_count(text);
    if (count <= characters || characters <= kDots) {
        return text;
    }
    const std::size_t head = (characters - kDots) / 3; // paths say more at their end
    const std::size_t tail = characters - kDots - head;
    return std::string(characters_of(text, 0, head)) + "..." + std::string(characters_of(text, count - tail, tail));
}

std::string aligned(const Table& table, const Screen& screen) {
    Fitted fitted{table.columns, safe_lines(table), {}, {}, ""};
    if (screen.color) {
        fitted.paints = table.paints;
    }
    fitted.widths = widths_of(fitted.lines, fitted.columns.size());
    if (screen.width != 0) {
        fit(fitted, screen.width);
    }
    std::string text;
    for (std::size_t at = 0; at < fitted.lines.size(); ++at) {
        const bool painted_cells = at > 0 && at <= fitted.paints.size();
        const std::string line = line_of(fitted.lines[at], fitted.widths, fitted.columns,
                                         painted_cells ? fitted.paints[at - 1] : std::vector<Paint>{});
        text += painted(line, at == 0 ? Paint::bold : Paint::plain, screen.color) + '\n';
    }
    if (!fitted.left_out.empty()) {
        text += painted(wrapped("not shown for want of width: " + fitted.left_out, screen.width, 2), Paint::dim,
                        screen.color) +
                '\n';
    }
    return text;
}

std::string wrapped(const std::string& text, std::size_t width, std::size_t indent) {
    std::string lines;
    std::size_t used = 0;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        const std::size_t length = character_count(word);
        if (width != 0 && used > 0 && used + 1 + length > width && indent + length <= width) {
            lines += '\n' + std::string(indent, ' ');
            used = indent;
        } else if (at > 0) {
            lines += ' ';
            ++used;
        }
        lines += word;
        used += length;
        at = end + 1;
    }
    return lines;
}

std::string comma_separated(const Table& table) {
    std::string text;
    for (std::size_t at = 0; at < table.columns.size(); ++at) {
        text += fmt::format("{}{}", at == 0 ? "" : ",", table.columns[at].key);
    }
    text += '\n';
    for (const auto& row : table.rows) {
        for (std::size_t at = 0; at < row.size(); ++at) {
            text += (at == 0 ? "" : ",") + quoted(row[at]);
        }
        text += '\n';
    }
    return text;
}

std::string fact_list(const std::vector<Fact>& facts, std::size_t indent, std::size_t label_width, std::size_t width) {
    std::string text;
    for (const Fact& fact : facts) {
        const std::string label = std::string(indent, ' ') + padded(fact.label, label_width, Align::left) + "  ";
        text += wrapped(label + screen_safe(fact.value), width, indent + label_width + kGap) + '\n';
    }
    return text;
}

} // namespace kt3::output
