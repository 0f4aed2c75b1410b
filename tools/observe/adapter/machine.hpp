// SPDX-License-Identifier: MIT
#pragma once
// The adapters of the machine as the library enumerates them.

#include "adapter/chip_table.hpp"
#include "observe/library/library.hpp"
#include "observe/reading.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kt3::observe {

struct BusId {
    std::uint32_t domain = 0, bus = 0, device = 0, function = 0;
    bool operator==(const BusId&) const = default;
};

struct Adapter {
    int slot = 0;
    std::string name;
    std::int32_t chip_id = 0;
    std::uint32_t vendor_id = 0;
    BusId bus;
    std::int32_t card = 0; // N of /dev/dri/cardN
    Reading<bool> va_driver = Absence::not_on_this_chip;
    std::uint32_t luid_high = 0, luid_low = 0;
    const adapter::Family* family = nullptr; // null for a GPU of another vendor, of which nothing more is known
    int info_fd = -1;                        // the driver's info directory; negative when absent
    int hwmon_fd = -1;
    int sysfs_fd = -1;
};

struct MachineFacts {
    std::vector<Adapter> adapters;     // by slot
    bool third_hidden = false;         // a GPU of another vendor stands in the slot of a third adapter
    std::vector<std::string> left_out; // bus ids of the graphics adapters beyond the library's slots
};

// The library keeps pointers into the record of a bound adapter, so a machine stays where it is.
struct Machine : MachineFacts {
    find_adapter record{};
    find_adapter_ext1 ext1{};

    Machine() = default;
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;
};

void enumerate(const Library& library, Machine& machine);

// The adapter at a bus id; null when the library enumerated none there.
[[nodiscard]] const Adapter* adapter_on_bus(const Machine& machine, std::string_view bus_id);

// "the library manages 3 adapters; 0000:0b:00.0 is left out"
[[nodiscard]] std::string left_out_text(const MachineFacts& machine);

inline constexpr const char* kMakeRoom = "take out a graphics adapter that need not be managed";

[[nodiscard]] std::string bus_text(const BusId& bus); // "0000:03:00.0"

// "0000:03:00.0" or "03:00.0", hexadecimal, any case. False when the text is not a bus id.
[[nodiscard]] bool parse_bus_id(std::string_view text, BusId& bus);

} // namespace kt3::observe
