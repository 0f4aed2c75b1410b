// SPDX-License-Identifier: MIT
// The driver's page about one card, as read: any bytes, cut at the reader's limit.

#include "summary/display_outputs.hpp"
#include "summary/extended_summary.hpp"

#include <algorithm>
#include <cstring>

using namespace kt3::summary;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    GpuinfoPage page;
    page.bytes = std::min<std::size_t>(size, sizeof page.text - 1);
    *std::copy_n(bytes, page.bytes, page.text) = '\0';
    _GPU_ADAPTER_SUMMARY_EXT2 record;
    clear_extended_summary(record);
    parse_kept_facts(page, record);
    parse_fresh_values(page, record);
    if (std::memchr(record.firmware_name, '\0', sizeof record.firmware_name) == nullptr) {
        __builtin_trap();
    }
    const auto outputs = outputs_in_page(page, 0x5C00);
    if (outputs && (outputs->ports == 0 || outputs->types == 0 || outputs->types > 31)) {
        __builtin_trap();
    }
    return 0;
}
