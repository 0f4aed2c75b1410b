// SPDX-License-Identifier: MIT
#include "observe/adapter/summaries.hpp"

#include "observe/adapter/live_readings.hpp"
#include "observe/adapter/nodes.hpp"
#include "observe/interrupt.hpp"
#include "observe/text.hpp"
#include "summary/gpuinfo_keys.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

using Short = _GPU_ADAPTER_SUMMARY;
using Extended = _GPU_ADAPTER_SUMMARY_EXT2;
using Number = Reading<std::int64_t>;
using Text = Reading<std::string>;

constexpr std::uint32_t kToolNotStarted = 1;        // memory type and width when the memory tool cannot be started
constexpr std::uint32_t kNotWritten = 0xFFFF'FFFEU; // what a field of the short summary holds before the call

// ---- the driver's page ----

// Where a field of the record stands in the page.
template<typename Field>
constexpr const summary::GpuinfoKey& key_of(Field field) {
    return *std::find_if(std::begin(summary::kGpuinfoKeys), std::end(summary::kGpuinfoKeys),
                         [&](const summary::GpuinfoKey& row) { return row.field == summary::GpuinfoField(field); });
}

struct PageNumber {
    std::uint32_t Extended::*field; // whose key it has
    Quantity quantity;
    Number DriverPage::*into;
};

struct PageText {
    summary::GpuinfoField field;
    Text (*read)(const std::string& line);
    Text DriverPage::*into;
};

// Hexadecimal parts, shown without the zeros before them; parts that are missing are 0.
template<int Parts>
Text version(const std::string& line) {
    std::array<unsigned, 4> part{};
    if (std::sscanf(line.c_str(), "%x.%x.%x.%x", &part[0], &part[1], &part[2], &part[3]) < 1) {
        return Absence::parse_error;
    }
    std::string text = fmt::format("{:x}", part[0]);
    for (std::size_t at = 1; at < Parts; ++at) {
        text += fmt::format(".{:x}", part[at]);
    }
    return text;
}

Text resolution(const std::string& line) {
    unsigned width = 0;
    unsigned height = 0;
    unsigned refresh = 0;
    return std::sscanf(line.c_str(), "%u x %u@%u", &width, &height, &refresh) < 1
               ? Text(Absence::parse_error)
               : fmt::format("{}x{}@{}", width, height, refresh);
}

Text words(const std::string& line) {
    return line.empty() ? Text(Absence::no_node) : valid_utf8(line);
}

// clang-format off
constexpr PageNumber kNumbers[] = {
    {&Extended::pixel_fill_rate,   Quantity::any,       &DriverPage::pixel_fill_rate},
    {&Extended::texture_fill_rate, Quantity::any,       &DriverPage::texture_fill_rate},
    {&Extended::memory_clock_freq, Quantity::megahertz, &DriverPage::memory_clock},
    {&Extended::memory_usage,      Quantity::any,       &DriverPage::memory_usage},
    {&Extended::use_rate_3d,       Quantity::percent,   &DriverPage::usage_3d_percent},
    {&Extended::use_rate_video,    Quantity::percent,   &DriverPage::usage_video_percent},
    {&Extended::use_rate_vpp,      Quantity::percent,   &DriverPage::usage_vpp_percent},
    {&Extended::temperature,       Quantity::degrees,   &DriverPage::temperature_c},
    {&Extended::pcie_generation,   Quantity::any,       &DriverPage::pcie_generation},
};

constexpr PageText kTexts[] = {
    {&Extended::driver_version,     version<3>, &DriverPage::driver_version},
    {&Extended::firmware_version,   version<4>, &DriverPage::firmware_version},
    {&Extended::firmware_name,      words,      &DriverPage::firmware_name},
    {&Extended::max_resolution,     resolution, &DriverPage::max_resolution},
    {&Extended::vga_max_resolution, resolution, &DriverPage::vga_max_resolution},
};
// clang-format on

Text text_of_page(const Adapter& adapter) {
    return read_page(AT_FDCWD, fmt::format("/proc/gpuinfo_{}", adapter.card).c_str());
}

// What follows the key in its line.
Text line_after(const Text& page, const char* key) {
    if (!page.present()) {
        return page.absence();
    }
    const auto at = key == nullptr ? std::string::npos : page.value().find(key);
    if (at == std::string::npos) {
        return Absence::no_node;
    }
    const std::size_t start = at + std::strlen(key);
    return page.value().substr(start, page.value().find('\n', start) - start);
}

Text line_of(const Text& page, const summary::GpuinfoKey& row) {
    const Text line = line_after(page, row.key);
    return line.present() || row.second_key == nullptr ? line : line_after(page, row.second_key);
}

Number number_after(const Text& page, const char* key) {
    const Text line = line_after(page, key);
    return line.present() ? number_in(line.value()) : line.absence();
}

// ---- the library's summary ----

std::vector<std::string> connector_names(const Library& library, std::uint32_t types) {
    const auto* list = *KT3_OBJECT(library, support_CONNECT_type_list);
    std::vector<std::string> names;
    for (int row = 0; row < KT3_CONNECTOR_TYPES; ++row) {
        if ((types & static_cast<std::uint32_t>(list[row].value)) != 0) {
            names.push_back(field_text(list[row].name));
        }
    }
    return names;
}

// The tool that is asked for the system's memory says 0 for what it does not know.
Number from_tool(std::uint32_t value) {
    if (value == kNotWritten) {
        return Absence::not_on_this_chip;
    }
    return value == 0 || value == kToolNotStarted ? Number(Absence::no_tool) : value;
}

Number memory_speed(const Adapter& adapter, const Short& record) {
    if (record.memory_speed != 0) {
        return record.memory_speed;
    }
    const bool from_node = record.memory_type == kNotWritten; // memory on the adapter: twice its clock
    return from_node ? read_number(adapter, nodes::kMclk, Quantity::megahertz).as([](std::int64_t clock) {
        return 2 * clock;
    })
                     : Absence::no_tool;
}

Reading<std::vector<std::string>> display_types(const Library& library, std::uint32_t types, const Text& page) {
    if (types != 0) {
        return connector_names(library, types);
    }
    if (!page.present()) {
        return page.absence();
    }
    const bool none = page.value().find(summary::kDisplayTypesKey) != std::string::npos;
    return none ? Reading(std::vector<std::string>{}) : Absence::no_node;
}

} // namespace

AdapterSummary read_summary(const Library& library, Machine& machine, const Adapter& adapter) {
    if (adapter.family == nullptr) {
        constexpr Absence kForeign = Absence::not_on_this_chip;
        return {kForeign, kForeign, kForeign, kForeign, kForeign};
    }
    make_current(library, machine, adapter);
    Short record{};
    record.memory_type = record.memory_bit_width = kNotWritten;
    KT3_ENTRY(library, get_adapter_summary)(&record, &machine.record);
    check_interrupt();
    const Text page = text_of_page(adapter);
    AdapterSummary readings;
    readings.memory_speed = memory_speed(adapter, record);
    readings.memory_type =
        from_tool(record.memory_type).as([](std::int64_t generation) { return fmt::format("DDR{}", generation); });
    readings.memory_bit_width = from_tool(record.memory_bit_width);
    readings.display_ports = record.display_port_number != 0 ? Number(record.display_port_number)
                                                             : number_after(page, summary::kDisplayPortsKey);
    readings.display_types = display_types(library, record.display_types, page);
    return readings;
}

DriverPage read_driver_page(const Adapter& adapter) {
    const Text page = adapter.family == nullptr ? Text(Absence::not_on_this_chip) : text_of_page(adapter);
    DriverPage readings;
    for (const PageNumber& row : kNumbers) {
        const Text line = line_of(page, key_of(row.field));
        readings.*row.into = line.present() ? number_in(line.value(), row.quantity) : line.absence();
    }
    for (const PageText& row : kTexts) {
        const Text line = line_of(page, key_of(row.field));
        readings.*row.into = line.present() ? row.read(line.value()) : line.absence();
    }
    return readings;
}

} // namespace kt3::observe
