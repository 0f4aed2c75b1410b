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
    if (!segment.total || !segment.used) {
        return "";
    }
    const double share = std::min(1.0, static_cast<double>(*segment.used) / static_cast<double>(*segment.total));
    const auto full = static_cast<std::size_t>(std::lround(share * kBarWidth));
    return '[' + std::string(full, '#') + std::string(kBarWidth - full, '.') + ']';
}

} // namespace kt3::output
