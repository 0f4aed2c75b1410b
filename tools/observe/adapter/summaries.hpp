// SPDX-License-Identifier: MIT
#pragma once
// The summary that the library gathers, and the driver's page about the adapter. The library answers 0 for whatever it
// cannot read; such a value is looked into, to tell a real one from an absent one.

#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace kt3::observe {

// What the summary knows beyond the driver's nodes: memory and display outputs.
struct AdapterSummary {
    Reading<std::int64_t> memory_speed; // MT/s
    Reading<std::string> memory_type;
    Reading<std::int64_t> memory_bit_width;
    Reading<std::int64_t> display_ports;
    Reading<std::vector<std::string>> display_types;
};

// Runs the system's memory tool.
[[nodiscard]] AdapterSummary read_summary(const Library& library, Machine& machine, const Adapter& adapter);

// The driver's page of the adapter: versions unpacked, resolutions as 3840x2160@60.
struct DriverPage {
    Reading<std::string> driver_version, firmware_version, firmware_name;
    Reading<std::int64_t> pixel_fill_rate, texture_fill_rate, memory_clock;
    Reading<std::string> max_resolution, vga_max_resolution;
    Reading<std::int64_t> memory_usage;
    Reading<std::int64_t> usage_3d_percent, usage_video_percent, usage_vpp_percent;
    Reading<std::int64_t> temperature_c;
    Reading<std::int64_t> pcie_generation;
};
[[nodiscard]] DriverPage read_driver_page(const Adapter& adapter);

} // namespace kt3::observe
