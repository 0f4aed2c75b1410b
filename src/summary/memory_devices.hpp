// SPDX-License-Identifier: MIT
#pragma once
// The memory devices in the text that "dmidecode -t memory" prints. Touches no process: lines go in one by one.

#include <cstdint>

namespace kt3::summary {

// A device is complete at the line that names its field: one word makes the line count, the value stands after the
// other, as in "Type: DDR4" or "Bank Locator: CHANNEL A".
struct DeviceField {
    const char* line_word;
    const char* value_word;
};
inline constexpr DeviceField kMemoryType = {"Type", "DDR"};
inline constexpr DeviceField kMemoryChannel = {"Bank", "CHANNEL"};

struct MemoryDevices {
    static constexpr int kMost = 8;
    std::uint32_t widths[kMost] = {}; // bits
    std::uint32_t values[kMost] = {}; // read as a hexadecimal digit: channel A is 10
    int count = 0;
    bool inside = false; // between a device's width and its field
};

// False when no further line is wanted: the eighth device is complete.
bool take_line(MemoryDevices& devices, const DeviceField& field, const char* line);

// 4 or 5; 4 when there is no device or its generation is another.
std::uint32_t memory_generation(const MemoryDevices& devices);

// Bits of the first device, or of all channels together where two or four devices pair up.
std::uint32_t bus_width(const MemoryDevices& devices);

} // namespace kt3::summary
