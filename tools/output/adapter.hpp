// SPDX-License-Identifier: MIT
#pragma once
// Adapters and their readings as rows.

#include "observe/adapter/driver_state.hpp"
#include "observe/adapter/moving_readings.hpp"
#include "observe/adapter/summaries.hpp"
#include "observe/plausible.hpp"
#include "output/row.hpp"

namespace kt3::output {

using observe::Adapter;

[[nodiscard]] const char* family_name(const Adapter& adapter); // "other" for a GPU of another vendor
[[nodiscard]] inline Hex vendor_of(const Adapter& adapter) {
    return {adapter.vendor_id};
}
[[nodiscard]] inline Hex chip_of(const Adapter& adapter) {
    return {adapter.chip_id};
}
[[nodiscard]] std::string card_name(const Adapter& adapter); // "card0"

// clang-format off
// What an adapter is: the same keys for every chip. Bus id and vendor stand earlier in rows than in JSON.
inline constexpr Column<Adapter> kAdapterColumns[] = {
    column<&Adapter::slot>            ("slot",      "SLOT",   {.least = 0, .most = 2}),
    column<&Adapter::bus>             ("bdf",       "BUS ID", {.forms = kText | kCsv}),
    column<&Adapter::name>            ("name",      "NAME"),
    column<family_name>               ("family",    "FAMILY", {.one_of = "newer older other"}),
    column<vendor_of>                 ("vendor_id", "VENDOR", {.forms = kText | kCsv}),
    column<chip_of>                   ("chip_id",   "CHIP"),
    member<vendor_of>                 ("vendor_id"),
    member<&Adapter::bus>             ("bdf"),
    column<&Adapter::card, card_name> ("drm_card",  "NODE",   {.align = Align::left}),
    column<&Adapter::va_driver>       ("va_driver", "VA"),
    member<&Adapter::luid_high>       ("luid_high"),
    member<&Adapter::luid_low>        ("luid_low"),
};

using observe::kHotDegrees;
using observe::LiveReadings;
inline constexpr Column<LiveReadings> kLiveColumns[] = {
    column<&LiveReadings::engine_mhz>   ("engine_mhz",    "Engine clock",      {.unit = "MHz", .group = "clocks"}),
    column<&LiveReadings::video_mhz>    ("video_mhz",     "Video clock",       {.unit = "MHz", .group = "clocks"}),
    column<&LiveReadings::memory_mhz>   ("memory_mhz",    "Memory clock",      {.unit = "MHz", .group = "clocks"}),
    column<&LiveReadings::core_mhz>     ("core_mhz",      "Core clock",        {.unit = "MHz", .group = "clocks"}),
    column<&LiveReadings::temperature_c>("temperature_c", "Temperature",       {.unit = "C",   .group = "sensors", .hot = kHotDegrees}),
    column<&LiveReadings::fan_speed>    ("fan_speed",     "Fan speed",         {.group = "sensors"}),
    column<&LiveReadings::fan0_rpm>     ("fan0_rpm",      "Fan 0",             {.unit = "rpm", .group = "sensors"}),
    column<&LiveReadings::fan1_rpm>     ("fan1_rpm",      "Fan 1",             {.unit = "rpm", .group = "sensors"}),
    column<&LiveReadings::fb_size_mib>  ("fb_size_mib",   "Frame buffer",      {.unit = "MiB", .group = "memory"}),
    column<&LiveReadings::fb_free_mib>  ("fb_free_mib",   "Free frame buffer", {.unit = "MiB", .group = "memory"}),
    column<&LiveReadings::channels>     ("channels",      "Memory channels",   {.group = "memory"}),
};

using observe::DriverState;
inline constexpr Column<DriverState> kDriverColumns[] = {
    column<&DriverState::module>           ("module",            "Interface module", {.group = "driver"}),
    column<&DriverState::info_directory>   ("info_directory",    "Info directory",   {.group = "driver"}),
    column<&DriverState::debugfs_directory>("debugfs_directory", "Debugfs",          {.group = "driver"}),
};

using observe::Versions;
inline constexpr Column<Versions> kVersionColumns[] = {
    column<&Versions::driver>      ("driver",       "Driver",       {.group = "versions"}),
    column<&Versions::release_date>("release_date", "Release date", {.group = "versions"}),
    column<&Versions::vbios>       ("vbios",        "VBIOS",        {.group = "versions"}),
    column<&Versions::pmp>         ("pmp",          "PMP firmware", {.group = "versions"}),
};

using observe::AdapterSummary;
inline constexpr Column<AdapterSummary> kSummaryColumns[] = {
    column<&AdapterSummary::memory_speed>    ("memory_speed",     "Memory speed",  {.unit = "MT/s", .group = "summary"}),
    column<&AdapterSummary::memory_type>     ("memory_type",      "Memory type",   {.group = "summary"}),
    column<&AdapterSummary::memory_bit_width>("memory_bit_width", "Memory width",  {.unit = "bits", .group = "summary"}),
    column<&AdapterSummary::display_ports>   ("display_ports",    "Display ports", {.group = "summary"}),
    column<&AdapterSummary::display_types>   ("display_types",    "Display types", {.group = "summary", .one_of = "VGA DVI HDMI DP EDP"}),
};
using observe::MovingReadings;
inline constexpr Column<MovingReadings> kLinkWidthColumns[] = {
    column<&MovingReadings::link_width>("link_width", "Link width", {.unit = "lanes", .group = "link"}),
};

using observe::DriverPage;
inline constexpr const char* kResolution = "^[0-9]+x[0-9]+@[0-9]+$";
inline constexpr Column<DriverPage> kPageColumns[] = {
    column<&DriverPage::driver_version>     ("driver_version",      "Driver",            {.group = "page"}),
    column<&DriverPage::firmware_version>   ("firmware_version",    "Firmware",          {.group = "page"}),
    column<&DriverPage::firmware_name>      ("firmware_name",       "Firmware name",     {.group = "page"}),
    column<&DriverPage::pixel_fill_rate>    ("pixel_fill_rate",     "Pixel fill rate",   {.group = "page"}),
    column<&DriverPage::texture_fill_rate>  ("texture_fill_rate",   "Texture fill rate", {.group = "page"}),
    column<&DriverPage::memory_clock>       ("memory_clock",        "Memory clock",      {.group = "page"}),
    column<&DriverPage::max_resolution>     ("max_resolution",      "Max resolution",    {.group = "page", .pattern = kResolution}),
    column<&DriverPage::vga_max_resolution> ("vga_max_resolution",  "Max on VGA",        {.group = "page", .pattern = kResolution}),
    column<&DriverPage::memory_usage>       ("memory_usage",        "Memory usage",      {.group = "page"}),
    column<&DriverPage::usage_3d_percent>   ("usage_3d_percent",    "3D",                {.unit = "%", .group = "page"}),
    column<&DriverPage::usage_video_percent>("usage_video_percent", "Video",             {.unit = "%", .group = "page"}),
    column<&DriverPage::usage_vpp_percent>  ("usage_vpp_percent",   "Post-processing",   {.unit = "%", .group = "page"}),
    column<&DriverPage::temperature_c>      ("temperature_c",       "Temperature",       {.unit = "C", .group = "page"}),
};
inline constexpr Column<DriverPage> kLinkGenerationColumns[] = {
    column<&DriverPage::pcie_generation>("pcie_generation", "PCIe generation", {.group = "link"}),
};
// clang-format on

[[nodiscard]] Json identity_of(const Adapter& adapter);

} // namespace kt3::output
