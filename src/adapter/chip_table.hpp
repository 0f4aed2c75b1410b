// SPDX-License-Identifier: MIT
#pragma once
// Every chip the library knows: how enumeration recognises it and what binding loads for it.

#include <cstdint>

namespace kt3::adapter {

inline constexpr std::uint16_t kOlderVendor = 0x1F41;
inline constexpr std::uint16_t kNewerVendor = 0x7A52;

// What the vendor decides: the names of the driver's directories.
struct Family {
    std::uint16_t vendor;
    const char* name;
    const char* token;        // in the names of the driver's directories
    const char* info_dir;     // below the adapter's PCI directory in sysfs
    const char* debugfs_info; // below /sys/kernel/debug/dri/N/
};

struct Chip {
    std::uint16_t vendor;
    std::uint16_t device;
    const char* display_name; // formatted with the slot
    const char* log_line;
    const char* module;        // kernel-interface module
    const char* second_module; // tried when the first cannot be loaded, or null
    const char* debugfs_dir;   // formatted with the DRM card number
};

// A GPU of another vendor is recognised by its vendor alone.
struct OtherVendor {
    std::uint16_t vendor;
    const char* display_name;
    const char* log_line;
};

// clang-format off
inline constexpr Family kFamilies[] = {
    {kOlderVendor, "older", "qn", "qn_info", "qn/info"},
    {kNewerVendor, "newer", "wy", "wy_info", "wy/info"},
};

inline constexpr Chip kChips[] = {
    // vendor, device, display name, log line, module, second try, debugfs directory
    {kOlderVendor, 0x5C01, "Gpu%d:QN R-4480",       "find chip kt3\n",
     "libkt3keinterface_v2.so.0.0.0",   "libdrm_kt3.so.0.0.0", "/sys/kernel/debug/dri/%d/qn"},
    {kOlderVendor, 0x4B04, "Gpu%d:QN R-360",        "find chip dsn014\n",
     "libkeinterface_qn.so.0.0.0",      nullptr,               "/sys/kernel/debug/dri/%d/qn"},
    {kOlderVendor, 0x4B05, "Gpu%d:QN R-4590",       "find chip kvr007\n",
     "libkt3keinterface_v2.so.0.0.0",   "libdrm_kt3.so.0.0.0", "/sys/kernel/debug/dri/%d/qn"},
    {kNewerVendor, 0x5C04, "Gpu%d:Vorla-5510",      "find chip vorla5510\n",
     "libvorlakeinterface_v2.so.0.0.0", nullptr,               "/sys/kernel/debug/dri/%d/wy"},
    {kNewerVendor, 0x5C02, "Gpu%d:Vorla5520",       "find chip vorla5520\n",
     "libvorlakeinterface_v2.so.0.0.0", nullptr,               "/sys/kernel/debug/dri/%d/wy"},
    {kNewerVendor, 0x5C00, "Gpu%d:Vorla-MX-55E0",   "find chip vorla55E0\n",
     "libvorlakeinterface_v2.so.0.0.0", nullptr,               "/sys/kernel/debug/dri/%d/wy"},
    {kNewerVendor, 0x5C06, "Gpu%d:Vorla-MX-55E0t",  "find chip vorla55E0t\n",
     "libvorlakeinterface_v2.so.0.0.0", nullptr,               "/sys/kernel/debug/dri/%d/wy"},
    {kNewerVendor, 0x5C07, "Gpu%d:Vorla6630",       "find chip vorla6630\n",
     "libvorlakeinterface_v2.so.0.0.0", nullptr,               "/sys/kernel/debug/dri/%d/wy"},
    {kNewerVendor, 0x5C0E, "Gpu%d:Vorla-55F0",      "find chip vorla55F0\n",
     "libvorlakeinterface_v2.so.0.0.0", nullptr,               "/sys/kernel/debug/dri/%d/wy"},
    {kNewerVendor, 0x5C05, "Gpu%d:Vorla2",          "find chip vorla2\n",
     "libdrm_vorla2.so.0.0.0",          nullptr,               "/sys/kernel/debug/dri/%d/wy"},
};

inline constexpr OtherVendor kOtherVendors[] = {
    {0x10DE, "Gpu%d:Nvidia-GPU",  "find chip nvidia\n"},
    {0x8086, "Gpu%d:Intel-GPU",   "find chip intel\n"},
    {0x1002, "Gpu%d:Amd-GPU",     "find chip amd\n"},
};
// Stands for every vendor that is not listed; its line is formatted with the vendor and the device.
inline constexpr OtherVendor kUnknownVendor =
    {0,      "Gpu%d:Unknown-GPU", "find chip unknown, verdor i:0x%x, device id 0x%x\n"};
// clang-format on

template<std::size_t N>
constexpr bool device_ids_are_unique(const Chip (&chips)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = i + 1; j < N; ++j) {
            if (chips[i].device == chips[j].device) {
                return false;
            }
        }
    }
    return true;
}
static_assert(device_ids_are_unique(kChips), "binding looks a chip up by device id alone");

// Null when the vendor is not the maker's.
constexpr const Family* find_family(std::uint32_t vendor) {
    for (const Family& family : kFamilies) {
        if (family.vendor == vendor) {
            return &family;
        }
    }
    return nullptr;
}

// Enumeration: both numbers must match, so a device id under the other family's vendor is unknown.
constexpr const Chip* find_chip(std::uint16_t vendor, std::uint16_t device) {
    for (const Chip& chip : kChips) {
        if (chip.vendor == vendor && chip.device == device) {
            return &chip;
        }
    }
    return nullptr;
}

// Binding: a chip id is a device id.
constexpr const Chip* find_chip_by_id(std::int32_t chip_id) {
    for (const Chip& chip : kChips) {
        if (chip.device == chip_id) {
            return &chip;
        }
    }
    return nullptr;
}

constexpr bool is_newer_family(std::int32_t chip_id) {
    const Chip* chip = find_chip_by_id(chip_id);
    return chip != nullptr && chip->vendor == kNewerVendor;
}

constexpr const OtherVendor& find_other_vendor(std::uint16_t vendor) {
    for (const OtherVendor& row : kOtherVendors) {
        if (row.vendor == vendor) {
            return row;
        }
    }
    return kUnknownVendor;
}

} // namespace kt3::adapter
