// SPDX-License-Identifier: MIT
#include "sampling/busy.hpp"

#include "adapter/binding_state.hpp"
#include "interface/logging.hpp"
#include "sampling/module_words.hpp"
#include "sampling/sampling_state.hpp"

#include <algorithm>
#include <iterator>

namespace kt3::sampling {
namespace {

constexpr std::int32_t kAnyChip = -1;

// Words of the plain answer, and of the extended one.
// clang-format off
constexpr WordCopy kPlainWords[]           = {{0, 2}, {1, 4}, {2, 7}};
constexpr WordCopy kExtendedWords[]        = {{2, 2}, {4, 4}, {5, 5}, {3, 7}};
constexpr WordCopy kExtendedWords_4B05[]   = {{2, 2}, {4, 4}, {5, 5}, {7, 7}, {8, 8}, {9, 9}};

// The first row of the interface that fits the bound chip.
struct BusyLayout {
    std::int32_t interface;
    std::int32_t chip;
    std::span<const WordCopy> copies;
};
constexpr BusyLayout kBusyLayouts[] = {
    {KT3_BUSY_VERSION_0,     kAnyChip, kPlainWords},
    {KT3_BUSY_VERSION_1,     kAnyChip, kPlainWords},
    {KT3_BUSY_VERSION_EXT_1, 0x4B05,   kExtendedWords_4B05},
    {KT3_BUSY_VERSION_EXT_1, kAnyChip, kExtendedWords},
};
// clang-format on

// The extended entry point reads the version it is asked for from the first word.
constexpr std::uint32_t kExtendedVersion = 3;

const BusyLayout* layout_in_use() {
    const std::int32_t chip = adapter::binding_state().chip_id;
    const auto* row = std::find_if(std::begin(kBusyLayouts), std::end(kBusyLayouts), [&](const BusyLayout& layout) {
        return layout.interface == gfxbusy_apiversion && (layout.chip == chip || layout.chip == kAnyChip);
    });
    return row == std::end(kBusyLayouts) ? nullptr : row;
}

bool ask(const EntryPoint<DeviceCall>& entry, ModuleBuffer& answer) {
    if (entry) {
        entry.call(adapter::drm_descriptor(), adapter::device_object(), answer.words);
    }
    return static_cast<bool>(entry);
}

bool ask(const EntryPoint<PlainCall>& entry, ModuleBuffer& answer) {
    if (entry) {
        entry.call(adapter::drm_descriptor(), answer.words);
    }
    return static_cast<bool>(entry);
}

// False when the interface was not found, or belonged to a module that is closed.
bool ask_through(std::int32_t interface, ModuleBuffer& answer) {
    const EntryPoints& entries = sampling_state().entries;
    switch (interface) {
    case KT3_BUSY_VERSION_0:
        return ask(entries.usage_plain, answer);
    case KT3_BUSY_VERSION_1:
        return ask(entries.usage, answer);
    default:
        answer.words[0] = kExtendedVersion;
        return ask(entries.usage_extended, answer);
    }
}

// The older interface counts only where the newer is absent.
bool resolve_plain_busy(EntryPoints& entries) {
    entries.usage = find_entry<DeviceCall>("gfx_get_usage_info");
    if (entries.usage) {
        gfxbusy_apiversion = KT3_BUSY_VERSION_1;
        interface::log("gfxbusy_init  use GFXBUSY_VERION_1.\n ");
        return true;
    }
    entries.usage_plain = find_entry<PlainCall>("qnGetHwqInfo");
    if (entries.usage_plain) {
        gfxbusy_apiversion = KT3_BUSY_VERSION_0;
        interface::log("gfxbusy_init  use GFXBUSY_VERION_0.\n ");
        return true;
    }
    interface::log("gfx_xxx interface functions init fail. \n ");
    return false;
}

void resolve_extended_busy(EntryPoints& entries) {
    entries.usage_extended = find_entry<DeviceCall>("gfx_get_usage_info_ext");
    if (entries.usage_extended) {
        gfxbusy_apiversion = KT3_BUSY_VERSION_EXT_1;
        interface::log("gfxbusy_init  use GFXBUSY_VERION_EXT_1.\n ");
    }
}

} // namespace

bool resolve_busy() {
    EntryPoints found = sampling_state().entries;
    found.usage = {};
    found.usage_plain = {};
    found.usage_extended = {};
    if (!resolve_plain_busy(found)) {
        return false;
    }
    resolve_extended_busy(found);
    sampling_state().entries = found;
    return true;
}

void read_busy(_GFX_BUSY_INFO& record) {
    ModuleBuffer answer;
    const BusyLayout* layout = layout_in_use();
    if (layout != nullptr && ask_through(layout->interface, answer)) {
        copy_words(layout->copies, answer, record.word);
    }
}

} // namespace kt3::sampling
