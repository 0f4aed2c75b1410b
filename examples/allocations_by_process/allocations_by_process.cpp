// SPDX-License-Identifier: MIT
// Lists the allocations of each process on the first adapter.
#include <kt3_mgmt/kt3_mgmt_interface.h>

#include <array>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Owners = std::map<std::int32_t, std::string>; // by device
using Allocations = std::map<std::int32_t, std::vector<_GFX_ALLOCATION_INFO>>;

// A failed binding leaves the driver's usage accounting on, so it is undone as well.
class Binding {
public:
    explicit Binding(find_adapter& adapters) : chip_(gfx_global_init(&adapters)) {}
    ~Binding() { gfx_global_exit(0); }
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;
    bool holds() const { return chip_ != -1; }

private:
    std::int32_t chip_;
};

// Names come from the processes themselves and may hold control characters.
std::string printable(const char* name) {
    std::string text = name;
    for (char& character : text) {
        const auto code = static_cast<unsigned char>(character);
        character = code < 0x20 || code == 0x7f ? '?' : character;
    }
    return text.empty() ? "(ended)" : text;
}

Owners read_owners() {
    std::array<_GFX_DEVICE_PID_MAP, ALLOCATION_SUMMARY_MAX> devices{};
    if (get_device_pid_maps(devices.data()) != 0) {
        throw std::runtime_error("the open devices cannot be read");
    }
    Owners owners;
    for (const _GFX_DEVICE_PID_MAP& device : devices) {
        if (device.pid != 0) { // entries after the last device stay zero
            owners[device.handle] = printable(device.name) + " (" + std::to_string(device.pid) + ")";
        }
    }
    return owners;
}

// The first slice takes the snapshot that the later ones come from.
Allocations read_allocations(find_adapter& adapters) {
    Allocations allocations;
    _GFX_ALLOCATION_RAW_LIST slice{};
    do {
        if (get_allocation_raw_list(&slice, &adapters) != 0) {
            throw std::runtime_error("the allocations cannot be read");
        }
        for (std::int32_t at = 0; at < slice.cur_cnt; ++at) {
            allocations[slice.list[at].device].push_back(slice.list[at]);
        }
        ++slice.trasfer_cnt;
    } while (slice.has_more == 1);
    return allocations;
}

void list_allocations(find_adapter& adapters) {
    const Owners owners = read_owners();
    for (const auto& [device, allocations] : read_allocations(adapters)) {
        const auto owner = owners.find(device);
        std::printf("%s: %zu allocations\n", owner == owners.end() ? "(unknown)" : owner->second.c_str(),
                    allocations.size());
        for (const _GFX_ALLOCATION_INFO& allocation : allocations) {
            std::printf("  %#x: %u bytes in segment %d, %d x %d\n", static_cast<unsigned>(allocation.handle),
                        static_cast<unsigned>(allocation.size), allocation.segmentid, allocation.width,
                        allocation.height);
        }
    }
}

} // namespace

int main() {
    find_adapter adapters{};         // has to stay until the last reading call
    adapters.vendor_filter = 0xFFFF; // both families
    set_print_callback(nullptr);     // no log lines between ours
    gfx_find_adapter(&adapters);
    if (adapters.chip_num == 0) {
        std::fprintf(stderr, "no adapter\n");
        return 1;
    }
    const Binding binding(adapters); // current_index is 0
    if (!binding.holds()) {
        std::fprintf(stderr, "%s cannot be bound\n", adapters.name[0]);
        return 1;
    }
    try {
        list_allocations(adapters);
    } catch (const std::exception& error) { // ours, or of a malformed number in the driver's text
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
