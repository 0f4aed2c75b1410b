// SPDX-License-Identifier: MIT
#include "summary/display_outputs.hpp"

#include "adapter/current_adapter.hpp"
#include "interface/say_line.hpp"
#include "summary/gpuinfo_keys.hpp"
#include "support/listing.hpp"

#include <cstring>
#include <string_view>

namespace kt3::summary {
namespace {

constexpr std::size_t kLongestTypeLine = 99;

std::uint32_t number_after(const GpuinfoPage& page, const char* key) {
    const char* at = page.after(key);
    return at == nullptr ? 0 : support::scan_unsigned(at, 16).value_or(0);
}

// The rest of the line, its newline included.
std::string_view line_after(const GpuinfoPage& page, const char* key) {
    const char* at = page.after(key);
    if (at == nullptr) {
        return {};
    }
    const char* end = std::strchr(at, '\n');
    return end == nullptr ? std::string_view(at) : std::string_view(at, static_cast<std::size_t>(end - at) + 1);
}

// A name counts wherever it stands: "EDP" names DP as well.
std::uint32_t types_named_in(std::string_view line) {
    std::uint32_t types = 0;
    for (const kt3_connector_type& type : support_CONNECT_type_list) {
        if (line.find(type.name) != line.npos) {
            types |= static_cast<std::uint32_t>(type.value);
        }
    }
    return types;
}

void count_entry(const char* entry, std::int32_t card, DisplayOutputs& outputs) {
    for (const kt3_connector_type& type : support_CONNECT_type_list) {
        char prefix[48];
        std::snprintf(prefix, sizeof prefix, "card%d-%.12s-", card, type.name);
        if (std::strstr(entry, prefix) != nullptr) {
            ++outputs.ports;
            outputs.types |= static_cast<std::uint32_t>(type.value);
        }
    }
}

} // namespace

// Device ID : 0x5c00
// Max Display Port : 0x3
// Support Display Type : DP EDP HDMI
std::optional<DisplayOutputs> outputs_in_page(const GpuinfoPage& page, std::int32_t chip_id) {
    const char* device = page.after(kDeviceIdKey);
    if (device == nullptr || support::scan_unsigned(device, 16) != static_cast<std::uint32_t>(chip_id)) {
        return std::nullopt;
    }
    const std::string_view line = line_after(page, kDisplayTypesKey);
    if (line.size() > kLongestTypeLine) {
        interface::say_line("get_line_from_string fail, string too long!!!");
        return std::nullopt;
    }
    const DisplayOutputs outputs = {number_after(page, kDisplayPortsKey), types_named_in(line)};
    return outputs.ports != 0 && outputs.types != 0 ? std::optional(outputs) : std::nullopt;
}

DisplayOutputs count_connectors(std::int32_t card) {
    char path[1024];
    std::snprintf(path, sizeof path, "%s/drm/card%d/", adapter::current_pci_directory(), card);
    DisplayOutputs outputs;
    support::Listing connectors(path);
    if (connectors.failed()) {
        interface::say_line("Error opening drm directory");
    }
    while (const char* entry = connectors.next()) {
        count_entry(entry, card, outputs);
    }
    return outputs;
}

} // namespace kt3::summary
