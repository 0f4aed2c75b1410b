// SPDX-License-Identifier: MIT
#include "kt3/fields.hpp"

#include "output/metric.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

using namespace collect;
using namespace observe;
using namespace output;

struct PeerName {
    std::string_view peer;
    std::string_view own;
};

// clang-format off
constexpr PeerName kPeerNames[] = {
    {"index",                   "slot"},
    {"gpu_name",                "name"},
    {"pci.bus_id",              "bdf"},
    {"gpu_bus_id",              "bdf"},
    {"pci.device_id",           "chip_id"},
    {"driver_version",          "driver"},
    {"vbios_version",           "vbios"},
    {"temperature.gpu",         "temperature_c"},
    {"fan.speed",               "fan_speed"},
    {"utilization.gpu",         "engine_3d_percent"},
    {"utilization.decoder",     "video_codec_percent"},
    {"memory.total",            "fb_size_mib"},
    {"memory.free",             "fb_free_mib"},
    {"memory.used",             "fb_used_mib"},
    {"clocks.gr",               "engine_mhz"},
    {"clocks.current.graphics", "engine_mhz"},
    {"clocks.mem",              "memory_mhz"},
    {"clocks.current.memory",   "memory_mhz"},
    {"clocks.video",            "video_mhz"},
    {"clocks.current.video",    "video_mhz"},
    {"pcie.link.gen.current",   "pcie_generation"},
    {"pcie.link.width.current", "link_width"},
};
// clang-format on

template<typename Record, std::size_t N>
std::vector<const Heading*> headings_of(const Column<Record> (&columns)[N]) {
    std::vector<const Heading*> headings;
    for (const Column<Record>& column : columns) {
        const bool repeated = std::any_of(headings.begin(), headings.end(), [&](const Heading* heading) {
            return std::string_view(heading->key) == column.heading.key;
        });
        if (!repeated) { // rows and JSON may have it in different places
            headings.push_back(&column.heading);
        }
    }
    return headings;
}

// All cells of the columns, whatever format they appear in.
template<typename Record>
void add_all(Row& row, std::type_identity_t<Columns<Record>> columns, const Record& record) {
    for (const Column<Record>& column : columns) {
        row.push_back({&column.heading, column.value(record), std::nullopt});
    }
}

void add_identity(Row& row, const Adapter& adapter, const Observation&) {
    add_all(row, kAdapterColumns, adapter);
}
void add_versions(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kVersionColumns, look.versions);
}
void add_live_values(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kLiveColumns, look.moving.live);
}
void add_moving_values(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kMovingColumns, look.moving);
}
void add_module_values(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kFrameColumns, look.counted.frames);
    add_all(row, kBusyColumns, look.counted.busy);
    add_all(row, kBandwidthColumns, look.counted.bandwidth);
}
void add_driver_parts(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kDriverColumns, look.driver);
}
void add_library_summary(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kSummaryColumns, look.summary);
}
void add_page_values(Row& row, const Adapter&, const Observation& look) {
    add_all(row, kPageColumns, look.moving.page);
}

std::vector<const Heading*> module_headings() {
    std::vector<const Heading*> all = headings_of(kFrameColumns);
    for (const auto& more : {headings_of(kBusyColumns), headings_of(kBandwidthColumns)}) {
        all.insert(all.end(), more.begin(), more.end());
    }
    return all;
}

const std::vector<FieldGroup>& groups() {
    static const auto& all = *new std::vector<FieldGroup>{
        {headings_of(kAdapterColumns), add_identity, {}, false},
        {headings_of(kVersionColumns), add_versions, {Group::versions}, false},
        {headings_of(kLiveColumns), add_live_values, {Group::live}, false},
        {headings_of(kMovingColumns), add_moving_values, {Group::live, Group::usage, Group::page, Group::link}, false},
        {module_headings(), add_module_values, {Group::counted}, true},
        {headings_of(kDriverColumns), add_driver_parts, {Group::driver}, false},
        {headings_of(kSummaryColumns), add_library_summary, {Group::summary}, false},
        {headings_of(kPageColumns), add_page_values, {Group::page}, false},
    };
    return all;
}

bool is_named(const std::vector<Field>& fields, std::string_view name) {
    return std::any_of(fields.begin(), fields.end(), [&](const Field& field) { return field.name == name; });
}

// Names that mean something within their group only.
bool says_little(const Heading& heading) {
    constexpr std::string_view kGroups[] = {"busy", "bandwidth", "page", "driver"};
    const char* group = heading.look.group;
    return group != nullptr && std::find(std::begin(kGroups), std::end(kGroups), group) != std::end(kGroups);
}

std::vector<Field> make_fields() {
    std::vector<Field> fields;
    for (const FieldGroup& group : groups()) {
        for (const Heading* heading : group.headings) {
            std::string name = heading->key;
            if (is_named(fields, name) || says_little(*heading)) {
                name = fmt::format("{}.{}", heading->look.group, heading->key);
            }
            fields.push_back({std::move(name), heading, &group});
        }
    }
    return fields;
}

} // namespace

const std::vector<Field>& all_fields() {
    static const auto& fields = *new std::vector<Field>(make_fields());
    return fields;
}

const Field* find_field(std::string_view name) {
    for (const PeerName& row : kPeerNames) {
        name = row.peer == name ? row.own : name;
    }
    const auto found = std::find_if(all_fields().begin(), all_fields().end(), [&](const Field& field) {
        const char* group = field.heading->look.group;
        return field.name == name || (group != nullptr && fmt::format("{}.{}", group, field.heading->key) == name);
    });
    return found == all_fields().end() ? nullptr : &*found;
}

} // namespace kt3::cli
