// SPDX-License-Identifier: MIT
#include "sampling/frame_rate.hpp"

#include "adapter/binding_state.hpp"
#include "nodes/accessors.hpp"
#include "sampling/module_words.hpp"
#include "sampling/sampling_state.hpp"

#include <cstring>

namespace kt3::sampling {
namespace {

constexpr float kNanosecondsPerSecond = 1e9F;

// The module gets the sample in a larger buffer and may leave any part of it as it was.
void count_through_module(FrameSample& sample) {
    const auto& flip_count = sampling_state().entries.flip_count;
    if (!flip_count) {
        return;
    }
    ModuleBuffer answer;
    std::memcpy(answer.words, &sample, sizeof sample);
    flip_count.call(adapter::drm_descriptor(), adapter::device_object(), answer.words);
    std::memcpy(&sample, answer.words, sizeof sample);
}

// A counter whose node cannot be read keeps its value.
void count_through_nodes(FrameSample& sample) {
    auto timestamp = static_cast<std::int64_t>(sample.timestamp_ns);
    nodes::read_frame_counters({&sample.frames, &timestamp, &sample.blit_scans});
    sample.timestamp_ns = static_cast<std::uint64_t>(timestamp);
}

void take_sample(FrameSample& sample) {
    if (use_IOCTL_get_fps == 1) {
        count_through_module(sample);
    } else {
        count_through_nodes(sample);
    }
}

// Each time stamp is rounded to single precision before the difference is formed; clients compare rates bit by bit.
float time_between(const FrameSample& from, const FrameSample& to) {
    return static_cast<float>(to.timestamp_ns) - static_cast<float>(from.timestamp_ns);
}

// Modulo 2^32: a counter that went back counts as one that wrapped.
std::uint32_t frames_between(const FrameSample& from, const FrameSample& to) {
    return to.frames - from.frames;
}

std::int64_t blit_scans_between(const FrameSample& from, const FrameSample& to) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(to.blit_scans) -
                                     static_cast<std::uint64_t>(from.blit_scans));
}

std::int64_t all_between(const FrameSample& from, const FrameSample& to) {
    return static_cast<std::int64_t>(frames_between(from, to) +
                                     static_cast<std::uint64_t>(blit_scans_between(from, to)));
}

// Two different time stamps can round to the same float: the rate is then infinite, or not a number.
template<typename Count>
float per_second(Count count, float nanoseconds) {
    return static_cast<float>(count) * kNanosecondsPerSecond / nanoseconds;
}

void rates_of_nodes(const SamplingState& state, _GFX_FRAME_RATES& rates) {
    const float elapsed = time_between(state.previous, state.current);
    rates.frames = per_second(frames_between(state.previous, state.current), elapsed);
    rates.blit_scans = per_second(blit_scans_between(state.previous, state.current), elapsed);
    rates.sum = rates.frames + rates.blit_scans;
    rates.average = per_second(all_between(state.initial, state.current), time_between(state.initial, state.current));
}

void rates_of_module(const SamplingState& state, _GFX_FRAME_RATES& rates) {
    rates.frames =
        per_second(frames_between(state.previous, state.current), time_between(state.previous, state.current));
    rates.average =
        per_second(frames_between(state.initial, state.current), time_between(state.initial, state.current));
}

} // namespace

void start_frame_rates() {
    SamplingState& state = sampling_state();
    state.entries.flip_count =
        adapter::module_sizes_device_object() ? find_entry<DeviceCall>("gfx_flip_count") : EntryPoint<DeviceCall>();
    use_IOCTL_get_fps = state.entries.flip_count ? 1 : 0;
    take_sample(state.initial);
    state.previous = state.initial;
    state.current = state.initial; // so that a first sample that cannot be read shows no time passing
}

bool read_frame_rates(_GFX_FRAME_RATES& rates) {
    SamplingState& state = sampling_state();
    take_sample(state.current);
    if (state.current.timestamp_ns == state.previous.timestamp_ns) {
        return false;
    }
    if (use_IOCTL_get_fps == 1) {
        rates_of_module(state, rates);
    } else {
        rates_of_nodes(state, rates);
    }
    state.previous = state.current;
    return true;
}

} // namespace kt3::sampling
