// SPDX-License-Identifier: MIT
#include "observe/adapter/machine.hpp"

#include "observe/adapter/pci_devices.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/text.hpp"
#include "support/owned.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

constexpr int kOtherVendorSlot = 2;

// The record is zeroed beforehand, and 0 is never a descriptor of the library: standard input is open.
int descriptor_or_none(int descriptor) {
    return descriptor > 0 ? descriptor : -1;
}

// The flag stays 0 when the driver's page says nothing and also when it cannot be read.
Reading<bool> va_driver_of(const Adapter& adapter, std::int32_t flag) {
    if (flag != 0) {
        return true;
    }
    const std::string page = fmt::format("/sys/kernel/debug/dri/{}/{}/info", adapter.card, adapter.family->token);
    return support::Fd(::open(page.c_str(), O_RDONLY | O_CLOEXEC)) ? Reading(false) : absence_of(errno);
}

Adapter adapter_at(const Machine& machine, int slot) {
    const find_adapter& record = machine.record;
    const find_adapter_ext1& ext1 = machine.ext1;
    Adapter adapter;
    adapter.slot = slot;
    adapter.name = valid_utf8(field_text(record.name[slot]));
    adapter.chip_id = record.chip_id[slot];
    adapter.vendor_id = ext1.vendor_id[slot];
    adapter.bus = {ext1.bus[slot].domain, ext1.bus[slot].bus, ext1.bus[slot].device, ext1.bus[slot].function};
    adapter.card = record.drm_card_idx[slot];
    adapter.luid_high = ext1.luid[slot].high;
    adapter.luid_low = ext1.luid[slot].low;
    adapter.family = adapter::find_family(adapter.vendor_id);
    if (adapter.family != nullptr) {
        adapter.va_driver = va_driver_of(adapter, record.IS_VA_driver[slot]);
        adapter.info_fd = descriptor_or_none(record.gpu_infos[slot].info_fd);
        adapter.hwmon_fd = descriptor_or_none(record.gpu_infos[slot].hwmon_fd);
        adapter.sysfs_fd = descriptor_or_none(record.gpu_infos[slot].sysfs_fd);
    }
    return adapter;
}

bool take_hex(std::string_view& text, std::uint32_t& value, std::uint32_t limit) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (result.ec != std::errc() || value > limit) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return true;
}

bool take_sign(std::string_view& text, char sign) {
    const bool there = !text.empty() && text[0] == sign;
    text.remove_prefix(there ? 1 : 0);
    return there;
}

// What the library would have enumerated, had it looked further.
std::vector<std::string> beyond_the_slots(const Machine& machine) {
    std::vector<std::string> left_out;
    for (const PciDevice& device : read_pci_devices()) {
        const bool unknown_chip = adapter::find_family(device.vendor) != nullptr &&
                                  adapter::find_chip_by_id(static_cast<std::int32_t>(device.device)) == nullptr;
        if (device.has_drm && !unknown_chip && adapter_on_bus(machine, device.bus_id) == nullptr) {
            left_out.push_back(device.bus_id);
        }
    }
    return left_out;
}

} // namespace

void enumerate(const Library& library, Machine& machine) {
    machine.record.vendor_filter = 0xFFFF; // both families
    const LibraryLines lines = lines_during(library, [&] {
        library.calls.gfx_find_adapter(&machine.record);
        library.calls.gfx_find_adapter_ext1(&machine.ext1);
    });
    const bool other = machine.ext1.other_vendor_chip_num != 0;
    machine.third_hidden = other && machine.record.chip_num > kOtherVendorSlot;
    for (int slot = 0; slot < MAX_CHIP_NUM; ++slot) {
        if (slot < machine.record.chip_num || (other && slot == kOtherVendorSlot)) {
            machine.adapters.push_back(adapter_at(machine, slot));
        }
    }
    if (lines.unslotted) {
        machine.left_out = beyond_the_slots(machine);
    }
}

const Adapter* adapter_on_bus(const Machine& machine, std::string_view bus_id) {
    BusId bus;
    const bool valid = parse_bus_id(bus_id, bus);
    const auto found = std::find_if(machine.adapters.begin(), machine.adapters.end(),
                                    [&](const Adapter& adapter) { return valid && adapter.bus == bus; });
    return found == machine.adapters.end() ? nullptr : &*found;
}

std::string left_out_text(const MachineFacts& machine) {
    return fmt::format("the library manages {} adapters; {} {} left out", MAX_CHIP_NUM,
                       fmt::join(machine.left_out, ", "), machine.left_out.size() == 1 ? "is" : "are");
}

std::string bus_text(const BusId& bus) {
    return fmt::format("{:04x}:{:02x}:{:02x}.{:x}", bus.domain, bus.bus, bus.device, bus.function);
}

bool parse_bus_id(std::string_view text, BusId& bus) {
    BusId parsed;
    if (std::count(text.begin(), text.end(), ':') == 2 &&
        !(take_hex(text, parsed.domain, 0xFFFF) && take_sign(text, ':'))) {
        return false;
    }
    const bool whole = take_hex(text, parsed.bus, 0xFF) && take_sign(text, ':') &&
                       take_hex(text, parsed.device, 0x1F) && take_sign(text, '.') &&
                       take_hex(text, parsed.function, 7) && text.empty();
    if (whole) {
        bus = parsed;
    }
    return whole;
}

} // namespace kt3::observe
