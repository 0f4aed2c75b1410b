// SPDX-License-Identifier: MIT
#include "nodes/node_files.hpp"

#include "support/interrupted_calls.hpp"
#include "support/owned.hpp"
#include "support/percent_text.hpp"
#include "support/text_scan.hpp"

#include <fcntl.h>
#include <string>

namespace kt3::nodes {
NumberPage read_number_page(int directory, const char* node) {
    return node == nullptr ? NumberPage{} : support::read_node_page<64>(directory, node);
}

std::int32_t int_in(const NumberPage& page) {
    return support::scan_int(page.text).value_or(0);
}

std::uint32_t write_node(int directory, const char* node, const char* text) {
    if (node == nullptr || text == nullptr) {
        return 0;
    }
    const support::Fd file(::openat(directory, node, O_WRONLY | O_CLOEXEC));
    if (!file) {
        return 0;
    }
    const std::string sent = support::printed_as_format(text);
    if (!sent.empty()) {
        support::repeat_interrupted([&] { return ::write(file.get(), sent.data(), sent.size()); });
    }
    return static_cast<std::uint32_t>(sent.size());
}

} // namespace kt3::nodes
