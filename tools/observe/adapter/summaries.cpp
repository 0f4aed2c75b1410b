// SPDX-License-Identifier: MIT
#include "observe/adapter/summaries.hpp"

#include "observe/adapter/nodes.hpp"
#include "observe/interrupt.hpp"
#include "observe/text.hpp"
#include "summary/gpuinfo_keys.hpp"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

using Short = _GPU_ADAPTER_SUMMARY;
using Extended = _GPU_ADAPTER_SUMMARY_EXT2;
using Number = Reading<std::int64_t>;
using Text = Reading<std::string>;

constexpr std::size_t kPageBytes = 1024;            // of the driver's page; what follows is not looked at
constexpr std::uint32_t kToolNotStarted = 1;        // memory type and width when the memory tool cannot be started
constexpr std::uint32_t kNotWritten = 0xFFFF'FFFEU; // what a field of the short summary holds before the call

std::string version_of_three(std::uint64_t packed) {
    return fmt::format("{:x}.{:x}.{:x}", packed >> 32, packed >> 16 & 0xFFFF, packed & 0xFFFF);
}

std::string version_of_four(std::uint64_t packed) {
    return fmt::format("{:x}.{:x}.{:x}.{:x}", packed >> 48, packed >> 32 & 0xFFFF, packed >> 16 & 0xFFFF,
                       packed & 0xFFFF);
}

std::string resolution(std::uint64_t packed) {
    return fmt::format("{}x{}@{}", packed >> 48, packed >> 32 & 0xFFFF, packed & 0xFFFF'FFFF);
}

// The driver's key for a field of the record.
template<typename Field>
constexpr const summary::GpuinfoKey& key_of(Field field) {
    return *std::find_if(std::begin(summary::kGpuinfoKeys), std::end(summary::kGpuinfoKeys),
                         [&](const summary::GpuinfoKey& row) { return row.field == summary::GpuinfoField(field); });
}

struct PageNumber {
    std::uint32_t Extended::*from;
    Number DriverPage::*into;
};

struct PageText {
    std::uint64_t Extended::*from;
    std::string (*unpacked)(std::uint64_t);
    Text DriverPage::*into;
};

// clang-format off
constexpr PageNumber kNumbers[] = {
    {&Extended::pixel_fill_rate,   &DriverPage::pixel_fill_rate},
    {&Extended::texture_fill_rate, &DriverPage::texture_fill_rate},
    {&Extended::memory_clock_freq, &DriverPage::memory_clock},
    {&Extended::memory_usage,      &DriverPage::memory_usage},
    {&Extended::use_rate_3d,       &DriverPage::usage_3d_percent},
    {&Extended::use_rate_video,    &DriverPage::usage_video_percent},
    {&Extended::use_rate_vpp,      &DriverPage::usage_vpp_percent},
    {&Extended::temperature,       &DriverPage::temperature_c},
    {&Extended::pcie_generation,   &DriverPage::pcie_generation},
};

constexpr PageText kTexts[] = {
    {&Extended::driver_version,     version_of_three, &DriverPage::driver_version},
    {&Extended::firmware_version,   version_of_four,  &DriverPage::firmware_version},
    {&Extended::max_resolution,     resolution,       &DriverPage::max_resolution},
    {&Extended::vga_max_resolution, resolution,       &DriverPage::vga_max_resolution},
};
// clang-format on

Text text_of_page(const Adapter& adapter) {
    const Text page = read_page(AT_FDCWD, fmt::format("/proc/gpuinfo_{}", adapter.card).c_str());
    return page.present() ? page.value().substr(0, kPageBytes) : page;
}

// The number after the key. One look at the page tells both the value and why there is none.
Number number_after(const Text& page, const char* key) {
    if (!page.present()) {
        return page.absence();
    }
    const auto at = page.value().find(key);
    return at == std::string::npos ? Number(Absence::no_node)
                                   : number_in(std::string_view(page.value()).substr(at + std::strlen(key)));
}

Number page_number(const Extended& record, const Text& page, const PageNumber& row) {
    const std::uint32_t value = record.*row.from;
    if (value != 0 && value != KT3_ABSENT) {
        return value;
    }
    const Number number = number_after(page, key_of(row.from).key);
    return number.present() && value == KT3_ABSENT ? Absence::driver : number;
}

Text page_text(const Extended& record, const Text& page, const PageText& row) {
    const std::uint64_t value = record.*row.from;
    if (value != 0 && value != KT3_ABSENT) {
        return row.unpacked(value);
    }
    const auto& [name, read, key, second_key, scan, field] = key_of(row.from);
    const bool first = second_key == nullptr || (page.present() && page.value().find(key) != std::string::npos);
    const Number number = number_after(page, first ? key : second_key);
    if (!number.present()) {
        return number.absence();
    }
    return value == 0 ? Text(row.unpacked(0)) : Absence::driver;
}

Text firmware_name(const Extended& record, const Text& page) {
    const std::string name = valid_utf8(field_text(record.firmware_name));
    if (!name.empty()) {
        return name;
    }
    return page.present() ? Absence::no_node : page.absence();
}

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

Number memory_speed(const Library& library, const Adapter& adapter, const Short& record) {
    if (record.memory_speed != 0) {
        return record.memory_speed;
    }
    const bool from_node = record.memory_type == kNotWritten; // memory on the adapter: twice its clock
    return from_node ? read_number(library, adapter, nodes::kMclk).as([](std::int64_t clock) { return 2 * clock; })
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
        return {kForeign, kForeign, kForeign, kForeign, kForeign, kForeign};
    }
    make_current(library, machine, adapter);
    Short record{};
    record.memory_type = record.memory_bit_width = kNotWritten;
    KT3_ENTRY(library, get_adapter_summary)(&record, &machine.record);
    check_interrupt();
    const Text page = text_of_page(adapter);
    AdapterSummary readings;
    readings.memory_speed = memory_speed(library, adapter, record);
    readings.memory_type =
        from_tool(record.memory_type).as([](std::int64_t generation) { return fmt::format("DDR{}", generation); });
    readings.memory_bit_width = from_tool(record.memory_bit_width);
    readings.display_ports = record.display_port_number != 0 ? Number(record.display_port_number)
                                                             : number_after(page, summary::kDisplayPortsKey);
    readings.display_types = display_types(library, record.display_types, page);
    readings.link_width = adapter.sysfs_fd < 0
                              ? Number(Absence::driver)
                              : judged(record.current_link_width, adapter.sysfs_fd, "current_link_width");
    return readings;
}

DriverPage read_driver_page(const Library& library, Machine& machine, const Adapter& adapter) {
    DriverPage readings;
    Extended record{};
    Text page = Absence::not_on_this_chip;
    if (adapter.family != nullptr) {
        make_current(library, machine, adapter);
        KT3_ENTRY(library, get_adapter_summary_ext2)(&record, &machine.record);
        check_interrupt();
        page = text_of_page(adapter);
    }
    for (const PageNumber& row : kNumbers) {
        readings.*row.into = page_number(record, page, row);
    }
    for (const PageText& row : kTexts) {
        readings.*row.into = page_text(record, page, row);
    }
    readings.firmware_name = firmware_name(record, page);
    return readings;
}

} // namespace kt3::observe
