// SPDX-License-Identifier: MIT
#pragma once
// The PCI devices of the machine, whether the library knows them or not.

#include <cstdint>
#include <string>
#include <vector>

namespace kt3::observe {

inline constexpr const char* kPciDevices = "/sys/bus/pci/devices";

struct PciDevice {
    std::string bus_id; // as the kernel writes it, "0000:03:00.0"
    std::uint32_t vendor = 0;
    std::uint32_t device = 0;
    bool has_drm = false; // a driver serves it as a graphics adapter
};

// By bus id; those that cannot be listed are left out.
[[nodiscard]] std::vector<PciDevice> read_pci_devices();

} // namespace kt3::observe
