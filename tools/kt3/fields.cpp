// SPDX-License-Identifier: MIT
#include "kt3/fields.hpp"

#include "observe/adapter/driver_state.hpp"
#include "output/metric.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

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

void read_identity(Row& row, QueriedAdapter& queried) {
    add_all(row, kAdapterColumns, queried.adapter);
}
void read_versions(Row& row, QueriedAdapter& queried) {
    add_all(row, kVersionColumns, observe::read_versions(queried.adapter));
}
void read_live_values(Row& row, QueriedAdapter& queried) {
    add_all(row, kLiveColumns, read_live(queried.adapter));
}
void read_moving_values(Row& row, QueriedAdapter& queried) {
    add_all(row, kMovingColumns, read_moving(queried.adapter));
}
void read_module_values(Row& row, QueriedAdapter& queried) {
    const ModuleReadings sample = queried.sample();
    add_all(row, kFrameColumns, sample.frames);
    add_all(row, kBusyColumns, sample.busy);
    add_all(row, kBandwidthColumns, sample.bandwidth);
}
void read_driver_parts(Row& row, QueriedAdapter& queried) {
    add_all(row, kDriverColumns, read_driver_state(queried.adapter, queried.complete()));
}
void read_library_summary(Row& row, QueriedAdapter& queried) {
    add_all(row, kSummaryColumns, read_summary(queried.library, queried.machine, queried.adapter));
}
void read_page_values(Row& row, QueriedAdapter& queried) {
    add_all(row, kPageColumns, read_driver_page(queried.adapter));
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
        {headings_of(kAdapterColumns), read_identity, false, false},
        {headings_of(kVersionColumns), read_versions, false, false},
        {headings_of(kLiveColumns), read_live_values, false, false},
        {headings_of(kMovingColumns), read_moving_values, true, false},
        {module_headings(), read_module_values, true, true},
        {headings_of(kDriverColumns), read_driver_parts, true, false},
        {headings_of(kSummaryColumns), read_library_summary, false, false},
        {headings_of(kPageColumns), read_page_values, false, false},
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

QueriedAdapter::QueriedAdapter(const Library& the_library, Machine& the_machine, const Adapter& the_adapter, bool bound)
    : library(the_library), machine(the_machine), adapter(the_adapter) {
    if (bound && adapter.family != nullptr) {
        binding_ = std::make_unique<Binding>(library, machine, adapter);
        sampler_ = std::make_unique<ModuleSampler>(library, adapter);
    }
}

ModuleReadings QueriedAdapter::sample() {
    return sampler_ ? sampler_->sample() : no_module_readings(Absence::not_on_this_chip);
}

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
