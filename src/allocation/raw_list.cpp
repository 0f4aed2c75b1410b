// SPDX-License-Identifier: MIT
#include "allocation/raw_list.hpp"

#include "allocation/snapshot.hpp"
#include "interface/lifetime.hpp"
#include "interface/say_line.hpp"

#include <algorithm>
#include <new>
#include <vector>

namespace kt3::allocation {
namespace {

constinit AllocationState state;
constinit interface::ContainerWatch state_watch;

constexpr std::int64_t kSlice = KT3_ALLOCATION_RAW_LIST_MAX;

// Stands for a record while sorting. The standard sort decides by comparisons alone, so these end up in the order in
// which it would have left the records, at a fraction of the bytes moved.
struct DeviceOfRecord {
    std::int32_t device;
    std::uint32_t record;
};

std::vector<DeviceOfRecord> order_by_device(RecordSpan records) {
    std::vector<DeviceOfRecord> order;
    order.reserve(records.size());
    for (const _GFX_ALLOCATION_INFO& record : records) {
        order.push_back({record.device, static_cast<std::uint32_t>(order.size())});
    }
    std::sort(order.begin(), order.end(),
              [](const DeviceOfRecord& a, const DeviceOfRecord& b) { return a.device < b.device; });
    return order;
}

} // namespace

AllocationState& allocation_state() {
    return state;
}

bool hold_sorted(RecordSpan records) {
    constexpr std::size_t kSpare = 10;
    const auto order = order_by_device(records);
    state.held_count = static_cast<std::int32_t>(records.size());
    state.held_block.reset();
    state.held_block.reset(new (std::nothrow) _GFX_ALLOCATION_INFO[records.size() + kSpare]);
    if (state.held_block == nullptr) {
        interface::say_line("allocate memory for global_allocation_raw_list fail.");
        return false;
    }
    std::transform(order.begin(), order.end(), state.held_block.get(),
                   [&](const DeviceOfRecord& place) { return records[place.record]; });
    return true;
}

void copy_slice(_GFX_ALLOCATION_RAW_LIST& list) {
    const std::int64_t first = list.trasfer_cnt * kSlice;
    const std::int64_t rest = state.held_count - first;
    list.total_cnt = state.held_count;
    list.cur_cnt = 0;
    list.has_more = 0;
    if (rest < 0) {
        interface::say_line("get_allocation_raw_list_internal, invalid trasfer_cnt !!!");
        return;
    }
    if (first < 0 || state.held_block == nullptr) {
        return;
    }
    list.has_more = rest > kSlice ? 1 : 0;
    list.cur_cnt = static_cast<std::int32_t>(std::min(rest, kSlice));
    std::copy_n(state.held_block.get() + first, list.cur_cnt, list.list);
}

bool answer_raw_list(const std::optional<DebugTree>& tree, _GFX_ALLOCATION_RAW_LIST& list) {
    if (list.trasfer_cnt == 0) {
        Records records;
        if (!tree || !take_snapshot(*tree, records) || !hold_sorted(records)) {
            return false;
        }
    }
    copy_slice(list);
    return true;
}

} // namespace kt3::allocation
