// SPDX-License-Identifier: MIT
#pragma once
// A page of kernel text that is searched for keys.

#include "support/file_reading.hpp"
#include "support/text_scan.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace kt3::support {

// At most N bytes are read; one more keeps the text terminated however long the page is.
template<std::size_t N>
struct TextPage {
    char text[N + 1];  // a zero byte follows what was read; the rest is undefined
    std::size_t bytes; // as read; 0 when the page is absent or empty

    // The text right after the first `key`, or null. A key that touches byte N - 1 is not found: its value is cut off.
    [[nodiscard]] const char* after(std::string_view key) const {
        const std::int32_t at = find_after(text, static_cast<std::int32_t>(std::min(bytes + 1, N)), key);
        return at < 0 ? nullptr : text + at;
    }
};

// A page of a sysfs node.
template<std::size_t N>
TextPage<N> read_node_page(int directory, const char* name) {
    TextPage<N> page;
    page.bytes = read_node_at(directory, name, page.text, N);
    page.text[page.bytes] = '\0';
    return page;
}

// A page of /proc or debugfs, which drivers may hand out line by line.
template<std::size_t N>
TextPage<N> read_text_page(int directory, const char* name) {
    TextPage<N> page;
    page.bytes = read_page_at(directory, name, page.text, N);
    page.text[page.bytes] = '\0';
    return page;
}

} // namespace kt3::support
