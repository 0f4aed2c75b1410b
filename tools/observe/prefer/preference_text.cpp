// SPDX-License-Identifier: MIT
#include "observe/prefer/preference_text.hpp"

#include "observe/text.hpp"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

bool is_blank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string why_no_value(const std::string& what, const std::string& text, std::size_t limit) {
    if (text.empty()) {
        return what + " is empty";
    }
    if (text.size() > limit) {
        return fmt::format("{} has {} bytes; the preference file holds {}", what, text.size(), limit);
    }
    if (is_blank(text.front()) || is_blank(text.back())) {
        return what + " begins or ends with white space, which the preference file does not keep";
    }
    if (text.find('\n') != std::string::npos) {
        return what + " holds a line break, which the preference file cannot hold";
    }
    if (text.find(';') != std::string::npos) {
        return what + " holds a \";\", which begins a comment in the preference file";
    }
    return "";
}

template<std::size_t N>
void store(char (&field)[N], const std::string& text) {
    std::memcpy(field, text.data(), std::min(text.size(), N));
}

} // namespace

std::string application_name(std::string_view path) {
    const auto separator = path.find_last_of("/\\");
    return std::string(separator == std::string_view::npos ? path : path.substr(separator + 1));
}

std::string why_not_storable(const std::string& path) {
    const std::string name = application_name(path);
    std::string why = why_no_value("the path", path, sizeof(_UTIL_GPU_PREFERENCE_NODE::FullPath) - 1);
    if (!why.empty()) {
        return why;
    }
    if (name.find(']') != std::string::npos) {
        return "the file name holds a \"]\", which ends a heading in the preference file";
    }
    return why_no_value("the file name", name, sizeof(_UTIL_GPU_PREFERENCE_NODE::name) - 1);
}

std::string why_no_gpu_name(const std::string& name) {
    return why_no_value("the GPU name", name, sizeof(_UTIL_GPU_PREFERENCE_NODE::PreferGpuName) - 1);
}

Preference preference_in(const _UTIL_GPU_PREFERENCE_NODE& node) {
    return {field_text(node.name),
            field_text(node.FullPath),
            node.GpuPrefer,
            field_text(node.PreferGpuName),
            {node.bus_domain, node.bus_number, node.device_number, node.function_number}};
}

_UTIL_GPU_PREFERENCE_NODE node_of(const Preference& preference) {
    _UTIL_GPU_PREFERENCE_NODE node;
    std::memset(&node, 0, sizeof node);
    store(node.name, preference.name);
    store(node.FullPath, preference.path);
    node.GpuPrefer = preference.value;
    store(node.PreferGpuName, preference.gpu_name);
    node.bus_domain = static_cast<std::uint16_t>(preference.gpu_bus.domain);
    node.bus_number = static_cast<std::uint8_t>(preference.gpu_bus.bus);
    node.device_number = static_cast<std::uint8_t>(preference.gpu_bus.device);
    node.function_number = static_cast<std::uint8_t>(preference.gpu_bus.function);
    return node;
}

// The bus id stands in decimal there.
std::string stored_lines(const Preference& preference) {
    const BusId& bus = preference.gpu_bus;
    return fmt::format(
        "[{}]\nFullPath = {}\nPreferGpuName = {}\nPreferGpuBusID = {:04}:{:02}:{:02}.{}\nGpuPrefer = {}\n",
        preference.name, preference.path, preference.gpu_name, bus.domain, bus.bus, bus.device, bus.function,
        preference.value);
}

int headings_in(std::string_view file, std::string_view name) {
    const std::string heading = fmt::format("[{}]", name);
    int count = 0;
    while (!file.empty()) {
        const auto end = std::min(file.find('\n'), file.size());
        count += file.substr(0, end).starts_with(heading) ? 1 : 0;
        file.remove_prefix(std::min(end + 1, file.size()));
    }
    return count;
}

} // namespace kt3::observe
