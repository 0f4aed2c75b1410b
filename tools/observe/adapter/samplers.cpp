#include "observe/adapter/samplers.hpp"

#include "observe/adapter/nodes.hpp"
#include "observe/interrupt.hpp"

#include <algorithm>
#include <array>
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
    std::array<std::uint32_t, 1024> room{};
};

struct WordRow {
    std::size_t word;
    const char* key;
    const char* label;
};

struct RateRow {
    const char* key;
    const char* label;
    float _GFX_FRAME_RATES::*member;
};

// clang-format off
// The words of the busy record that any interface writes, by their position: modules say no more about them.
constexpr WordRow kBusyWords[] = {
    {2, "word_2", "Word 2"}, {4, "word_4", "Word 4"}, {5, "word_5", "Word 5"},
    {7, "word_7", "Word 7"}, {8, "word_8", "Word 8"}, {9, "word_9", "Word 9"},
};

constexpr WordRow kBandwidthWords[] = {
    {0, "word_0", "Word 0"}, {1, "word_1", "Word 1"}, {2, "word_2", "Word 2"},    {3, "word_3", "Word 3"},
    {4, "word_4", "Word 4"}, {5, "word_5", "Word 5"}, {6, "word_6", "Word 6"},    {7, "word_7", "Word 7"},
    {8, "word_8", "Word 8"}, {9, "word_9", "Word 9"}, {10, "word_10", "Word 10"}, {11, "word_11", "Word 11"},
};

constexpr RateRow kRates[] = {
    {"frames_per_s",     "Frames",     &_GFX_FRAME_RATES::frames},
    {"blit_scans_per_s", "Blit scans", &_GFX_FRAME_RATES::blit_scans},
    {"sum_per_s",        "Sum",        &_GFX_FRAME_RATES::sum},
    {"average_per_s",    "Average",    &_GFX_FRAME_RATES::average},
};
// clang-format on

constexpr DriverNode kFrameCount{18, "fps_count"};

double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

Json interface_name(std::int32_t version) {
    switch (version) {
    case KT3_BUSY_VERSION_0:
        return "version 0";
    case KT3_BUSY_VERSION_1:
        return "version 1";
    default:
        return "extended version 1";
    }
}

template<typename Rows>
void add_words(std::vector<NamedFact>& facts, const char* group, const Rows& rows, const std::uint32_t* words) {
    for (const WordRow& row : rows) {
        const std::uint32_t value = words == nullptr ? kNotWritten : words[row.word];
        const Absence why = words == nullptr ? Absence::driver : Absence::not_on_this_chip;
        facts.push_back({group, row.key, row.label, "", value == kNotWritten ? absent(why) : Reading{value}});
    }
}

template<typename Record>
void mark_unwritten(Record& record) {
    std::fill(std::begin(record.word), std::end(record.word), kNotWritten);
}

} // namespace

ModuleSampler::ModuleSampler(const Library& library, const Adapter& adapter)
    : library_(library), adapter_(adapter), busy_(KT3_ENTRY(library, gfxbusy_init)() == 0),
      bandwidth_(KT3_ENTRY(library, bandwidth_init)() == 0) {
    check_interrupt();
}

void ModuleSampler::add_busy(std::vector<NamedFact>& facts) const {
    Roomy<_GFX_BUSY_INFO> busy;
    mark_unwritten(busy.record);
    if (busy_) {
        KT3_ENTRY(library_, get_gpubusy_info)(&busy.record);
    }
    const std::int32_t version = *KT3_OBJECT(library_, gfxbusy_apiversion);
    facts.push_back(
        {"busy", "interface", "Interface", "", busy_ ? Reading{interface_name(version)} : absent(Absence::driver)});
    add_words(facts, "busy", kBusyWords, busy_ ? busy.record.word : nullptr);
}

// Frames come from the module or from a node. A node that cannot be read looks like one that stands still.
Absence ModuleSampler::why_no_rates() const {
    if (*KT3_OBJECT(library_, use_IOCTL_get_fps) == 1) {
        return Absence::unchanged;
    }
    const Reading node = read_number(library_, adapter_, kFrameCount);
    return node.present() ? Absence::unchanged : node.absence;
}

void ModuleSampler::add_frames(std::vector<NamedFact>& facts) {
    constexpr float none = std::numeric_limits<float>::quiet_NaN(); // a rate that the source does not know stays so
    _GFX_FRAME_RATES rates{none, none, none, none};
    Absence why = Absence::first_sample;
    Reading interval = absent(Absence::first_sample);
    const auto now = std::chrono::steady_clock::now();
    if (!last_frame_sample_) {
        KT3_ENTRY(library_, fps_init)();
        why = why_no_rates() == Absence::unchanged ? why : why_no_rates();
        last_frame_sample_ = now;
    } else if (KT3_ENTRY(library_, get_fps_info)(&rates) == 0) {
        why = Absence::driver;
        interval = {rounded(std::chrono::duration<double>(now - *last_frame_sample_).count())};
        last_frame_sample_ = now;
    } else {
        why = why_no_rates();
    }
    const bool by_module = *KT3_OBJECT(library_, use_IOCTL_get_fps) == 1;
    facts.push_back({"frames", "source", "Counted by", "", {by_module ? "module" : "nodes"}});
    for (const RateRow& row : kRates) {
        const float rate = rates.*row.member;
        facts.push_back(
            {"frames", row.key, row.label, "/s", std::isfinite(rate) ? Reading{rounded(rate)} : absent(why)});
    }
    if (!interval.present()) {
        interval = absent(why);
    }
    facts.push_back({"frames", "interval_s", "Interval", "s", interval});
}

void ModuleSampler::add_bandwidth(std::vector<NamedFact>& facts) const {
    Roomy<_GFX_BANDWIDTH_INFO> bandwidth;
    mark_unwritten(bandwidth.record);
    if (bandwidth_) {
        KT3_ENTRY(library_, get_bandwidth_info)(&bandwidth.record);
    }
    add_words(facts, "bandwidth", kBandwidthWords, bandwidth_ ? bandwidth.record.word : nullptr);
}

std::vector<NamedFact> ModuleSampler::sample() {
    std::vector<NamedFact> facts;
    add_busy(facts);
    add_frames(facts);
    add_bandwidth(facts);
    check_interrupt();
    return facts;
}

std::vector<NamedFact> no_module_facts(Absence why) {
    std::vector<NamedFact> facts{{"busy", "interface", "Interface", "", {}}};
    add_words(facts, "busy", kBusyWords, nullptr);
    facts.push_back({"frames", "source", "Counted by", "", {}});
    for (const RateRow& row : kRates) {
        facts.push_back({"frames", row.key, row.label, "/s", {}});
    }
    facts.push_back({"frames", "interval_s", "Interval", "s", {}});
    add_words(facts, "bandwidth", kBandwidthWords, nullptr);
    for (NamedFact& fact : facts) {
        fact.reading = absent(why);
    }
    return facts;
}

} // namespace kt3::observe
