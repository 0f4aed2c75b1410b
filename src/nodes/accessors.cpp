#include "nodes/accessors.hpp"

#include "adapter/current_adapter.hpp"
#include "nodes/node_files.hpp"
#include "nodes/node_table.hpp"
#include "support/file_reading.hpp"
#include "support/text_scan.hpp"

#include <cstdio>

namespace kt3::nodes {
namespace {

NumberPage read_driver_node(std::int32_t index) {
    return read_number_page(current_info_directory(), name_at(kDriverNodes, index));
}

template<typename Value, typename Found>
void store_if_found(Value* destination, const Found& found) {
    if (destination != nullptr && found) {
        *destination = *found;
    }
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
    const NumberPage page = read_number_page(current_hwmon_directory(), kHwmonNodes[kTemperature]);
    const auto degrees = support::scan_unsigned(page.text);
    return {degrees.value_or(0), degrees ? 1U : 0U};
}

std::uint32_t set_usage_accounting(const char* text) {
    return write_node(current_info_directory(), kDriverNodes[kEnableUsage], text);
}

// fps_count: frames, a blank, nanoseconds; rxa_blt_scn_cnt: one number
std::uint32_t read_frame_counters(const FrameCounters& into) {
    const NumberPage counts = read_driver_node(kFpsCount);
    const char* at = counts.text;
    const auto frames = support::take_unsigned(at);
    store_if_found(into.frames, frames);
    if (frames) {
        store_if_found(into.timestamp_ns, support::take_long(at));
    }
    const NumberPage scans = read_driver_node(kRxaBltScnCnt);
    at = scans.text;
    const auto blit_scans = support::take_long(at);
    store_if_found(into.blit_scans, blit_scans);
    return blit_scans ? 1 : 0;
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
