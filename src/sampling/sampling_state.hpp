#pragma once
// What the sampling calls keep between calls: entry points of the bound module and frame samples.

#include <cstdint>

namespace kt3::sampling {

// Signatures of the module's entry points. The descriptor is the bound adapter's DRM node.
using DeviceCall = std::int32_t (*)(std::int32_t descriptor, void* device_object, void* buffer);
using PlainCall = std::int32_t (*)(std::int32_t descriptor, void* buffer);
using DeviceSetup = std::int32_t (*)(std::int32_t descriptor, void* device_object);

// The module's frame counters as it writes them. The driver nodes give the low half of `frames` only.
struct FrameSample {
    std::uint64_t timestamp_ns = 0;
    std::uint32_t frames = 0;
    std::uint32_t frames_high = 0; // takes no part in the rates
    std::int64_t blit_scans = 0;
};
static_assert(sizeof(FrameSample) == 24, "the module writes three 64-bit words");

// Null where the module has none. Set by the init call of each pair; all are forgotten when the module is closed, and
// stay so until the next init call, since they would point into unmapped code.
struct EntryPoints {
    DeviceCall usage = nullptr;          // "gfx_get_usage_info"
    PlainCall usage_plain = nullptr;     // "qnGetHwqInfo"
    DeviceCall usage_extended = nullptr; // "gfx_get_usage_info_ext"

    DeviceCall flip_count = nullptr; // "gfx_flip_count"

    DeviceSetup bandwidth_init = nullptr;    // "gfx_init_hwinfo" or "qn_init_hwinfo"
    void* bandwidth_deinit = nullptr;        // "gfx_deinit_hwinfo" or "qn_deinit_hwinfo": must exist, is never called
    DeviceCall bandwidth = nullptr;          // "gfx_get_hwinfo" or "qn_get_hwinfo"
    DeviceCall bandwidth_extended = nullptr; // "gfx_get_hwinfo_ext"
};

struct SamplingState {
    EntryPoints entries;
    FrameSample initial;  // set by fps_init; the average rate counts from here
    FrameSample previous; // the last sample that gave rates; fps_init sets it to the initial one
    FrameSample current;  // the last sample taken; what cannot be read keeps its value, so time seems to stand still
};
SamplingState& sampling_state();

// To be called when the module is closed. Samples stay; until the next init call the busy and bandwidth calls leave
// the client's record alone, and counted frames seem to stand still.
void forget_entry_points();

} // namespace kt3::sampling
