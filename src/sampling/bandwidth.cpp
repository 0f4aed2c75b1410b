// SPDX-License-Identifier: MIT
#include "sampling/bandwidth.hpp"

#include "adapter/binding_state.hpp"
#include "interface/logging.hpp"
#include "sampling/module_words.hpp"
#include "sampling/sampling_state.hpp"

#include <algorithm>
#include <iterator>

namespace kt3::sampling {
namespace {

// Older modules carry the same three entry points under other names; the extended one has no older name.
struct EntryNames {
    const char* init;
    const char* deinit;
    const char* get;
};
constexpr EntryNames kNames = {"gfx_init_hwinfo", "gfx_deinit_hwinfo", "gfx_get_hwinfo"};
constexpr EntryNames kOlderNames = {"qn_init_hwinfo", "qn_deinit_hwinfo", "qn_get_hwinfo"};

constexpr std::int32_t kAnyChip = -1;

// The first row that fits the bound chip.
// clang-format off
constexpr WordCopy kEveryWord[]   = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5},
                                     {6, 6}, {7, 7}, {8, 8}, {9, 9}, {10, 10}, {11, 11}};
constexpr WordCopy kWords_4B04[]  = {{0, 0}, {1, 1}, {2, 2}, {3, 3}, {5, 8}, {6, 9}};

struct BandwidthLayout {
    std::int32_t chip;
    std::span<const WordCopy> copies;
};
constexpr BandwidthLayout kBandwidthLayouts[] = {
    {0x4B04,   kWords_4B04},
    {kAnyChip, kEveryWord},
};
// clang-format on

std::span<const WordCopy> words_of_bound_chip() {
    const std::int32_t chip = adapter::binding_state().chip_id;
    return std::find_if(std::begin(kBandwidthLayouts), std::end(kBandwidthLayouts),
                        [&](const BandwidthLayout& row) { return row.chip == chip || row.chip == kAnyChip; })
        ->copies;
}

void resolve(const EntryNames& names, EntryPoints& entries) {
    entries.bandwidth_init = find_entry<DeviceSetup>(names.init);
    entries.bandwidth_deinit = find_entry<DeviceSetup>(names.deinit);
    entries.bandwidth = find_entry<DeviceCall>(names.get);
}

bool is_complete(const EntryPoints& entries) {
    const bool can_read = entries.bandwidth || entries.bandwidth_extended;
    return entries.bandwidth_init && can_read && entries.bandwidth_deinit;
}

bool resolve_bandwidth(EntryPoints& entries) {
    entries.bandwidth_extended = find_entry<DeviceCall>("gfx_get_hwinfo_ext");
    resolve(kNames, entries);
    if (!is_complete(entries)) {
        resolve(kOlderNames, entries);
    }
    return is_complete(entries);
}

} // namespace

bool start_bandwidth() {
    EntryPoints& entries = sampling_state().entries;
    if (!resolve_bandwidth(entries)) {
        interface::log("gfx_xxx interface functions init fail. \n ");
        return false;
    }
    if (adapter::device_object() == nullptr) {
        return true;
    }
    if (entries.bandwidth_init.call(adapter::drm_descriptor(), adapter::device_object()) != 0) {
        interface::log("gfx_init_hwinfo fail. \n ");
        return false;
    }
    return true;
}

void read_bandwidth(_GFX_BANDWIDTH_INFO& record) {
    const EntryPoints& entries = sampling_state().entries;
    if (entries.bandwidth_extended) {
        entries.bandwidth_extended.call(adapter::drm_descriptor(), adapter::device_object(), record.word);
    } else if (entries.bandwidth) {
        ModuleBuffer answer;
        entries.bandwidth.call(adapter::drm_descriptor(), adapter::device_object(), answer.words);
        copy_words(words_of_bound_chip(), answer, record.word);
    }
}

} // namespace kt3::sampling
