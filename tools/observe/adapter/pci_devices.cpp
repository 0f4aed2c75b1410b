// SPDX-License-Identifier: MIT
#include "observe/adapter/pci_devices.hpp"

#include "support/owned.hpp"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

std::uint32_t hex_in(const std::string& path) {
    const support::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char text[32] = {};
    if (file && ::read(file.get(), text, sizeof text - 1) > 0) {
        return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 16));
    }
    return 0;
}

} // namespace

std::vector<PciDevice> read_pci_devices() {
    std::vector<PciDevice> devices;
    const support::Dir listing(::opendir(kPciDevices));
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
        const std::string folder = fmt::format("{}/{}", kPciDevices, entry->d_name);
        if (entry->d_name[0] != '.') {
            devices.push_back({entry->d_name, hex_in(folder + "/vendor"), hex_in(folder + "/device"),
                               ::access((folder + "/drm").c_str(), F_OK) == 0});
        }
    }
    std::sort(devices.begin(), devices.end(),
              [](const PciDevice& left, const PciDevice& right) { return left.bus_id < right.bus_id; });
    return devices;
}

} // namespace kt3::observe
