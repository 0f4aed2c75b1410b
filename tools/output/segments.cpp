// SPDX-License-Identifier: MIT
#include "output/segments.hpp"

#include "output/units.hpp"

#include <algorithm>
#include <cmath>

namespace kt3::output {
namespace {

constexpr int kBarWidth = 20;

struct SourceWords {
    const char* code;
    const char* words;
};

// By the value of SegmentSource.
constexpr SourceWords kSources[] = {
    {"node", "segment_info node"},
    {"heap_pages", "heap pages and allocation sums"},
    {"allocation_sums", "allocation sums"},
};

// From which share on a bar has a paint; the first that fits.
struct Fill {
    double least;
    Paint paint;
};

constexpr Fill kFills[] = {{0.9, Paint::bad}, {0.75, Paint::warn}, {0, Paint::good}};

// Nothing when one of the two is not known or the segment has no size.
std::optional<double> share_of(const Segment& segment) {
    if (segment.total.value_or(0) <= 0 || !segment.used) {
        return std::nullopt;
    }
    return std::clamp(static_cast<double>(*segment.used) / static_cast<double>(*segment.total), 0.0, 1.0);
}

} // namespace

const char* source_code(const AdapterSegments& segments) {
    return kSources[static_cast<std::size_t>(segments.source)].code;
}

const char* source_words(observe::SegmentSource source) {
    return kSources[static_cast<std::size_t>(source)].words;
}

std::string used_text(const Segment& segment) {
    return segment.used ? bytes_text(static_cast<double>(*segment.used)) : "-";
}

std::string used_bytes_text(const Segment& segment) {
    return segment.used ? std::to_string(*segment.used) : "-";
}

std::string total_text(const Segment& segment) {
    return segment.total ? bytes_text(static_cast<double>(*segment.total)) : "-";
}

std::string total_bytes_text(const Segment& segment) {
    return segment.total ? std::to_string(*segment.total) : "-";
}

std::string bar_of(const Segment& segment) {
    const auto share = share_of(segment);
    if (!share) {
        return "";
    }
    const auto full = static_cast<std::size_t>(std::lround(*share * kBarWidth));
    return '[' + std::string(full, '#') + std::string(kBarWidth - full, '.') + ']';
}

Paint bar_paint(const Segment& segment) {
    const auto share = share_of(segment);
    const auto* row = std::find_if(std::begin(kFills), std::end(kFills),
                                   [&](const Fill& fill) { return share && *share >= fill.least; });
    return row == std::end(kFills) ? Paint::plain : row->paint;
}

} // namespace kt3::output
