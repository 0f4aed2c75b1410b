// SPDX-License-Identifier: MIT
// The memory tool's output in the pieces in which it is read.

#include "summary/memory_devices.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

using namespace kt3::summary;

namespace {

constexpr std::size_t kLongestPiece = 1023;

void scan(std::string_view text, const DeviceField& field) {
    MemoryDevices devices;
    while (!text.empty()) {
        const std::size_t line = text.find('\n');
        const std::size_t length = std::min({line == text.npos ? text.size() : line + 1, kLongestPiece, text.size()});
        if (!take_line(devices, field, std::string(text.substr(0, length)).c_str())) {
            break;
        }
        text.remove_prefix(length);
    }
    const std::uint32_t generation = memory_generation(devices);
    if (devices.count > MemoryDevices::kMost || generation < 4 || generation > 5) {
        __builtin_trap();
    }
    bus_width(devices);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(bytes, bytes + size);
    scan(text, kMemoryType);
    scan(text, kMemoryChannel);
    return 0;
}
