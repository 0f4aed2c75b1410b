// SPDX-License-Identifier: MIT
#pragma once
// What the kernel-interface module of a bound adapter counts: busy words, frames and bandwidth words.

#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace kt3::observe {

// Modules say no more about the words than their positions.
struct BusyReadings {
    Reading<std::string> interface;
    std::array<Reading<std::int64_t>, 10> words;
};

struct FrameReadings {
    Reading<std::string> source; // "module" or "nodes"
    Reading<double> frames_per_s, blit_scans_per_s, sum_per_s, average_per_s;
    Reading<double> interval_s; // the time that the rates hold for
};

struct BandwidthReadings {
    std::array<Reading<std::int64_t>, 12> words;
};

struct ModuleReadings {
    BusyReadings busy;
    FrameReadings frames;
    BandwidthReadings bandwidth;
};

// Seconds between two looks, so that there are rates.
inline constexpr double kLookForRates = 0.2;

// Prepared once per binding; each sample then costs one call per kind. Frames are counted from the first sample on.
class ModuleSampler {
public:
    ModuleSampler(const Library& library, const Adapter& adapter);

    // Rates hold for the time since the sample before, which is given with them.
    [[nodiscard]] ModuleReadings sample();

private:
    [[nodiscard]] BusyReadings sample_busy() const;
    [[nodiscard]] FrameReadings sample_frames();
    [[nodiscard]] BandwidthReadings sample_bandwidth() const;
    [[nodiscard]] bool counted_by_module() const;
    [[nodiscard]] Absence why_no_rates() const;

    const Library& library_;
    const Adapter& adapter_;
    bool busy_ = false;      // the module has a busy interface
    bool bandwidth_ = false; // the module has a bandwidth interface and prepared it
    std::optional<std::chrono::steady_clock::time_point> last_frame_sample_;
};

// The readings of an adapter that cannot be bound.
[[nodiscard]] ModuleReadings no_module_readings(Absence why);

} // namespace kt3::observe
