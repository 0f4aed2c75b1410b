// SPDX-License-Identifier: MIT
#include "output/vm/picture.hpp"

#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::output {
namespace {

constexpr double kMargin = 20;
constexpr double kWidth = 960; // of a strip
constexpr double kStrip = 24;
constexpr double kLine = 20; // of text

std::string xml_safe(const std::string& text) {
    std::string safe;
    for (const char c : screen_safe(text)) {
        switch (c) {
        case '<':
            safe += "&lt;";
            break;
        case '>':
            safe += "&gt;";
            break;
        case '&':
            safe += "&amp;";
            break;
        default:
            safe += c;
        }
    }
    return safe;
}

std::string label(double top, const char* weight, const std::string& text) {
    return fmt::format("<text x=\"{}\" y=\"{}\" font-weight=\"{}\">{}</text>\n", kMargin, top + kLine * 0.75, weight,
                       xml_safe(text));
}

std::string span_words(const Span& span) {
    return fmt::format("{}..{} {}", hexadecimal(span.start), hexadecimal(span.end), bytes_text(span.size()));
}

// The parts of the spans that lie in the region. Every one is at least visible.
std::string boxes(const std::vector<Span>& spans, const Span& region, double top, const char* fill, const char* what) {
    std::string text;
    for (const Span& span : spans) {
        if (span.start >= region.end || span.end <= region.start) {
            continue;
        }
        const double scale = kWidth / static_cast<double>(region.size());
        const double left = static_cast<double>(span.start - region.start) * scale;
        const double width = std::max(1.0, static_cast<double>(span.size()) * scale);
        text += fmt::format("<rect x=\"{:.2f}\" y=\"{}\" width=\"{:.2f}\" height=\"{}\" fill=\"{}\"><title>{} {}"
                            "</title></rect>\n",
                            kMargin + left, top, width, kStrip, fill, what, span_words(span));
    }
    return text;
}

std::string strip(const AddressSpace& space, const Span& region, double top) {
    return fmt::format("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"#eceff3\"/>\n", kMargin, top, kWidth,
                       kStrip) +
           boxes(space.ranges, region, top, "#3b7dd8", "range") +
           boxes(space.overlaps, region, top, "#d83b3b", "overlap");
}

} // namespace

std::string svg_picture(const std::vector<AddressSpace>& spaces) {
    std::string body;
    double top = kMargin;
    for (const AddressSpace& space : spaces) {
        body += label(top, "bold", fmt::format("pid {}  {}  {} used", space.pid, space.name, bytes_text(space.used)));
        top += kLine;
        for (const Span& region : space.regions) {
            body += label(top, "normal", span_words(region));
            body += strip(space, region, top + kLine);
            top += kLine + kStrip + 4;
        }
        top += kLine / 2;
    }
    return fmt::format("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{}\" height=\"{}\" font-family=\"monospace\" "
                       "font-size=\"13\">\n<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n",
                       kWidth + 2 * kMargin, top + kMargin) +
           body + "</svg>\n";
}

} // namespace kt3::output
