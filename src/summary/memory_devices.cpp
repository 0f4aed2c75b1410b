// SPDX-License-Identifier: MIT
#include "summary/memory_devices.hpp"

#include "support/text_scan.hpp"

#include <cstring>
#include <optional>

namespace kt3::summary {
namespace {

const char* text_after(const char* line, const char* word) {
    const char* at = std::strstr(line, word);
    return at == nullptr ? nullptr : at + std::strlen(word);
}

bool names(const char* line, const char* word) {
    return std::strstr(line, word) != nullptr;
}

void store_if_found(std::uint32_t& value, std::optional<std::uint32_t> found) {
    value = found.value_or(value);
}

bool is_total_width(const char* line) {
    return names(line, "bits") && names(line, "Total") && names(line, "Width:");
}

std::uint32_t two_devices(const MemoryDevices& devices) {
    const auto& width = devices.widths;
    const bool one_channel = devices.values[0] == devices.values[1];
    return one_channel || width[1] != width[0] ? width[0] : 2 * width[0];
}

// The channels of four devices are not compared; clients rely on the doubled sum.
std::uint32_t four_devices(const MemoryDevices& devices) {
    const auto& width = devices.widths;
    return width[2] != width[0] || width[1] != width[3] ? width[0] : 2 * (width[0] + width[1]);
}

} // namespace

// Total Width: 64 bits
bool take_line(MemoryDevices& devices, const DeviceField& field, const char* line) {
    if (is_total_width(line)) {
        store_if_found(devices.widths[devices.count], support::scan_int(text_after(line, "Width:")));
        devices.inside = true;
    }
    const char* value = text_after(line, field.value_word);
    if (!devices.inside || !names(line, field.line_word) || value == nullptr) {
        return true;
    }
    store_if_found(devices.values[devices.count], support::scan_unsigned(value, 16));
    devices.inside = false;
    return ++devices.count < MemoryDevices::kMost;
}

std::uint32_t memory_generation(const MemoryDevices& devices) {
    const bool known = devices.count > 0 && (devices.values[0] == 4 || devices.values[0] == 5);
    return known ? devices.values[0] : 4;
}

std::uint32_t bus_width(const MemoryDevices& devices) {
    switch (devices.count) {
    case 2:
        return two_devices(devices);
    case 4:
        return four_devices(devices);
    default:
        return devices.widths[0];
    }
}

} // namespace kt3::summary
