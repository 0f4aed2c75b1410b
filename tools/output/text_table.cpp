// SPDX-License-Identifier: MIT
#include "output/text_table.hpp"

#include "output/screen_text.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

const char* escape_sequence(Paint paint) {
    switch (paint) {
    case Paint::bold:
        return "\x1b[1m";
    case Paint::good:
        return "\x1b[32m";
    case Paint::bad:
        return "\x1b[31m";
    case Paint::dim:
        return "\x1b[2m";
    case Paint::plain:
        break;
    }
    return "";
}

std::string padded(const std::string& cell, std::size_t width, Align align) {
    const std::size_t count = character_count(cell);
    const std::string padding(width > count ? width - count : 0, ' ');
    return align == Align::right ? padding + cell : cell + padding;
}

std::string line_of(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                    const std::vector<TableColumn>& columns) {
    std::string line;
    for (std::size_t at = 0; at < cells.size(); ++at) {
        line += (at == 0 ? "" : "  ") + padded(cells[at], widths[at], columns[at].align);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
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

std::string aligned(const Table& table, bool color) {
    std::vector<std::vector<std::string>> lines(1);
    for (const TableColumn& column : table.columns) {
        lines[0].emplace_back(column.heading);
    }
    for (const auto& row : table.rows) {
        auto& cells = lines.emplace_back();
        std::transform(row.begin(), row.end(), std::back_inserter(cells), screen_safe);
    }
    std::vector<std::size_t> widths(table.columns.size());
    for (const auto& cells : lines) {
        for (std::size_t at = 0; at < cells.size(); ++at) {
            widths[at] = std::max(widths[at], character_count(cells[at]));
        }
    }
    std::string text;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        const std::string line = line_of(lines[at], widths, table.columns);
        text += painted(line, at == 0 ? Paint::bold : Paint::plain, color) + '\n';
    }
    return text;
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

std::string fact_list(const std::vector<Fact>& facts, std::size_t indent, std::size_t label_width) {
    std::string text;
    for (const Fact& fact : facts) {
        text += std::string(indent, ' ') + padded(fact.label, label_width, Align::left) + "  " +
                screen_safe(fact.value) + '\n';
    }
    return text;
}

} // namespace kt3::output
