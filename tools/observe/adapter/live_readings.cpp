// SPDX-License-Identifier: MIT
#include "observe/adapter/live_readings.hpp"

#include "observe/adapter/nodes.hpp"

namespace kt3::observe {
namespace {

using Number = Reading<std::int64_t>;

struct NodeNumber {
    Number LiveReadings::*into;
    Number (*read)(const Library&, const Adapter&, std::int32_t);
    std::int32_t index; // of the node
};

Number read_degrees(const Library& library, const Adapter& adapter, std::int32_t) {
    return read_temperature(library, adapter);
}

// clang-format off
// In the order in which they are read.
constexpr NodeNumber kNumbers[] = {
    {&LiveReadings::engine_mhz,    read_number,       nodes::kEclk},
    {&LiveReadings::video_mhz,     read_number,       nodes::kVclk},
    {&LiveReadings::memory_mhz,    read_number,       nodes::kMclk},
    {&LiveReadings::core_mhz,      read_number,       nodes::kCoreclk},
    {&LiveReadings::temperature_c, read_degrees,      {}},
    {&LiveReadings::fan_speed,     read_number,       nodes::kFanSpeed},
    {&LiveReadings::fan0_rpm,      read_hwmon_number, nodes::kFan0},
    {&LiveReadings::fan1_rpm,      read_hwmon_number, nodes::kFan1},
    {&LiveReadings::fb_size_mib,   read_number,       nodes::kFbSize},
    {&LiveReadings::fb_free_mib,   read_number,       nodes::kFreeFbMem},
    {&LiveReadings::channels,      read_number,       nodes::kMiuChannelNum},
};
// clang-format on

} // namespace

LiveReadings read_live(const Library& library, Machine& machine, const Adapter& adapter) {
    make_current(library, machine, adapter);
    LiveReadings live;
    for (const NodeNumber& row : kNumbers) {
        live.*row.into = row.read(library, adapter, row.index);
    }
    return live;
}

UsageReadings read_usage(const Library& library, const Adapter& adapter) {
    return {read_number(library, adapter, nodes::kEngine3dUsage), read_number(library, adapter, nodes::kEngineVcpUsage),
            read_number(library, adapter, nodes::kEngineVppUsage)};
}

Versions read_versions(const Adapter& adapter) {
    return {read_text(adapter, "driver_version"), read_text(adapter, "release_date"),
            read_text(adapter, "vbios_version"), read_text(adapter, "pmp_version")};
}

Number used_frame_buffer(const LiveReadings& live) {
    if (!live.fb_size_mib.present() || !live.fb_free_mib.present()) {
        return live.fb_size_mib.present() ? live.fb_free_mib : live.fb_size_mib;
    }
    return live.fb_size_mib.value() - live.fb_free_mib.value();
}

Number read_link_width(const Adapter& adapter) {
    if (adapter.family == nullptr) {
        return Absence::not_on_this_chip;
    }
    return adapter.sysfs_fd < 0 ? Number(Absence::driver) : number_at(adapter.sysfs_fd, "current_link_width");
}

} // namespace kt3::observe
