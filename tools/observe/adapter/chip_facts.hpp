#pragma once
// What an administrator must know about an adapter that the library does not tell: its family and which files its
// driver package has to bring.

#include <cstdint>

namespace kt3::observe {

struct Family {
    std::uint32_t vendor;
    const char* name;
    const char* token;          // the driver's directory below /sys/kernel/debug/dri/N
    const char* info_directory; // below the adapter's PCI directory
    bool newer;
};

struct ModuleFiles {
    std::int32_t chip_id;
    const char* first;
    const char* second; // tried after the first, or null
};

// clang-format off
inline constexpr Family kFamilies[] = {
    {0x1F41, "older", "qn", "qn_info", false},
    {0x7A52, "newer", "wy", "wy_info", true},
};

inline constexpr ModuleFiles kModuleFiles[] = {
    {0x5C01, "libkt3keinterface_v2.so.0.0.0",   "libdrm_kt3.so.0.0.0"},
    {0x4B04, "libkeinterface_qn.so.0.0.0",      nullptr},
    {0x4B05, "libkt3keinterface_v2.so.0.0.0",   "libdrm_kt3.so.0.0.0"},
    {0x5C04, "libvorlakeinterface_v2.so.0.0.0", nullptr},
    {0x5C02, "libvorlakeinterface_v2.so.0.0.0", nullptr},
    {0x5C00, "libvorlakeinterface_v2.so.0.0.0", nullptr},
    {0x5C06, "libvorlakeinterface_v2.so.0.0.0", nullptr},
    {0x5C07, "libvorlakeinterface_v2.so.0.0.0", nullptr},
    {0x5C0E, "libvorlakeinterface_v2.so.0.0.0", nullptr},
    {0x5C05, "libdrm_vorla2.so.0.0.0",          nullptr},
};
// clang-format on

// Null for a GPU of another vendor.
constexpr const Family* find_family(std::uint32_t vendor) {
    for (const Family& family : kFamilies) {
        if (family.vendor == vendor) {
            return &family;
        }
    }
    return nullptr;
}

constexpr const ModuleFiles* find_module_files(std::int32_t chip_id) {
    for (const ModuleFiles& row : kModuleFiles) {
        if (row.chip_id == chip_id) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace kt3::observe
