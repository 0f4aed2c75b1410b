#include "summary/extended_summary.hpp"

#include "interface/logging.hpp"
#include "support/bounded_copy.hpp"
#include "support/text_scan.hpp"

#include <cstdio>
#include <cstring>

namespace kt3::summary {
namespace {

using Extended = _GPU_ADAPTER_SUMMARY_EXT2;

// How the text behind a key is read. Numbers that a text breaks off before stay 0 in what is packed.
template<auto Member>
void number(Extended& record, const char* at) {
    record.*Member = support::scan_unsigned(at).value_or(record.*Member);
}

// Converted as a signed number, which saturates at other bounds.
template<auto Member>
void signed_number(Extended& record, const char* at) {
    if (const auto value = support::scan_int(at)) {
        record.*Member = static_cast<std::uint32_t>(*value);
    }
}

// 1.2.3
template<auto Member>
void version_of_three(Extended& record, const char* at) {
    std::uint32_t part[3] = {};
    std::sscanf(at, "%x.%x.%x", &part[0], &part[1], &part[2]);
    record.*Member = std::uint64_t{part[0]} << 32 | std::uint64_t{part[1]} << 16 | part[2];
}

// 1.2.3.4
template<auto Member>
void version_of_four(Extended& record, const char* at) {
    std::uint32_t part[4] = {};
    std::sscanf(at, "%x.%x.%x.%x", &part[0], &part[1], &part[2], &part[3]);
    record.*Member =
        std::uint64_t{part[0]} << 48 | std::uint64_t{part[1]} << 32 | std::uint64_t{part[2]} << 16 | part[3];
}

// 3840 x 2160@60
template<auto Member>
void resolution(Extended& record, const char* at) {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t refresh = 0;
    std::sscanf(at, "%d x %d@%d", &width, &height, &refresh);
    const auto bits = [](std::int32_t value) { return std::uint64_t{static_cast<std::uint32_t>(value)}; };
    record.*Member = bits(width) << 48 | bits(height) << 32 | bits(refresh);
}

template<auto Member>
void line(Extended& record, const char* at) {
    support::copy_terminated(record.*Member, std::string_view(at, std::strcspn(at, "\n")));
}

enum class Read { once, always };

struct PageKey {
    Read read;
    const char* key;
    const char* second_key; // looked for when the first is absent, or null
    void (*take)(Extended&, const char*);
};

// clang-format off
constexpr PageKey kPageKeys[] = {
    {Read::once,   "Driver Version : ",              nullptr, version_of_three<&Extended::driver_version>},
    {Read::once,   "Firmware Version : ",            nullptr, version_of_four<&Extended::firmware_version>},
    {Read::once,   "Firmware Name : ",               nullptr, line<&Extended::firmware_name>},
    {Read::once,   "Pixel Fillrate : ",              nullptr, number<&Extended::pixel_fill_rate>},
    {Read::once,   "Texture Fillrate : ",            nullptr, number<&Extended::texture_fill_rate>},
    {Read::once,   "HDMI Max Display Resolution : ", "DP Max Display Resolution : ",
                                                              resolution<&Extended::max_resolution>},
    {Read::once,   "VGA Max Display Resolution : ",  nullptr, resolution<&Extended::vga_max_resolution>},
    {Read::once,   "Bus Type : PCIE",                nullptr, signed_number<&Extended::pcie_generation>}, // 3.0 x16
    {Read::always, "Memory Clock Freq : ",           nullptr, number<&Extended::memory_clock_freq>},
    {Read::always, "GPU Memory Usage : ",            nullptr, number<&Extended::memory_usage>},
    {Read::always, "GPU Use Rate(3d) : ",            nullptr, number<&Extended::use_rate_3d>},
    {Read::always, "GPU Use Rate(video) : ",         nullptr, number<&Extended::use_rate_video>},
    {Read::always, "GPU Use Rate(vpp) : ",           nullptr, number<&Extended::use_rate_vpp>},
    {Read::always, "Realtime Temperature : ",        nullptr, number<&Extended::temperature>},
};
// clang-format on

void parse(const GpuinfoPage& page, Read read, Extended& record) {
    for (const PageKey& row : kPageKeys) {
        if (row.read != read) {
            continue;
        }
        const char* at = page.behind(row.key);
        if (at == nullptr && row.second_key != nullptr) {
            at = page.behind(row.second_key);
        }
        if (at != nullptr) {
            row.take(record, at);
        }
    }
}

// A page that cannot be read at first is not asked again for this chip.
void gather_facts(SummaryState& state, const SummaryAdapter& adapter) {
    state.extended = {};
    const GpuinfoPage page = read_gpuinfo_page(adapter.card);
    if (page.bytes > 0) {
        parse_kept_facts(page, state.extended);
        interface::log("cached_current_pcie_gen: %d\n", static_cast<std::int32_t>(state.extended.pcie_generation));
    }
    state.extended_chip = adapter.chip_id;
}

void mark_absent(Extended& record) {
    for (std::uint32_t* value : {&record.memory_usage, &record.use_rate_3d, &record.use_rate_video,
                                 &record.use_rate_vpp, &record.temperature}) {
        *value = KT3_ABSENT;
    }
}

} // namespace

void clear_extended_summary(Extended& record) {
    record = {};
    mark_absent(record);
}

void parse_kept_facts(const GpuinfoPage& page, Extended& record) {
    parse(page, Read::once, record);
}

void parse_fresh_values(const GpuinfoPage& page, Extended& record) {
    parse(page, Read::always, record);
}

void read_extended_summary(Extended& record, const SummaryAdapter& adapter) {
    SummaryState& state = summary_state();
    if (state.extended_chip != adapter.chip_id) {
        gather_facts(state, adapter);
    }
    const GpuinfoPage page = read_gpuinfo_page(adapter.card);
    if (page.bytes == 0) {
        return;
    }
    record = state.extended;
    mark_absent(record);
    parse_fresh_values(page, record);
}

} // namespace kt3::summary
