// SPDX-License-Identifier: MIT
#pragma once
// What the real libdrm makes of the simulated machine.

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <xf86drm.h>

namespace kt3::tests {

struct SeenDevice {
    std::string bus;
    unsigned vendor;
    unsigned device;
    std::string primary;
    std::string render;
};

inline SeenDevice seen_device(const drmDevice& device) {
    const drmPciBusInfo& bus = *device.businfo.pci;
    char text[32];
    std::snprintf(text, sizeof text, "%04x:%02x:%02x.%d", bus.domain, bus.bus, bus.dev, bus.func);
    return {text, device.deviceinfo.pci->vendor_id, device.deviceinfo.pci->device_id, device.nodes[DRM_NODE_PRIMARY],
            device.nodes[DRM_NODE_RENDER]};
}

inline std::vector<SeenDevice> enumerate_with_libdrm() {
    const int count = ::drmGetDevices2(0, nullptr, 0);
    if (count <= 0) {
        return {};
    }
    std::vector<drmDevicePtr> devices(static_cast<std::size_t>(count));
    EXPECT_EQ(::drmGetDevices2(0, devices.data(), count), count);
    std::vector<SeenDevice> seen;
    for (const drmDevicePtr device : devices) {
        EXPECT_EQ(device->bustype, DRM_BUS_PCI);
        seen.push_back(seen_device(*device));
    }
    ::drmFreeDevices(devices.data(), count);
    return seen;
}

} // namespace kt3::tests
