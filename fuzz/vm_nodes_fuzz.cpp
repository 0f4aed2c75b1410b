// SPDX-License-Identifier: MIT
// Allocation nodes: cutting a text loses nothing behind the first separator, and values raise only the substring error.

#include "vmdump/allocation_nodes.hpp"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t first = text.find("=====vm node info=====");
    std::string joined;
    for (const std::string& node : kt3::vmdump::split_nodes(text)) {
        joined += node;
        try {
            (void)kt3::vmdump::make_node(node, "1a");
        } catch (const std::out_of_range&) {
            continue; // an equals sign as the last byte
        }
    }
    if (joined != (first == text.npos ? std::string_view() : text.substr(first))) {
        std::abort();
    }
    return 0;
}
