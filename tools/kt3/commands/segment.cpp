// kt3 segment: size and use of an adapter's memory segments. The library reads them from one of three places, which
// count in different units; all are shown in bytes, and the place is named.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/memory/allocations.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

struct Source {
    const char* code;
    const char* words;
    std::int64_t unit; // bytes
};

// The node's figures are thousands of bytes, and the library hands out thousandths of them.
constexpr Source kNode{"node", "segment_info node", 1'000'000};
constexpr Source kHeapPages{"heap_pages", "heap pages and allocation sums", 1 << 20};
constexpr Source kAllocationSums{"allocation_sums", "allocation sums", 1 << 20};

constexpr std::int64_t kHeapWrap = std::int64_t{1} << 32; // a heap page's figures lose whole multiples of it
constexpr int kHeaps = 4;
constexpr const char* kHeapNames[] = {"invalid", "local", "pcie unsnooped", "pcie snooped", "others"};
constexpr int kFoldedInto = 4; // this segment's figures include those of the later ones
constexpr int kBarWidth = 20;

struct Segment {
    int number = 0;
    std::string name;
    std::int64_t used = 0;
    std::optional<std::int64_t> total;
    bool wraps = false;
    bool part = false; // already counted in the folded segment
};

const Source& choose_source(Session& session, const Adapter& adapter) {
    Machine& machine = machine_of(session);
    machine.record.current_index = adapter.slot;
    const auto init = KT3_ENTRY(library_of(session), segment_init);
    std::int32_t answer = 0;
    lines_during(library_of(session), [&] { answer = init(&machine.record); });
    check_interrupt();
    if (answer <= 0) {
        return kAllocationSums;
    }
    return std::string_view(adapter.family->token) == "wy" ? kNode : kHeapPages;
}

// The node tells how many there are only by what is not 0.
int segment_count(const _GFX_SEGMENT_INFO& words, const Source& source) {
    int count = &source == &kNode ? 0 : KT3_SEGMENT_SLOTS;
    for (int at = count; at < KT3_SEGMENTS; ++at) {
        count = words.total_size[at] != 0 || words.used_size[at] != 0 ? at + 1 : count;
    }
    return count;
}

std::vector<Segment> segments_of(const _GFX_SEGMENT_INFO& words, const Source& source) {
    const bool heaps = &source == &kHeapPages;
    const int count = segment_count(words, source);
    std::vector<Segment> segments;
    for (int at = 0; at < count; ++at) {
        Segment segment{at,           heaps ? kHeapNames[at] : "", words.used_size[at] * source.unit,
                        std::nullopt, heaps && at < kHeaps,        &source == &kNode && at > kFoldedInto};
        if (words.total_size[at] != 0) {
            segment.total = words.total_size[at] * source.unit;
        }
        if (&source == &kNode && at == kFoldedInto && count > kFoldedInto + 1) {
            segment.name = "with all later ones";
        } else if (segment.part) {
            segment.name = fmt::format("part of {}", kFoldedInto);
        } else if (&source == &kAllocationSums && at == kFoldedInto) {
            segment.name = "and all later ones";
        }
        segments.push_back(segment);
    }
    return segments;
}

Json segments_object(const Adapter& adapter, const Source& source, const std::vector<Segment>& segments) {
    Json object = {
        {"slot", adapter.slot}, {"source", source.code}, {"unit_bytes", source.unit}, {"segments", Json::array()}};
    for (const Segment& segment : segments) {
        object["segments"].push_back({{"segment", segment.number},
                                      {"name", segment.name.empty() ? Json(nullptr) : Json(segment.name)},
                                      {"used_bytes", segment.used},
                                      {"total_bytes", segment.total ? Json(*segment.total) : Json(nullptr)},
                                      {"modulo_bytes", segment.wraps ? Json(kHeapWrap) : Json(nullptr)},
                                      {"part_of", segment.part ? Json(kFoldedInto) : Json(nullptr)}});
    }
    return object;
}

std::string bar(const Segment& segment) {
    if (!segment.total) {
        return "";
    }
    const double share = std::min(1.0, static_cast<double>(segment.used) / static_cast<double>(*segment.total));
    const auto full = static_cast<std::size_t>(std::lround(share * kBarWidth));
    return '[' + std::string(full, '#') + std::string(kBarWidth - full, '.') + ']';
}

Table csv_table(int slot, const Source& source, const std::vector<Segment>& segments) {
    Table table{{{"", "slot"},
                 {"", "source"},
                 {"", "segment"},
                 {"", "name"},
                 {"", "used_bytes"},
                 {"", "total_bytes"},
                 {"", "modulo_bytes"},
                 {"", "part_of"}},
                {}};
    for (const Segment& segment : segments) {
        table.rows.push_back({std::to_string(slot), source.code, std::to_string(segment.number), segment.name,
                              std::to_string(segment.used), segment.total ? std::to_string(*segment.total) : "",
                              segment.wraps ? std::to_string(kHeapWrap) : "",
                              segment.part ? std::to_string(kFoldedInto) : ""});
    }
    return table;
}

// Bars are for those who look: a terminal, or --color always.
Table screen_table(const std::vector<Segment>& segments, bool bars) {
    Table table{{{"SEGMENT", "", Align::right},
                 {"USED", "", Align::right},
                 {"USED BYTES", "", Align::right},
                 {"TOTAL", "", Align::right},
                 {"TOTAL BYTES", "", Align::right},
                 {"", ""},
                 {"NAME", ""}},
                {}};
    for (const Segment& segment : segments) {
        const std::string mark = segment.wraps ? "*" : "";
        table.rows.push_back({std::to_string(segment.number), bytes_text(segment.used) + mark,
                              std::to_string(segment.used), segment.total ? bytes_text(*segment.total) + mark : "-",
                              segment.total ? std::to_string(*segment.total) : "-", bars ? bar(segment) : "",
                              segment.name});
    }
    return table;
}

void look_at(Session& session, const Adapter& adapter) {
    const Source& source = choose_source(session, adapter);
    const auto get = KT3_ENTRY(library_of(session), get_segment_info);
    _GFX_SEGMENT_INFO words{};
    std::int32_t answer = 0;
    const LibraryLines lines = lines_during(library_of(session), [&] { answer = get(&words); });
    check_interrupt();
    if (answer < 0) {
        if (&source == &kAllocationSums) {
            throw unreadable(adapter, "allocations", "the allocations");
        }
        note_error(session.report, unreadable(adapter, "allocations", "the allocations"));
    }
    if (lines.reread && answer >= 0) {
        note_error(session.report,
                   {ExitStatus::failure, "unstable",
                    fmt::format("allocations of GPU {} vanished while they were read; sums are too high", adapter.slot),
                    "try again"});
    }
    const auto segments = segments_of(words, source);
    session.report.members["segments"].push_back(segments_object(adapter, source, segments));
    if (format_of(session) == Format::csv) {
        show_table(session, csv_table(adapter.slot, source, segments), "");
        return;
    }
    const bool bars = session.output.is_terminal() || session.options.color == "always";
    show_table(session, screen_table(segments, bars),
               adapter_heading(session, adapter) + fmt::format("  from the {}", source.words));
    if (&source == &kHeapPages) {
        session.text += "* less whole multiples of 4 GiB: the library keeps 32 bits of the heap pages' figures\n";
    }
}

} // namespace

void add_segment(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "segment", "Show size and use of an adapter's memory segments", options, chosen,
                {.gpu = true, .csv = true}, [](Session& session) {
                    session.report.members["segments"] = Json::array();
                    return for_each_bound(session, [&](const Adapter& adapter) { look_at(session, adapter); });
                });
}

} // namespace kt3::cli
