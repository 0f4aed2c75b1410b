#include "observe/adapter/adapter_facts.hpp"

#include "observe/adapter/nodes.hpp"

#include <algorithm>

namespace kt3::observe {
namespace {

enum class Source { driver_node, hwmon, temperature };

struct LiveFact {
    const char* group;
    const char* key;
    const char* label;
    const char* unit;
    Source source;
    DriverNode node;
};

struct VersionFact {
    const char* key;
    const char* label;
    const char* node;
};

// clang-format off
constexpr LiveFact kLiveFacts[] = {
    {"clocks",  "engine_mhz",      "Engine clock",      "MHz", Source::driver_node, kEngineClock},
    {"clocks",  "video_mhz",       "Video clock",       "MHz", Source::driver_node, kVideoClock},
    {"clocks",  "memory_mhz",      "Memory clock",      "MHz", Source::driver_node, kMemoryClock},
    {"clocks",  "core_mhz",        "Core clock",        "MHz", Source::driver_node, kCoreClock},
    {"sensors", "temperature_c",   "Temperature",       "C",   Source::temperature, {}},
    {"sensors", "fan_speed",       "Fan speed",         "",    Source::driver_node, kFanSpeed},
    {"sensors", "fan0_rpm",        "Fan 0",             "rpm", Source::hwmon,       kHwmonFan0},
    {"sensors", "fan1_rpm",        "Fan 1",             "rpm", Source::hwmon,       kHwmonFan1},
    {"memory",  "fb_size_mib",     "Frame buffer",      "MiB", Source::driver_node, kFrameBuffer},
    {"memory",  "fb_free_mib",     "Free frame buffer", "MiB", Source::driver_node, kFreeFrameBuffer},
    {"memory",  "channels",        "Memory channels",   "",    Source::driver_node, kMemoryChannels},
};

constexpr VersionFact kVersions[] = {
    {"driver",       "Driver",       "driver_version"},
    {"release_date", "Release date", "release_date"},
    {"vbios",        "VBIOS",        "vbios_version"},
    {"pmp",          "PMP firmware", "pmp_version"},
};
// clang-format on

Reading read_live(const Library& library, const Adapter& adapter, const LiveFact& row) {
    switch (row.source) {
    case Source::hwmon:
        return read_hwmon_number(library, adapter, row.node);
    case Source::temperature:
        return read_temperature(library, adapter);
    case Source::driver_node:
        break;
    }
    return read_number(library, adapter, row.node);
}

} // namespace

std::vector<NamedFact> read_live_facts(const Library& library, Machine& machine, const Adapter& adapter) {
    make_current(library, machine, adapter);
    std::vector<NamedFact> facts;
    for (const LiveFact& row : kLiveFacts) {
        facts.push_back({row.group, row.key, row.label, row.unit, read_live(library, adapter, row)});
    }
    return facts;
}

std::vector<NamedFact> read_versions(const Adapter& adapter) {
    std::vector<NamedFact> facts;
    for (const VersionFact& row : kVersions) {
        facts.push_back({"versions", row.key, row.label, "", read_text(adapter, row.node)});
    }
    return facts;
}

const NamedFact& fact_named(const std::vector<NamedFact>& facts, std::string_view key) {
    return *std::find_if(facts.begin(), facts.end(), [&](const NamedFact& fact) { return fact.key == key; });
}

} // namespace kt3::observe
