// SPDX-License-Identifier: MIT
#include "observe/memory/allocations.hpp"

#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/memory/opening_times.hpp"
#include "observe/text.hpp"
#include "support/owned.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>

namespace kt3::observe {
namespace {

bool same_record(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b) {
    return std::memcmp(&a, &b, sizeof a) == 0; // 23 integers, no padding
}

bool record_before(const _GFX_ALLOCATION_INFO* a, const _GFX_ALLOCATION_INFO* b) {
    const int order = std::memcmp(a, b, sizeof *a);
    return order != 0 ? order < 0 : a < b;
}

void fetch_slices(const Library& library, Machine& machine, Allocations& allocations, int& result) {
    const auto get = KT3_ENTRY(library, get_allocation_raw_list);
    _GFX_ALLOCATION_RAW_LIST slice{};
    do {
        result = get(&slice, &machine.record);
        if (result < 0) {
            return;
        }
        allocations.insert(allocations.end(), slice.list, slice.list + slice.cur_cnt);
        ++slice.trasfer_cnt;
    } while (slice.has_more != 0);
}

} // namespace

Failure unreadable(const Adapter& adapter, const char* directory, const char* what) {
    const std::string path =
        fmt::format("/sys/kernel/debug/dri/{}/{}/{}", adapter.card, adapter.family->token, directory);
    errno = 0;
    const support::Dir listing(::opendir(path.c_str()));
    const int error = listing ? 0 : errno;
    const std::string message =
        fmt::format("cannot read {} of GPU {}: {}", what, adapter.slot,
                    error == 0 ? "they change faster than they can be read" : path + ": " + std::strerror(error));
    if (error == EACCES || error == EPERM) {
        return {ExitStatus::permission, "permission", message, "run kt3 as root", adapter.slot};
    }
    return {error == 0 ? ExitStatus::failure : ExitStatus::driver, error == 0 ? "unstable" : "no_directory", message,
            error == 0 ? "try again" : "kt3 doctor tells what is missing", adapter.slot};
}

OpenDevicesRead read_open_devices(const Library& library, const Adapter& adapter) {
    const auto get = KT3_ENTRY(library, get_device_pid_maps);
    _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX] = {};
    OpenDevicesRead read;
    LibraryLines lines;
    try {
        int result = 0;
        lines = lines_during(library, [&] { result = get(maps); });
        if (result < 0) {
            read.failures.push_back(unreadable(adapter, "devices", "the open devices"));
        }
    } catch (const std::logic_error& error) {
        read.failures.push_back(malformed_number(fmt::format("the open devices of GPU {}", adapter.slot), error));
    }
    check_interrupt();
    if (lines.overflow) {
        read.failures.push_back({ExitStatus::failure, "too_many_devices",
                                 fmt::format("GPU {} has {} open devices or more; owners of the others are unknown",
                                             adapter.slot, static_cast<int>(ALLOCATION_SUMMARY_MAX)),
                                 "", adapter.slot});
    }
    for (const _GFX_DEVICE_PID_MAP& entry : maps) {
        if (entry.pid != 0 || entry.handle != 0) {
            read.devices.push_back({entry.handle, entry.pid, field_text(entry.name)});
        }
    }
    take_opening_times(adapter, read.devices);
    return read;
}

Allocations read_allocations(const Library& library, Machine& machine, const Adapter& adapter) {
    machine.record.current_index = adapter.slot;
    Allocations allocations;
    int result = 0;
    const LibraryLines lines = lines_during(library, [&] { fetch_slices(library, machine, allocations, result); });
    check_interrupt();
    if (result < 0) {
        throw unreadable(adapter, "allocations", "the allocations");
    }
    if (lines.reread) {
        drop_repeated(allocations);
    }
    return allocations;
}

void drop_repeated(Allocations& allocations) {
    std::vector<const _GFX_ALLOCATION_INFO*> order;
    for (const auto& record : allocations) {
        order.push_back(&record);
    }
    std::sort(order.begin(), order.end(), record_before);
    std::vector<bool> repeated(allocations.size());
    for (std::size_t at = 1; at < order.size(); ++at) {
        if (same_record(*order[at - 1], *order[at])) {
            repeated[static_cast<std::size_t>(order[at] - allocations.data())] = true;
        }
    }
    std::size_t at = 0;
    allocations.erase(
        std::remove_if(allocations.begin(), allocations.end(), [&](const auto&) { return repeated[at++]; }),
        allocations.end());
}

Owner owner_of(std::int32_t device, const OpenDevices& devices) {
    const auto found =
        std::find_if(devices.begin(), devices.end(), [&](const OpenDevice& open) { return open.device == device; });
    return found == devices.end() ? Owner{device, std::nullopt, ""}
                                  : Owner{device, found->pid, found->name, found->ended};
}

Shape shape_of(const _GFX_ALLOCATION_INFO& allocation) {
    return {allocation.width, allocation.height, allocation.size, allocation.hw_format, allocation.at_type};
}

std::optional<std::size_t> segment_slot(std::int32_t segment) {
    if (segment < 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::min(segment, KT3_SEGMENT_SLOTS - 1));
}

} // namespace kt3::observe
