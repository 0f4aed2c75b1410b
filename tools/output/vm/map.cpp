#include "output/vm/map.hpp"

#include "observe/text.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

constexpr std::size_t kCells = 64;
constexpr std::size_t kShown = 10; // spans of a kind on screen

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

std::string span_list(const char* heading, std::vector<Span> spans) {
    if (spans.empty()) {
        return "";
    }
    const std::size_t count = spans.size();
    std::stable_sort(spans.begin(), spans.end(),
                     [](const Span& left, const Span& right) { return left.size() > right.size(); });
    spans.resize(std::min(spans.size(), kShown));
    Table table{{{heading, "start"}, {"END", "end"}, {"SIZE", "size", Align::right}}, {}};
    for (const Span& span : spans) {
        table.rows.push_back({"  " + hexadecimal(span.start), hexadecimal(span.end), bytes_text(span.size())});
    }
    return aligned(table, false) + (count > kShown ? fmt::format("  and {} more\n", count - kShown) : "");
}

Json span_json(const Span& span) {
    return {{"start", span.start}, {"end", span.end}, {"size_bytes", span.size()}};
}

Json spans_json(const std::vector<Span>& spans) {
    Json all = Json::array();
    std::transform(spans.begin(), spans.end(), std::back_inserter(all), span_json);
    return all;
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

std::string map_text(const AddressSpace& space, bool color) {
    std::string text = painted(fmt::format("pid {}  {}", space.pid, screen_safe(space.name)), Paint::bold, color) +
                       fmt::format("  {} used in {} of {} node{}\n", bytes_text(space.used),
                                   space.ranges.size() == 1 ? "1 range" : fmt::format("{} ranges", space.ranges.size()),
                                   space.nodes.size(), space.nodes.size() == 1 ? "" : "s");
    for (const Span& region : space.regions) {
        text += fmt::format("  {}..{}  {}\n  [{}]\n", hexadecimal(region.start), hexadecimal(region.end),
                            bytes_text(region.size()), region_bar(space, region, kCells));
    }
    return text + span_list("  RANGE", space.ranges) + span_list("  HOLE", space.holes) +
           span_list("  OVERLAP", space.overlaps);
}

Table span_rows(const std::vector<AddressSpace>& spaces) {
    Table table{{{"PID", "pid"}, {"KIND", "kind"}, {"START", "start"}, {"END", "end"}, {"SIZE", "size_bytes"}}, {}};
    for (const AddressSpace& space : spaces) {
        const std::pair<const char*, const std::vector<Span>*> kinds[] = {
            {"range", &space.ranges}, {"hole", &space.holes}, {"overlap", &space.overlaps}};
        for (const auto& [kind, spans] : kinds) {
            for (const Span& span : *spans) {
                table.rows.push_back({std::to_string(space.pid), kind, std::to_string(span.start),
                                      std::to_string(span.end), std::to_string(span.size())});
            }
        }
    }
    return table;
}

Json space_json(const AddressSpace& space) {
    const auto largest =
        std::max_element(space.ranges.begin(), space.ranges.end(),
                         [](const Span& left, const Span& right) { return left.size() < right.size(); });
    return {{"pid", space.pid},
            {"name", observe::valid_utf8(space.name)},
            {"used_bytes", space.used},
            {"node_count", space.nodes.size()},
            {"ranges", spans_json(space.ranges)},
            {"holes", spans_json(space.holes)},
            {"overlaps", spans_json(space.overlaps)},
            {"largest_range", largest == space.ranges.end() ? Json(nullptr) : span_json(*largest)}};
}

} // namespace kt3::output
