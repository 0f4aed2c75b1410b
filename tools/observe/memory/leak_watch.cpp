// SPDX-License-Identifier: MIT
#include "observe/memory/leak_watch.hpp"

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

namespace kt3::observe {
namespace {

// A reading that had to begin anew holds some allocations twice; each counts once.
void count_live(const Allocations& tracked, LeakGroups& groups) {
    std::set<std::tuple<std::int32_t, std::int32_t, Shape>> counted;
    for (const _GFX_ALLOCATION_INFO& record : tracked) {
        const Shape shape = shape_of(record);
        if (!counted.insert({record.device, record.handle, shape}).second) {
            continue;
        }
        LeakGroup& group = groups[shape];
        group.lived = group.live == 0 ? record.seen_count : group.lived;
        ++group.live;
        ++group.devices[record.device];
    }
}

void take_look(const Allocations& tracked, LeakGroups& groups, bool first_look) {
    for (auto& [shape, group] : groups) {
        group.before = group.live;
        group.live = 0;
        group.lived = 0;
        group.devices.clear();
    }
    count_live(tracked, groups);
    for (auto& [shape, group] : groups) {
        group.first = first_look ? group.live : group.first;
        group.growing = !first_look && group.live > group.before ? group.growing + 1 : 0;
        group.longest = std::max(group.longest, group.growing);
    }
}

// The call answers 0 even when it could not look; it leaves its result alone then.
void look_once(const Library& library, const Adapter& adapter) {
    const auto get = KT3_ENTRY(library, get_memleak_info);
    _GFX_ALLOCATION_INFO largest[KT3_MEMLEAK_GROUPS] = {};
    constexpr std::int32_t kUntouched = -1;
    largest[0].sum_count = kUntouched;
    lines_during(library, [&] { get(largest); });
    check_interrupt();
    if (largest[0].sum_count == kUntouched) {
        throw unreadable(adapter, "allocations", "the allocations");
    }
}

} // namespace

void LeakWatcher::look() {
    look_once(library_, adapter_);
    take_look(*KT3_OBJECT(library_, vec_memleak_result), groups_, std::exchange(first_, false));
}

bool leaks(const LeakGroup& group, const LeakWatch& watch) {
    return watch.gate > 0 ? group.longest >= watch.gate : group.longest > 1 && group.longest == watch.looks - 1;
}

std::vector<std::pair<Owner, std::int64_t>> owners_of(const LeakGroup& group, const OpenDevices& devices) {
    std::vector<std::pair<Owner, std::int64_t>> owners;
    for (const auto& [device, live] : group.devices) {
        owners.emplace_back(owner_of(device, devices), live);
    }
    std::stable_sort(owners.begin(), owners.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    return owners;
}

} // namespace kt3::observe
