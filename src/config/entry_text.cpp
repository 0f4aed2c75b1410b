// SPDX-License-Identifier: MIT
#include "config/entry_text.hpp"

#include "support/bounded_copy.hpp"

#include <charconv>
#include <cstdint>
#include <string_view>

namespace kt3::config {
namespace {

using support::bounded_text;

constexpr std::string_view kHeader = "; tqm_gfx_util.ini\n\n";

// Keys, separators and numbers of one entry come to less than this.
constexpr std::size_t kEntryFrame = 128;

constexpr std::size_t kNumberCapacity = 16;

void append_number(std::string& text, std::int32_t number, std::size_t width) {
    char digits[kNumberCapacity];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const auto length = static_cast<std::size_t>(end - digits);
    text.append(length < width ? width - length : 0, '0').append(digits, length);
}

// Decimal although buses are usually shown in hexadecimal: it is read back the same way.
void append_location(std::string& text, const _UTIL_GPU_PREFERENCE_NODE& entry) {
    append_number(text, entry.bus_domain, 4);
    text.append(":");
    append_number(text, entry.bus_number, 2);
    text.append(":");
    append_number(text, entry.device_number, 2);
    text.append(".");
    append_number(text, entry.function_number, 1);
}

void append_entry(std::string& text, const _UTIL_GPU_PREFERENCE_NODE& entry) {
    text.append("[").append(bounded_text(entry.name));
    text.append("]\nFullPath = ").append(bounded_text(entry.FullPath));
    text.append("\nPreferGpuName = ").append(bounded_text(entry.PreferGpuName));
    text.append("\nPreferGpuBusID = ");
    append_location(text, entry);
    text.append("\nGpuPrefer = ");
    append_number(text, entry.GpuPrefer, 1);
    text.append("\n\n\n");
}

void append_log_line(std::string& text, std::string_view tag, const _UTIL_GPU_PREFERENCE_NODE& entry) {
    text.append(tag).append(" ").append(bounded_text(entry.name));
    text.append(": ").append(bounded_text(entry.FullPath));
    text.append(", ").append(bounded_text(entry.PreferGpuName)).append(", ");
    append_location(text, entry);
    text.append("\n").push_back('\0');
}

std::size_t size_bound(std::span<const _UTIL_GPU_PREFERENCE_NODE> entries) {
    std::size_t size = 0;
    for (const auto& entry : entries) {
        size += kEntryFrame + sizeof entry.name + sizeof entry.PreferGpuName + bounded_text(entry.FullPath).size();
    }
    return size;
}

} // namespace

std::string ini_text(std::span<const _UTIL_GPU_PREFERENCE_NODE> entries) {
    std::string text;
    text.reserve(kHeader.size() + size_bound(entries));
    text.append(kHeader);
    for (const auto& entry : entries) {
        append_entry(text, entry);
    }
    return text;
}

std::string log_lines(std::string_view tag, std::span<const _UTIL_GPU_PREFERENCE_NODE> entries) {
    std::string text;
    text.reserve(tag.size() * entries.size() + size_bound(entries));
    for (const auto& entry : entries) {
        append_log_line(text, tag, entry);
    }
    return text;
}

} // namespace kt3::config
