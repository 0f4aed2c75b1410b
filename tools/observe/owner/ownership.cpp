// SPDX-License-Identifier: MIT
#include "observe/owner/ownership.hpp"

#include <algorithm>

namespace kt3::observe {
namespace {

constexpr std::int64_t kAccuracy = 2; // seconds; the moment of the boot is published as whole ones

const Attribution* find_attribution(const Attributions& attributions, std::int32_t pid) {
    const auto found = std::find_if(attributions.begin(), attributions.end(),
                                    [&](const Attribution& attribution) { return attribution.pid == pid; });
    return found == attributions.end() ? nullptr : &*found;
}

// Both moments are those of the machine's clock. A device from before the boot means that the clock was set since then,
// so that they cannot be compared.
bool started_after(const Attribution& process, std::optional<std::int64_t> opened) {
    const auto started = started_at(process);
    return started && opened && *opened >= *process.booted && *started > *opened + kAccuracy;
}

void settle(OpenDevice& device, const Attribution& process) {
    device.ended = process.ended || (process.visible && started_after(process, device.opened));
    if (device.ended || !process.visible) {
        device.name.clear();
    } else if (device.name.empty()) { // a zombie, or a kernel thread; as ps shows them
        device.name = '[' + process.name + ']';
    }
}

} // namespace

std::vector<std::int32_t> pids_of(const OpenDevices& devices) {
    std::vector<std::int32_t> pids;
    std::transform(devices.begin(), devices.end(), std::back_inserter(pids),
                   [](const OpenDevice& device) { return device.pid; });
    return pids;
}

void settle(OpenDevices& devices, const Attributions& attributions) {
    for (OpenDevice& device : devices) {
        const Attribution* process = find_attribution(attributions, device.pid);
        settle(device, process == nullptr ? Attribution() : *process);
    }
}

Attribution attribution_of(const Owner& owner, const Attributions& attributions) {
    const Attribution* found = owner.pid && !owner.ended ? find_attribution(attributions, *owner.pid) : nullptr;
    return found == nullptr ? Attribution() : *found;
}

bool is_replaced(const Owner& owner, const Attributions& attributions) {
    const Attribution* found = owner.pid && owner.ended ? find_attribution(attributions, *owner.pid) : nullptr;
    return found != nullptr && found->visible;
}

} // namespace kt3::observe
