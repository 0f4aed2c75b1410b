// SPDX-License-Identifier: MIT
#pragma once
// Memory segments as rows.

#include "observe/memory/segments.hpp"
#include "output/row.hpp"

namespace kt3::output {

using observe::AdapterSegments;
using observe::Segment;

[[nodiscard]] const char* source_code(const AdapterSegments& segments); // "heap_pages"
[[nodiscard]] const char* source_words(observe::SegmentSource source);  // "heap pages and allocation sums"

[[nodiscard]] std::string used_text(const Segment& segment);
[[nodiscard]] std::string used_bytes_text(const Segment& segment);
[[nodiscard]] std::string total_text(const Segment& segment);
[[nodiscard]] std::string total_bytes_text(const Segment& segment);
[[nodiscard]] std::string bar_of(const Segment& segment); // "[#####...............]"
[[nodiscard]] Paint bar_paint(const Segment& segment);    // by how full it is

// clang-format off
inline constexpr Column<AdapterSegments> kSegmentsColumns[] = {
    column<&AdapterSegments::slot>("slot",   "", {.least = 0, .most = 2}),
    column<&AdapterSegments::bus> ("bdf",    ""),
    column<source_code>           ("source", "", {.one_of = "node heap_pages allocation_sums"}),
    member<&AdapterSegments::unit>("unit_bytes"),
};

// On screen the sizes come first, once for people and once to the byte.
inline constexpr Column<Segment> kSegmentColumns[] = {
    column<&Segment::number>                 ("segment",      "SEGMENT",     {.least = 0, .most = 15}),
    column<&Segment::name>                   ("name",         "",            {.forms = kCsv | kJson}),
    column<&Segment::used, used_text>        ("used_bytes",   "USED"),
    column<&Segment::used, used_bytes_text>  ("used_exact",   "USED BYTES",  {.forms = kText}),
    column<&Segment::total, total_text>      ("total_bytes",  "TOTAL"),
    column<&Segment::total, total_bytes_text>("total_exact",  "TOTAL BYTES", {.forms = kText}),
    column<bar_of>                           ("bar",          "",            {.forms = kText, .rank = Rank::first, .whole = true}),
    column<&Segment::name>                   ("name",         "NAME",        {.forms = kText}),
    column<&Segment::part_of>                ("part_of",      "",            {.forms = kCsv | kJson}),
};
// clang-format on

} // namespace kt3::output
