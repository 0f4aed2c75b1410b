// SPDX-License-Identifier: MIT
#include "observe/adapter/live_readings.hpp"

#include "observe/adapter/nodes.hpp"

namespace kt3::observe {
namespace {

using Number = Reading<std::int64_t>;

struct NodeNumber {
    Number LiveReadings::*into;
    Number (*read)(const Adapter&, std::int32_t, Quantity);
    std::int32_t index; // of the node
    Quantity quantity;
};

Number read_degrees(const Adapter& adapter, std::int32_t, Quantity) {
    return read_temperature(adapter);
}

// clang-format off
// In the order in which they are read.
constexpr NodeNumber kNumbers[] = {
    {&LiveReadings::engine_mhz,    read_number,  nodes::kEclk,          Quantity::megahertz},
    {&LiveReadings::video_mhz,     read_number,  nodes::kVclk,          Quantity::megahertz},
    {&LiveReadings::memory_mhz,    read_number,  nodes::kMclk,          Quantity::megahertz},
    {&LiveReadings::core_mhz,      read_number,  nodes::kCoreclk,       Quantity::megahertz},
    {&LiveReadings::temperature_c, read_degrees, nodes::kTemperature,   Quantity::degrees},
    {&LiveReadings::fan_speed,     read_number,  nodes::kFanSpeed,      Quantity::any},
    {&LiveReadings::fan0_rpm,      read_sensor,  nodes::kFan0,          Quantity::any},
    {&LiveReadings::fan1_rpm,      read_sensor,  nodes::kFan1,          Quantity::any},
    {&LiveReadings::fb_size_mib,   read_number,  nodes::kFbSize,        Quantity::any},
    {&LiveReadings::fb_free_mib,   read_number,  nodes::kFreeFbMem,     Quantity::any},
    {&LiveReadings::channels,      read_number,  nodes::kMiuChannelNum, Quantity::any},
};
// clang-format on

// More free memory than there is.
bool contradicts(const Number& free, const Number& size) {
    return free.present() && size.present() && (free.value() > size.value() || free.value() < 0);
}

} // namespace

LiveReadings read_live(const Adapter& adapter) {
    LiveReadings live;
    for (const NodeNumber& row : kNumbers) {
        live.*row.into = row.read(adapter, row.index, row.quantity);
    }
    if (contradicts(live.fb_free_mib, live.fb_size_mib)) {
        live.fb_free_mib = Implausible{std::to_string(live.fb_free_mib.value())};
    }
    return live;
}

UsageReadings read_usage(const Adapter& adapter) {
    const auto percent = [&](nodes::NodeIndex node) { return read_number(adapter, node, Quantity::percent); };
    return {percent(nodes::kEngine3dUsage), percent(nodes::kEngineVcpUsage), percent(nodes::kEngineVppUsage)};
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
