// SPDX-License-Identifier: MIT
#include "adapter/device_list.hpp"

#include "adapter/drm_library.hpp"

#include <algorithm>
#include <fcntl.h>

namespace kt3::adapter {
namespace {

int list_devices(drmDevicePtr* devices, int size) {
    const DrmLibrary& drm = drm_library();
    return drm.get_devices2 != nullptr ? drm.get_devices2(0, devices, size) : drm.get_devices(devices, size);
}

support::Fd open_any_node(const drmDevice& device) {
    for (const int type : {DRM_NODE_RENDER, DRM_NODE_CONTROL, DRM_NODE_PRIMARY}) {
        if ((device.available_nodes & (1 << type)) == 0) {
            continue;
        }
        support::Fd node(::open(device.nodes[type], O_RDWR | O_CLOEXEC));
        if (node) {
            return node;
        }
    }
    return {};
}

bool answers_version(int node) {
    const DrmLibrary& drm = drm_library();
    drmVersion* version = drm.get_version(node);
    if (version != nullptr && drm.free_version != nullptr) {
        drm.free_version(version);
    }
    return version != nullptr;
}

} // namespace

// Devices may come and go between the two calls: the smaller count is what the list surely holds.
DeviceList::DeviceList() {
    const int reported = list_devices(nullptr, 0);
    if (reported < 1) {
        return;
    }
    devices_.resize(static_cast<std::size_t>(reported));
    const int filled = list_devices(devices_.data(), reported);
    devices_.resize(static_cast<std::size_t>(std::clamp(filled, 0, reported)));
}

DeviceList::~DeviceList() {
    if (!devices_.empty()) {
        drm_library().free_devices(devices_.data(), static_cast<int>(devices_.size()));
    }
}

bool is_pci_device(const drmDevice* device) {
    return device != nullptr && device->bustype == DRM_BUS_PCI;
}

std::optional<support::Fd> open_answering_node(const drmDevice& device) {
    support::Fd node = open_any_node(device);
    if (!node || !answers_version(node.get())) {
        return std::nullopt;
    }
    return node;
}

} // namespace kt3::adapter
