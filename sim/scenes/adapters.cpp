// SPDX-License-Identifier: MIT
#include "scenes/adapters.hpp"

#include <array>
#include <cstdio>

namespace kt3::sim {
namespace {

struct Published {
    std::string_view name;
    std::string_view text;
};

// clang-format off
constexpr Published kNewerNodes[] = {
    {"engine_3d_usage",     "2\n"},
    {"engine_vcp_usage",    "0\n"},
    {"engine_vcp_info",     "vcp0:0 vcp1:0\n"},
    {"engine_vpp_usage",    "0\n"},
    {"fan_speed",           "1180\n"},
    {"vbios_version",       "8.15.1.5\n"},
    {"pmp_version",         "2.4.1\n"},
    {"release_date",        "2024-03-18\n"},
    {"driver_version",      "25.0.46\n"},
    {"miu_channel_num",     "4\n"},
    {"slice_mask",          "15\n"},
    {"fb_size",             "8192\n"},
    {"free_fb_mem",         "7904\n"},
    {"eclk",                "300\n"},
    {"vclk",                "250\n"},
    {"mclk",                "1600\n"},
    {"enable_perf",         "0\n"},
    {"enable_usage",        "0\n"},
    {"fps_count",           "3600 60000000000\n"},
    {"rxa_blt_scn_cnt",     "120\n"},
    {"misc_ctl_flag",       "1\n"},
    {"power_mode",          "power_mode:0x3\n"},
    {"power_case",          "0\n"},
    {"pwm_wait_count",      "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x30 cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n"},
    {"dvfs_mode",           "dvfs_mode:0x1\n"},
    {"dvfs_control_params", "gfx_dvfs_checksize:0x14\ngfx_dvfs_h_threshold:0x50\ngfx_dvfs_l_threshold:0x1e\n"
                            "vcp0_dvfs_checksize:0x14\nvcp0_dvfs_h_threshold:0x46\nvcp0_dvfs_l_threshold:0x19\n"
                            "vcp1_dvfs_checksize:0x14\nvcp1_dvfs_h_threshold:0x46\nvcp1_dvfs_l_threshold:0x19\n"
                            "vpp_dvfs_checksize:0xa\nvpp_dvfs_h_threshold:0x3c\nvpp_dvfs_l_threshold:0x14\n"},
    {"dvfs_clk_voltage",    "gfx_clock:300\ngfx_voltage:750\n"},
    {"dvfs_level",          "dvfs_level:balance\n"},
    {"segment_info",        "segment_id:0,total_size:268435,used_size:20971\n"
                            "segment_id:1,total_size:8321499,used_size:301990\n"
                            "segment_id:2,total_size:4294967,used_size:12582\n"
                            "segment_id:3,total_size:4294967,used_size:8388\n"},
    {"coreclk",             "600\n"},
};

constexpr Published kOlderNodes[] = {
    {"engine_3d_usage",     "1\n"},
    {"engine_vcp_usage",    "0\n"},
    {"engine_vcp_info",     "vcp0:0\n"},
    {"engine_vpp_usage",    "0\n"},
    {"fan_speed",           "0\n"},
    {"vbios_version",       "4.2.0.11\n"},
    {"pmp_version",         "1.0.7\n"},
    {"release_date",        "2021-09-02\n"},
    {"driver_version",      "21.0.33\n"},
    {"miu_channel_num",     "2\n"},
    {"slice_mask",          "1\n"},
    {"fb_size",             "2048\n"},
    {"free_fb_mem",         "1792\n"},
    {"eclk",                "200\n"},
    {"vclk",                "200\n"},
    {"mclk",                "1333\n"},
    {"enable_perf",         "0\n"},
    {"enable_usage",        "0\n"},
    {"fps_count",           "1800 60000000000\n"},
    {"rxa_blt_scn_cnt",     "60\n"},
    {"misc_ctl_flag",       "0\n"},
    {"power_mode",          "power_mode:0x1\n"},
    {"power_case",          "0\n"},
    {"pwm_wait_count",      "pg_3d:0x8 cg_3d:0x8\npg_vcp:0x8 cg_vcp:0x8\npg_vpp:0x8 cg_vpp:0x8\n"},
    {"dvfs_mode",           "dvfs_mode:0x0\n"},
    {"dvfs_control_params", "gfx_dvfs_checksize:0xa\ngfx_dvfs_h_threshold:0x50\ngfx_dvfs_l_threshold:0x14\n"
                            "vcp0_dvfs_checksize:0xa\nvcp0_dvfs_h_threshold:0x50\nvcp0_dvfs_l_threshold:0x14\n"
                            "vcp1_dvfs_checksize:0xa\nvcp1_dvfs_h_threshold:0x50\nvcp1_dvfs_l_threshold:0x14\n"
                            "vpp_dvfs_checksize:0xa\nvpp_dvfs_h_threshold:0x50\nvpp_dvfs_l_threshold:0x14\n"},
    {"dvfs_clk_voltage",    "gfx_clock:200\ngfx_voltage:900\n"},
    {"dvfs_level",          "dvfs_level:lowpower\n"},
    {"coreclk",             "400\n"},
};

constexpr Published kHeaps[] = {
    {"heaps/heap_invalid/info",      "Total segment size:  0\nKMD used segment memory:  0\n"},
    {"heaps/heap_local/info",        "Total segment size:  2147483648\nKMD used segment memory:  67108864\n"},
    {"heaps/heap_pcie_unsnoop/info", "Total segment size:  1073741824\nKMD used segment memory:  4194304\n"},
    {"heaps/heap_pcie_snoop/info",   "Total segment size:  1073741824\nKMD used segment memory:  2097152\n"},
};

// After the "Device ID" line, which names the chip.
constexpr char kNewerPage[] =
    "Driver Version : 25.00.46\n"
    "Firmware Version : 8.15.1.5\n"
    "Firmware Name : wy_55f0_release.bin\n"
    "Bus Type : PCIE 3.0 x16\n"
    "Memory Clock Freq : 1600\n"
    "Pixel Fillrate : 19200\n"
    "Texture Fillrate : 38400\n"
    "Max Display Port : 3\n"
    "Support Display Type : HDMI DP VGA\n"
    "HDMI Max Display Resolution : 3840 x 2160@60\n"
    "DP Max Display Resolution : 3840 x 2160@60\n"
    "VGA Max Display Resolution : 1920 x 1200@60\n"
    "GPU Memory Usage : 4\n"
    "GPU Use Rate(3d) : 2\n"
    "GPU Use Rate(video) : 0\n"
    "GPU Use Rate(vpp) : 0\n"
    "Realtime Temperature : 41\n";

constexpr char kOlderPage[] =
    "Driver Version : 21.00.33\n"
    "Firmware Version : 4.2.0.11\n"
    "Firmware Name : qn_4480.bin\n"
    "Bus Type : PCIE 2.0 x8\n"
    "Memory Clock Freq : 1333\n"
    "Pixel Fillrate : 3200\n"
    "Texture Fillrate : 6400\n"
    "Max Display Port : 2\n"
    "Support Display Type : HDMI VGA\n"
    "HDMI Max Display Resolution : 1920 x 1080@60\n"
    "VGA Max Display Resolution : 1600 x 1200@60\n"
    "GPU Memory Usage : 12\n"
    "GPU Use Rate(3d) : 1\n"
    "GPU Use Rate(video) : 0\n"
    "GPU Use Rate(vpp) : 0\n"
    "Realtime Temperature : 48\n";

constexpr char kMemoryModules[] =
    "# dmidecode 3.4\n"
    "Getting SMBIOS data from sysfs.\n"
    "SMBIOS 3.2.0 present.\n"
    "\n"
    "Handle 0x0038, DMI type 16, 23 bytes\n"
    "Physical Memory Array\n"
    "\tLocation: System Board Or Motherboard\n"
    "\tUse: System Memory\n"
    "\tMaximum Capacity: 64 GB\n"
    "\tNumber Of Devices: 2\n"
    "\n"
    "Handle 0x0039, DMI type 17, 84 bytes\n"
    "Memory Device\n"
    "\tTotal Width: 64 bits\n"
    "\tData Width: 64 bits\n"
    "\tSize: 8 GB\n"
    "\tForm Factor: DIMM\n"
    "\tLocator: DIMM 0\n"
    "\tBank Locator: P0 CHANNEL A\n"
    "\tType: DDR4\n"
    "\tType Detail: Synchronous Unbuffered (Unregistered)\n"
    "\tSpeed: 2666 MT/s\n"
    "\tConfigured Memory Speed: 2666 MT/s\n"
    "\n"
    "Handle 0x003A, DMI type 17, 84 bytes\n"
    "Memory Device\n"
    "\tTotal Width: 64 bits\n"
    "\tData Width: 64 bits\n"
    "\tSize: 8 GB\n"
    "\tForm Factor: DIMM\n"
    "\tLocator: DIMM 0\n"
    "\tBank Locator: P0 CHANNEL B\n"
    "\tType: DDR4\n"
    "\tType Detail: Synchronous Unbuffered (Unregistered)\n"
    "\tSpeed: 2666 MT/s\n"
    "\tConfigured Memory Speed: 2666 MT/s\n";

constexpr char kMounts[] =
    "sysfs /sys sysfs rw,nosuid,nodev,noexec,relatime 0 0\n"
    "proc /proc proc rw,nosuid,nodev,noexec,relatime 0 0\n"
    "debugfs /sys/kernel/debug debugfs rw,nosuid,nodev,noexec,relatime 0 0\n";

// User 998 has no name.
constexpr char kUsers[] =
    "root:x:0:0::/root:/bin/sh\n"
    "desk:x:1000:1000::/home/desk:/bin/sh\n"
    "nora:x:1001:1001::/home/nora:/bin/sh\n"
    "ada:x:1002:1002::/home/ada:/bin/sh\n"
    "bob:x:1003:1003::/home/bob:/bin/sh\n"
    "nobody:x:65534:65534::/:/bin/false\n";
// clang-format on

std::string page_of(std::uint16_t device, std::string_view rest) {
    std::array<char, 32> line{};
    std::snprintf(line.data(), line.size(), "Device ID : 0x%x\n", device);
    return line.data() + std::string(rest);
}

} // namespace

Adapter add_newer(Machine& machine, std::string_view bdf, AdapterOptions options) {
    options.device = options.device == 0 ? 0x5C0E : options.device;
    Adapter adapter = machine.adapter(bdf, Family::newer, options);
    for (const Published& node : kNewerNodes) {
        adapter.node(node.name, node.text);
    }
    adapter.hwmon("name", "wy\n").hwmon("temp1_input", "41 *C\n").hwmon("fan0_input", "1180\n");
    adapter.hwmon("fan1_input", "1150\n");
    adapter.debugfs_info("VA=1\nDriver=wy\nBuild=release\n").proc_page(page_of(options.device, kNewerPage));
    adapter.driver_version("wy 25.0.46 20240318 Graphics driver of the newer family\n");
    adapter.pci_file("current_link_width", "16\n").pci_file("current_link_speed", "8.0 GT/s PCIe\n");
    adapter.pci_file("power/runtime_status", "active\n");
    adapter.connector("HDMI-A-1", "connected\n").connector("DP-1").connector("VGA-1");
    return adapter;
}

Adapter add_older(Machine& machine, std::string_view bdf, AdapterOptions options) {
    options.device = options.device == 0 ? 0x5C01 : options.device;
    Adapter adapter = machine.adapter(bdf, Family::older, options);
    for (const Published& node : kOlderNodes) {
        adapter.node(node.name, node.text);
    }
    for (const Published& heap : kHeaps) {
        adapter.debugfs(heap.name, heap.text);
    }
    adapter.hwmon("name", "qn\n").hwmon("temp1_input", "48 *C\n");
    adapter.debugfs_info("VA=0\nDriver=qn\nBuild=release\n").proc_page(page_of(options.device, kOlderPage));
    adapter.driver_version("qn 21.0.33 20210902 Graphics driver of the older family\n");
    adapter.pci_file("current_link_width", "8\n").pci_file("current_link_speed", "5.0 GT/s PCIe\n");
    adapter.pci_file("power/runtime_status", "active\n");
    adapter.connector("HDMI-A-1", "connected\n").connector("VGA-1");
    return adapter;
}

void add_mainboard(const Machine& machine) {
    machine.directory("/dev/dri");
    machine.file("/bin-data/dmidecode-memory", kMemoryModules);
    machine.file("/proc/mounts", kMounts);
    machine.kernel({});
    machine.users(kUsers);
}

} // namespace kt3::sim
