// SPDX-License-Identifier: MIT
#pragma once
// What the sampling calls keep between calls: entry points of the bound module and frame samples.

#include "adapter/binding_state.hpp"

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

// An entry point of the module. The name stays when the module is closed, so that the entry point is found again in the
// module that is bound next; until then there is nothing to call.
template<typename Call>
struct EntryPoint {
    const char* name = nullptr; // null where the init call found none
    Call call = nullptr;

    explicit operator bool() const { return call != nullptr; }
};

template<typename Call>
EntryPoint<Call> find_entry(const char* name) {
    const auto call = reinterpret_cast<Call>(adapter::module_entry(name));
    return {call == nullptr ? nullptr : name, call};
}

// Set by the init call of each pair.
struct EntryPoints {
    EntryPoint<DeviceCall> usage;          // "gfx_get_usage_info"
    EntryPoint<PlainCall> usage_plain;     // "qnGetHwqInfo"
    EntryPoint<DeviceCall> usage_extended; // "gfx_get_usage_info_ext"

    EntryPoint<DeviceCall> flip_count; // "gfx_flip_count"

    EntryPoint<DeviceSetup> bandwidth_init;    // "gfx_init_hwinfo" or "qn_init_hwinfo"
    EntryPoint<DeviceSetup> bandwidth_deinit;  // "gfx_deinit_hwinfo" or "qn_deinit_hwinfo": must exist, is never called
    EntryPoint<DeviceCall> bandwidth;          // "gfx_get_hwinfo" or "qn_get_hwinfo"
    EntryPoint<DeviceCall> bandwidth_extended; // "gfx_get_hwinfo_ext"
};

struct SamplingState {
    EntryPoints entries;
    FrameSample initial;  // set by fps_init; the average rate counts from here
    FrameSample previous; // the last sample that gave rates; fps_init sets it to the initial one
    FrameSample current;  // the last sample taken; what cannot be read keeps its value, so no time seems to pass
};
SamplingState& sampling_state();

// To be called when the module is closed: its entry points would lie in unmapped code. Samples stay as they are; the
// busy and bandwidth calls leave the client's record alone, and the frame count no longer changes.
void suspend_entry_points();

// To be called when a module has been bound: what the last init calls had found is looked up in it by name.
void resume_entry_points();

} // namespace kt3::sampling
