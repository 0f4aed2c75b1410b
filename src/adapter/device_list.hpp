// SPDX-License-Identifier: MIT
#pragma once
// The machine's DRM devices as libdrm lists them, and opening one of them.

#include "support/owned.hpp"

#include <cstddef>
#include <optional>
#include <vector>
#include <xf86drm.h>

namespace kt3::adapter {

// All DRM devices; released with the object.
class DeviceList {
public:
    DeviceList();
    ~DeviceList();
    DeviceList(const DeviceList&) = delete;
    DeviceList& operator=(const DeviceList&) = delete;

    [[nodiscard]] std::size_t size() const { return devices_.size(); }
    // Null where libdrm left a hole.
    [[nodiscard]] const drmDevice* at(std::size_t position) const { return devices_[position]; }

private:
    std::vector<drmDevicePtr> devices_;
};

bool is_pci_device(const drmDevice* device);

// A device node whose driver answers the version request.
std::optional<support::Fd> open_answering_node(const drmDevice& device);

} // namespace kt3::adapter
