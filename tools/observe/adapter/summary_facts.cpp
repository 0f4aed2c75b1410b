#include "observe/adapter/summary_facts.hpp"

#include "observe/adapter/nodes.hpp"
#include "observe/interrupt.hpp"
#include "observe/text.hpp"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

using Short = _GPU_ADAPTER_SUMMARY;
using Extended = _GPU_ADAPTER_SUMMARY_EXT2;

constexpr std::size_t kPageBytes = 1024;            // of the driver's page; what stands behind them is not looked at
constexpr std::uint32_t kToolNotStarted = 1;        // memory type and width when the memory tool cannot be started
constexpr std::uint32_t kNotWritten = 0xFFFF'FFFEU; // what a field of the short summary holds before the call

// How a field is shown.
Json version_of_three(std::uint64_t packed) {
    return fmt::format("{:x}.{:x}.{:x}", packed >> 32, packed >> 16 & 0xFFFF, packed & 0xFFFF);
}

Json version_of_four(std::uint64_t packed) {
    return fmt::format("{:x}.{:x}.{:x}.{:x}", packed >> 48, packed >> 32 & 0xFFFF, packed >> 16 & 0xFFFF,
                       packed & 0xFFFF);
}

Json resolution(std::uint64_t packed) {
    return fmt::format("{}x{}@{}", packed >> 48, packed >> 32 & 0xFFFF, packed & 0xFFFF'FFFF);
}

Json number(std::uint64_t value) {
    return value;
}

template<auto Member>
std::uint64_t field(const Extended& record) {
    return record.*Member;
}

struct PageFact {
    const char* group;
    const char* key; // in JSON
    const char* label;
    const char* unit;
    const char* page_key;        // what stands before the value in the driver's page
    const char* second_page_key; // looked for when the first is absent, or null
    std::uint64_t (*read)(const Extended&);
    Json (*show)(std::uint64_t);
};

// clang-format off
constexpr PageFact kPageFacts[] = {
    {"page", "driver_version",     "Driver",           "",  "Driver Version : ",   nullptr, field<&Extended::driver_version>,    version_of_three},
    {"page", "firmware_version",   "Firmware",         "",  "Firmware Version : ", nullptr, field<&Extended::firmware_version>,  version_of_four},
    {"page", "pixel_fill_rate",    "Pixel fill rate",  "",  "Pixel Fillrate : ",   nullptr, field<&Extended::pixel_fill_rate>,   number},
    {"page", "texture_fill_rate",  "Texture fill rate", "", "Texture Fillrate : ", nullptr, field<&Extended::texture_fill_rate>, number},
    {"page", "memory_clock",       "Memory clock",     "",  "Memory Clock Freq : ", nullptr, field<&Extended::memory_clock_freq>, number},
    {"page", "max_resolution",     "Max resolution",   "",  "HDMI Max Display Resolution : ", "DP Max Display Resolution : ",
                                                                                            field<&Extended::max_resolution>,    resolution},
    {"page", "vga_max_resolution", "Max on VGA",       "",  "VGA Max Display Resolution : ", nullptr,
                                                                                            field<&Extended::vga_max_resolution>, resolution},
    {"page", "memory_usage",       "Memory usage",     "",  "GPU Memory Usage : ",     nullptr, field<&Extended::memory_usage>,   number},
    {"page", "usage_3d_percent",   "3D",               "%", "GPU Use Rate(3d) : ",     nullptr, field<&Extended::use_rate_3d>,    number},
    {"page", "usage_video_percent", "Video",           "%", "GPU Use Rate(video) : ",  nullptr, field<&Extended::use_rate_video>, number},
    {"page", "usage_vpp_percent",  "Post-processing",  "%", "GPU Use Rate(vpp) : ",    nullptr, field<&Extended::use_rate_vpp>,   number},
    {"page", "temperature_c",      "Temperature",      "C", "Realtime Temperature : ", nullptr, field<&Extended::temperature>,    number},
    {"link", "pcie_generation",    "PCIe generation",  "",  "Bus Type : PCIE",         nullptr, field<&Extended::pcie_generation>, number},
};
// clang-format on

Page driver_page(const Adapter& adapter) {
    Page page = read_page(AT_FDCWD, fmt::format("/proc/gpuinfo_{}", adapter.card).c_str());
    page.text.resize(std::min(page.text.size(), kPageBytes));
    return page;
}

// Why a value behind this key is missing; none when a number stands there.
Absence absence_behind(const Page& page, const char* key) {
    if (page.absence != Absence::none) {
        return page.absence;
    }
    const auto at = page.text.find(key);
    if (at == std::string::npos) {
        return Absence::no_node;
    }
    return holds_number(page.text.substr(at + std::strlen(key))) ? Absence::none : Absence::parse_error;
}

Reading page_reading(const Extended& record, const Page& page, const PageFact& row) {
    const std::uint64_t value = row.read(record);
    if (value != 0 && value != KT3_ABSENT) {
        return {row.show(value)};
    }
    const char* key = row.page_key;
    if (row.second_page_key != nullptr && page.text.find(key) == std::string::npos) {
        key = row.second_page_key;
    }
    const Absence why = absence_behind(page, key);
    if (why != Absence::none) {
        return absent(why);
    }
    return value == 0 ? Reading{row.show(0)} : absent(Absence::driver);
}

Reading firmware_name(const Extended& record, const Page& page) {
    const std::string name = valid_utf8(field_text(record.firmware_name));
    if (!name.empty()) {
        return {name};
    }
    const Absence why = page.absence;
    return absent(why != Absence::none ? why : Absence::no_node);
}

// Facts of an adapter that nothing of ours drives.
std::vector<NamedFact> without_driver(std::vector<NamedFact> facts) {
    for (NamedFact& fact : facts) {
        fact.reading = absent(Absence::not_on_this_chip);
    }
    return facts;
}

Json connector_names(const Library& library, std::uint32_t types) {
    const auto* list = *KT3_OBJECT(library, support_CONNECT_type_list);
    Json names = Json::array();
    for (int row = 0; row < KT3_CONNECTOR_TYPES; ++row) {
        if ((types & static_cast<std::uint32_t>(list[row].value)) != 0) {
            names.push_back(field_text(list[row].name));
        }
    }
    return names;
}

// The tool that is asked for the system's memory says 0 for what it does not know.
Reading told_by_tool(std::uint32_t value) {
    if (value == kNotWritten) {
        return absent(Absence::not_on_this_chip);
    }
    return value == 0 || value == kToolNotStarted ? absent(Absence::no_tool) : Reading{value};
}

Reading memory_speed(const Library& library, const Adapter& adapter, const Short& record) {
    if (record.memory_speed != 0) {
        return {record.memory_speed};
    }
    const bool from_node = record.memory_type == kNotWritten; // memory on the adapter: twice its clock
    return from_node ? read_number(library, adapter, kMemoryClock) : absent(Absence::no_tool);
}

Reading counted_in_page(std::uint32_t value, const Page& page, const char* key) {
    if (value != 0) {
        return {value};
    }
    const Absence why = absence_behind(page, key);
    return why == Absence::none ? Reading{0} : absent(why);
}

Reading display_types(const Library& library, std::uint32_t types, const Page& page) {
    if (types != 0) {
        return {connector_names(library, types)};
    }
    const bool there = page.absence == Absence::none && page.text.find("Support Display Type :") != std::string::npos;
    return there ? Reading{Json::array()} : absent(page.absence != Absence::none ? page.absence : Absence::no_node);
}

} // namespace

std::vector<NamedFact> read_summary(const Library& library, Machine& machine, const Adapter& adapter) {
    std::vector<NamedFact> facts = {
        {"summary", "memory_speed", "Memory speed", "MT/s", {}},
        {"summary", "memory_type", "Memory type", "", {}},
        {"summary", "memory_bit_width", "Memory width", "bits", {}},
        {"summary", "display_ports", "Display ports", "", {}},
        {"summary", "display_types", "Display types", "", {}},
        {"link", "link_width", "Link width", "lanes", {}},
    };
    if (adapter.family == nullptr) {
        return without_driver(std::move(facts));
    }
    make_current(library, machine, adapter);
    Short record{};
    record.memory_type = record.memory_bit_width = kNotWritten;
    KT3_ENTRY(library, get_adapter_summary)(&record, &machine.record);
    check_interrupt();
    const Page page = driver_page(adapter);
    const Reading type = told_by_tool(record.memory_type);
    facts[0].reading = memory_speed(library, adapter, record);
    facts[1].reading = type.present() ? Reading{fmt::format("DDR{}", record.memory_type)} : type;
    facts[2].reading = told_by_tool(record.memory_bit_width);
    facts[3].reading = counted_in_page(record.display_port_number, page, "Max Display Port : ");
    facts[4].reading = display_types(library, record.display_types, page);
    facts[5].reading = adapter.sysfs_fd < 0 ? absent(Absence::driver)
                                            : judged(record.current_link_width, adapter.sysfs_fd, "current_link_width");
    return facts;
}

std::vector<NamedFact> read_extended_summary(const Library& library, Machine& machine, const Adapter& adapter) {
    Extended record{};
    Page page;
    if (adapter.family != nullptr) {
        make_current(library, machine, adapter);
        KT3_ENTRY(library, get_adapter_summary_ext2)(&record, &machine.record);
        check_interrupt();
        page = driver_page(adapter);
    }
    std::vector<NamedFact> facts;
    for (const PageFact& row : kPageFacts) {
        facts.push_back({row.group, row.key, row.label, row.unit, page_reading(record, page, row)});
    }
    facts.insert(facts.begin() + 2, {"page", "firmware_name", "Firmware name", "", firmware_name(record, page)});
    return adapter.family == nullptr ? without_driver(std::move(facts)) : facts;
}

} // namespace kt3::observe
