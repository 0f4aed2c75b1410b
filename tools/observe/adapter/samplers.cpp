// SPDX-License-Identifier: MIT
#include "observe/adapter/samplers.hpp"

#include "observe/adapter/nodes.hpp"
#include "observe/interrupt.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kt3::observe {
namespace {

// Words of a record that nobody wrote still hold this.
constexpr std::uint32_t kNotWritten = 0xFFFF'FFFFU;

// A module that fills a record itself may know a longer one.
template<typename Record>
struct Roomy {
    Record record{};
    std::array<std::uint32_t, 1024> more{};

    Roomy() { std::fill(std::begin(record.word), std::end(record.word), kNotWritten); }
};

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

const char* interface_name(std::int32_t version) {
    switch (version) {
    case KT3_BUSY_VERSION_0:
        return "version 0";
    case KT3_BUSY_VERSION_1:
        return "version 1";
    default:
        return "extended version 1";
    }
}

template<std::size_t N>
void take_words(std::array<Reading<std::int64_t>, N>& into, const std::uint32_t* words) {
    for (std::size_t at = 0; at < N; ++at) {
        into[at] = words[at] == kNotWritten ? Reading<std::int64_t>(Absence::not_on_this_chip) : words[at];
    }
}

FrameReadings absent_rates(Absence why) {
    return {why, why, why, why, why, why};
}

Reading<double> rate(float counted) { // a rate that the source does not know stays no number
    return std::isfinite(counted) ? Reading<double>(rounded(counted)) : Absence::driver;
}

} // namespace

ModuleSampler::ModuleSampler(const Library& library, const Adapter& adapter)
    : library_(library), adapter_(adapter), busy_(KT3_ENTRY(library, gfxbusy_init)() == 0),
      bandwidth_(KT3_ENTRY(library, bandwidth_init)() == 0) {
    check_interrupt();
}

BusyReadings ModuleSampler::sample_busy() const {
    BusyReadings readings;
    if (busy_) {
        Roomy<_GFX_BUSY_INFO> busy;
        KT3_ENTRY(library_, get_gpubusy_info)(&busy.record);
        readings.interface = std::string(interface_name(*KT3_OBJECT(library_, gfxbusy_apiversion)));
        take_words(readings.words, busy.record.word);
    }
    return readings;
}

bool ModuleSampler::counted_by_module() const {
    return *KT3_OBJECT(library_, use_IOCTL_get_fps) == 1;
}

// Frames come from the module or from a node. A node that cannot be read looks like one that stands still.
Absence ModuleSampler::why_no_rates() const {
    const Reading<std::int64_t> node =
        counted_by_module() ? Reading<std::int64_t>(0) : read_number(adapter_, nodes::kFpsCount);
    return node.present() ? Absence::unchanged : node.absence();
}

FrameReadings ModuleSampler::sample_frames() {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    _GFX_FRAME_RATES rates{kNone, kNone, kNone, kNone};
    FrameReadings readings;
    const auto now = std::chrono::steady_clock::now();
    if (!last_frame_sample_) {
        KT3_ENTRY(library_, fps_init)();
        const Absence why = why_no_rates();
        readings = absent_rates(why == Absence::unchanged ? Absence::first_sample : why);
        last_frame_sample_ = now;
    } else if (KT3_ENTRY(library_, get_fps_info)(&rates) == 0) {
        const double interval = rounded(std::chrono::duration<double>(now - *last_frame_sample_).count());
        readings = {{}, rate(rates.frames), rate(rates.blit_scans), rate(rates.sum), rate(rates.average), interval};
        last_frame_sample_ = now;
    } else {
        readings = absent_rates(why_no_rates());
    }
    readings.source = std::string(counted_by_module() ? "module" : "nodes");
    return readings;
}

BandwidthReadings ModuleSampler::sample_bandwidth() const {
    BandwidthReadings readings;
    if (bandwidth_) {
        Roomy<_GFX_BANDWIDTH_INFO> bandwidth;
        KT3_ENTRY(library_, get_bandwidth_info)(&bandwidth.record);
        take_words(readings.words, bandwidth.record.word);
    }
    return readings;
}

ModuleReadings ModuleSampler::sample() {
    ModuleReadings readings{sample_busy(), sample_frames(), sample_bandwidth()};
    check_interrupt();
    return readings;
}

ModuleReadings no_module_readings(Absence why) {
    ModuleReadings readings{{why, {}}, absent_rates(why), {}};
    readings.busy.words.fill(why);
    readings.bandwidth.words.fill(why);
    return readings;
}

} // namespace kt3::observe
