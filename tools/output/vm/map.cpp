// SPDX-License-Identifier: MIT
#include "output/vm/map.hpp"

#include "output/schema.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

constexpr std::size_t kCells = 64;
constexpr std::size_t kShown = 10; // spans of a kind on screen

std::string start_text(const Span& span) {
    return "  " + hexadecimal(span.start);
}
std::string end_text(const Span& span) {
    return hexadecimal(span.end);
}
std::string size_text(const Span& span) {
    return bytes_text(span.size());
}

// clang-format off
// On screen the first heading is that of the kind.
constexpr Column<Span> kSpanColumns[] = {
    column<&Span::start, start_text>("start",      "START", {.align = Align::left, .least = 0}),
    column<&Span::end, end_text>    ("end",        "END",   {.align = Align::left, .least = 0}),
    column<&Span::size, size_text>  ("size_bytes", "SIZE",  {.least = 1}),
};

struct SpanKind {
    const char* name;
    const char* heading;
    const char* list; // in JSON
    std::vector<Span> AddressSpace::*spans;
};

constexpr SpanKind kSpanKinds[] = {
    {"range",   "  RANGE",   "ranges",   &AddressSpace::ranges},
    {"hole",    "  HOLE",    "holes",    &AddressSpace::holes},
    {"overlap", "  OVERLAP", "overlaps", &AddressSpace::overlaps},
};

// What stands before a span in CSV.
struct SpanOwner {
    std::int64_t pid;
    const char* kind;
};

constexpr Column<SpanOwner> kSpanOwnerColumns[] = {
    column<&SpanOwner::pid> ("pid",  "PID"),
    column<&SpanOwner::kind>("kind", "KIND"),
};

std::uint64_t node_count(const AddressSpace& space) {
    return space.nodes.size();
}

constexpr Column<AddressSpace> kSpaceColumns[] = {
    member<&AddressSpace::pid> ("pid"),
    member<&AddressSpace::name>("name"),
    member<&AddressSpace::used>("used_bytes", {.least = 0}),
    member<node_count>         ("node_count", {.least = 0}),
};
// clang-format on

// Bytes of the part that the spans cover.
std::uint64_t covered(const std::vector<Span>& spans, const Span& part) {
    std::uint64_t bytes = 0;
    auto span = std::lower_bound(spans.begin(), spans.end(), part.start,
                                 [](const Span& one, std::uint64_t start) { return one.end <= start; });
    for (; span != spans.end() && span->start < part.end; ++span) {
        bytes += std::min(span->end, part.end) - std::max(span->start, part.start);
    }
    return bytes;
}

// Where cell `at` begins; regions can have more bytes than a product of 64 bits holds.
std::uint64_t cell_start(const Span& region, std::size_t at, std::size_t cells) {
    const std::uint64_t whole = region.size() / cells;
    const std::uint64_t rest = region.size() % cells;
    return region.start + whole * at + rest * at / cells;
}

std::string span_list(const char* heading, std::vector<Span> spans, std::size_t width) {
    if (spans.empty()) {
        return "";
    }
    const std::size_t count = spans.size();
    std::stable_sort(spans.begin(), spans.end(),
                     [](const Span& left, const Span& right) { return left.size() > right.size(); });
    spans.resize(std::min(spans.size(), kShown));
    Table table = table_of(kSpanColumns, spans, Format::text);
    table.columns.front().heading = heading;
    return aligned(table, {.width = width}) + (count > kShown ? fmt::format("  and {} more\n", count - kShown) : "");
}

Json largest_range(const AddressSpace& space) {
    const auto largest =
        std::max_element(space.ranges.begin(), space.ranges.end(),
                         [](const Span& left, const Span& right) { return left.size() < right.size(); });
    return largest == space.ranges.end() ? Json(nullptr) : object_of(kSpanColumns, *largest);
}

} // namespace

std::string region_bar(const AddressSpace& space, const Span& region, std::size_t cells) {
    std::string bar;
    for (std::size_t at = 0; at < cells; ++at) {
        Span cell{cell_start(region, at, cells), cell_start(region, at + 1, cells)};
        cell.end = std::max(cell.end, cell.start + 1); // fewer bytes than cells
        const std::uint64_t used = covered(space.ranges, cell);
        if (covered(space.overlaps, cell) != 0) {
            bar += '!';
        } else {
            bar += used == 0 ? '.' : used < cell.size() ? '+' : '#';
        }
    }
    return bar;
}

std::string map_text(const AddressSpace& space, const Screen& screen) {
    std::string text =
        painted(fmt::format("pid {}  {}", space.pid, screen_safe(space.name)), Paint::bold, screen.color) +
        fmt::format("  {} used in {} of {} node{}\n", bytes_text(space.used),
                    space.ranges.size() == 1 ? "1 range" : fmt::format("{} ranges", space.ranges.size()),
                    space.nodes.size(), space.nodes.size() == 1 ? "" : "s");
    constexpr std::size_t kFrame = 4; // what stands around a bar
    const std::size_t cells = screen.width <= kFrame ? kCells : std::min(kCells, screen.width - kFrame);
    for (const Span& region : space.regions) {
        text += fmt::format("  {}..{}  {}\n  [{}]\n", hexadecimal(region.start), hexadecimal(region.end),
                            bytes_text(region.size()), region_bar(space, region, cells));
    }
    for (const SpanKind& kind : kSpanKinds) {
        text += span_list(kind.heading, space.*kind.spans, screen.width);
    }
    return text;
}

Table span_rows(const std::vector<AddressSpace>& spaces) {
    Table table;
    add_headings<SpanOwner>(table, kSpanOwnerColumns, Format::csv);
    add_headings<Span>(table, kSpanColumns, Format::csv);
    for (const AddressSpace& space : spaces) {
        for (const SpanKind& kind : kSpanKinds) {
            for (const Span& span : space.*kind.spans) {
                Row row = row_of(kSpanOwnerColumns, SpanOwner{space.pid, kind.name}, Format::csv);
                add_cells(row, kSpanColumns, span, Format::csv);
                add_row(table, row, Format::csv);
            }
        }
    }
    return table;
}

Json space_json(const AddressSpace& space) {
    Json object = object_of(kSpaceColumns, space);
    for (const SpanKind& kind : kSpanKinds) {
        object[kind.list] = array_of(kSpanColumns, space.*kind.spans);
    }
    object["largest_range"] = largest_range(space);
    return object;
}

Json space_form() {
    const Json span = form_of(kSpanColumns);
    Json form = form_of(kSpaceColumns);
    for (const SpanKind& kind : kSpanKinds) {
        add_member(form, kind.list, array_form(span));
    }
    add_member(form, "largest_range", nullable_form(span));
    return form;
}

} // namespace kt3::output
