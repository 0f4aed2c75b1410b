// SPDX-License-Identifier: MIT
#include "nodes/accessors.hpp"

#include "adapter/current_adapter.hpp"
#include "nodes/node_files.hpp"
#include "nodes/node_table.hpp"
#include "support/text_page.hpp"
#include "support/text_scan.hpp"

#include <cstdio>

namespace kt3::nodes {
namespace {

NumberPage read_driver_node(std::int32_t index) {
    return read_number_page(current_info_directory(), name_at(kDriverNodes, index));
}

// For numbers that may stand anywhere in a node. Sysfs gives a node one page of memory.
auto read_whole_node(int directory, const char* node) {
    return support::read_node_page<4096>(directory, node);
}

template<typename Value, typename Found>
void store_if_found(Value* destination, const Found& found) {
    if (destination != nullptr && found) {
        *destination = *found;
    }
}

// 1234 8765432100
void read_frames(const FrameCounters& into) {
    const auto page = read_whole_node(current_info_directory(), kDriverNodes[kFpsCount]);
    const char* at = page.text;
    const auto frames = support::take_unsigned(at);
    store_if_found(into.frames, frames);
    if (frames) {
        store_if_found(into.timestamp_ns, support::take_long(at));
    }
}

// 56
bool read_blit_scans(const FrameCounters& into) {
    const auto page = read_whole_node(current_info_directory(), kDriverNodes[kRxaBltScnCnt]);
    const char* at = page.text;
    const auto scans = support::take_long(at);
    store_if_found(into.blit_scans, scans);
    return scans.has_value();
}

} // namespace

int current_info_directory() {
    const gpu_infos* adapter = adapter::current_adapter();
    return adapter == nullptr ? -1 : adapter->info_fd;
}

int current_hwmon_directory() {
    const gpu_infos* adapter = adapter::current_adapter();
    return adapter == nullptr ? -1 : adapter->hwmon_fd;
}

std::int32_t driver_node_int(std::int32_t index) {
    return int_in(read_driver_node(index));
}

HwmonReading read_hwmon_int(std::int32_t index) {
    const NumberPage page = read_number_page(current_hwmon_directory(), name_at(kHwmonNodes, index));
    return {int_in(page), static_cast<std::uint32_t>(page.bytes)};
}

// 45 *C
TemperatureReading read_temperature() {
    const auto page = read_whole_node(current_hwmon_directory(), kHwmonNodes[kTemperature]);
    const auto degrees = support::scan_unsigned(page.text);
    return {degrees.value_or(0), degrees ? 1U : 0U};
}

std::uint32_t set_usage_accounting(const char* text) {
    return write_node(current_info_directory(), kDriverNodes[kEnableUsage], text);
}

std::uint32_t read_frame_counters(const FrameCounters& into) {
    read_frames(into);
    return read_blit_scans(into) ? 1 : 0;
}

void update_misc_ctl_flag(std::uint32_t bits_to_set, std::uint32_t bits_to_clear) {
    const auto flags = static_cast<std::uint32_t>(driver_node_int(kMiscCtlFlag));
    const std::uint32_t updated = (flags & ~bits_to_clear) | bits_to_set;
    char text[16];
    std::snprintf(text, sizeof text, "%d\n", static_cast<std::int32_t>(updated));
    write_node(current_info_directory(), kDriverNodes[kMiscCtlFlag], text);
    read_driver_node(kMiscCtlFlag); // the driver sees its flag word read back after every update
}

} // namespace kt3::nodes
