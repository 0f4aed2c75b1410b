// SPDX-License-Identifier: MIT
#pragma once
// The keys of /proc/gpuinfo_N, the driver's page about one card: what stands after each and which field of the
// extended summary holds it.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdint>
#include <variant>

namespace kt3::summary {

// How the text after a key is read.
enum class GpuinfoScan : std::uint8_t {
    number,
    signed_number,    // saturates at other bounds: 3.0 x16
    version_of_three, // 1.2.3, in hexadecimal
    version_of_four,  // 1.2.3.4, in hexadecimal
    resolution,       // 3840 x 2160@60
    line,             // all that is left of it
};

// When it is read: facts once for each chip and kept, usages and clocks with every summary.
enum class GpuinfoRead : std::uint8_t { once, always };

using GpuinfoField = std::variant<std::uint32_t _GPU_ADAPTER_SUMMARY_EXT2::*,
                                  std::uint64_t _GPU_ADAPTER_SUMMARY_EXT2::*, char (_GPU_ADAPTER_SUMMARY_EXT2::*)[32]>;

// The order of the columns is for readers of the rows. NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct GpuinfoKey {
    const char* name; // of the record's field
    GpuinfoRead read;
    const char* key;
    const char* second_key; // looked for when the first is absent, or null
    GpuinfoScan scan;
    GpuinfoField field;
};

// clang-format off
inline constexpr GpuinfoKey kGpuinfoKeys[] = {
    {"driver_version",     GpuinfoRead::once,   "Driver Version : ",              nullptr, GpuinfoScan::version_of_three, &_GPU_ADAPTER_SUMMARY_EXT2::driver_version},
    {"firmware_version",   GpuinfoRead::once,   "Firmware Version : ",            nullptr, GpuinfoScan::version_of_four,  &_GPU_ADAPTER_SUMMARY_EXT2::firmware_version},
    {"firmware_name",      GpuinfoRead::once,   "Firmware Name : ",               nullptr, GpuinfoScan::line,             &_GPU_ADAPTER_SUMMARY_EXT2::firmware_name},
    {"pixel_fill_rate",    GpuinfoRead::once,   "Pixel Fillrate : ",              nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::pixel_fill_rate},
    {"texture_fill_rate",  GpuinfoRead::once,   "Texture Fillrate : ",            nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::texture_fill_rate},
    {"max_resolution",     GpuinfoRead::once,   "HDMI Max Display Resolution : ", "DP Max Display Resolution : ",
                                                                                           GpuinfoScan::resolution,       &_GPU_ADAPTER_SUMMARY_EXT2::max_resolution},
    {"vga_max_resolution", GpuinfoRead::once,   "VGA Max Display Resolution : ",  nullptr, GpuinfoScan::resolution,       &_GPU_ADAPTER_SUMMARY_EXT2::vga_max_resolution},
    {"pcie_generation",    GpuinfoRead::once,   "Bus Type : PCIE",                nullptr, GpuinfoScan::signed_number,    &_GPU_ADAPTER_SUMMARY_EXT2::pcie_generation},
    {"memory_clock_freq",  GpuinfoRead::always, "Memory Clock Freq : ",           nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::memory_clock_freq},
    {"memory_usage",       GpuinfoRead::always, "GPU Memory Usage : ",            nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::memory_usage},
    {"use_rate_3d",        GpuinfoRead::always, "GPU Use Rate(3d) : ",            nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::use_rate_3d},
    {"use_rate_video",     GpuinfoRead::always, "GPU Use Rate(video) : ",         nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::use_rate_video},
    {"use_rate_vpp",       GpuinfoRead::always, "GPU Use Rate(vpp) : ",           nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::use_rate_vpp},
    {"temperature",        GpuinfoRead::always, "Realtime Temperature : ",        nullptr, GpuinfoScan::number,           &_GPU_ADAPTER_SUMMARY_EXT2::temperature},
};
// clang-format on

// What the short summary takes from the page.
inline constexpr const char* kDeviceIdKey = "Device ID : ";               // hexadecimal
inline constexpr const char* kDisplayPortsKey = "Max Display Port : ";    // hexadecimal
inline constexpr const char* kDisplayTypesKey = "Support Display Type :"; // names, up to the end of the line

// Whether every row's field has the type that its scan fills.
constexpr bool every_gpuinfo_field_fits_its_scan() {
    for (const GpuinfoKey& row : kGpuinfoKeys) {
        const bool is_number = row.scan == GpuinfoScan::number || row.scan == GpuinfoScan::signed_number;
        const std::size_t type = is_number ? 0 : row.scan == GpuinfoScan::line ? 2 : 1;
        if (row.field.index() != type) {
            return false;
        }
    }
    return true;
}
static_assert(every_gpuinfo_field_fits_its_scan());

} // namespace kt3::summary
