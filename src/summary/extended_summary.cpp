// SPDX-License-Identifier: MIT
#include "summary/extended_summary.hpp"

#include "interface/logging.hpp"
#include "summary/gpuinfo_keys.hpp"
#include "support/bounded_copy.hpp"
#include "support/text_scan.hpp"

#include <cstdio>
#include <cstring>

namespace kt3::summary {
namespace {

using Extended = _GPU_ADAPTER_SUMMARY_EXT2;

std::uint64_t three_parts(const char* at) {
    std::uint32_t part[3] = {};
    std::sscanf(at, "%x.%x.%x", &part[0], &part[1], &part[2]);
    return std::uint64_t{part[0]} << 32 | std::uint64_t{part[1]} << 16 | part[2];
}

std::uint64_t four_parts(const char* at) {
    std::uint32_t part[4] = {};
    std::sscanf(at, "%x.%x.%x.%x", &part[0], &part[1], &part[2], &part[3]);
    return std::uint64_t{part[0]} << 48 | std::uint64_t{part[1]} << 32 | std::uint64_t{part[2]} << 16 | part[3];
}

std::uint64_t packed_resolution(const char* at) {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t refresh = 0;
    std::sscanf(at, "%d x %d@%d", &width, &height, &refresh);
    const auto bits = [](std::int32_t value) { return std::uint64_t{static_cast<std::uint32_t>(value)}; };
    return bits(width) << 48 | bits(height) << 32 | bits(refresh);
}

// Stores what the text after a key says. Without a number there a plain field stays as it was; the parts of a packed
// one that the text breaks off before are 0.
void store(Extended& record, const GpuinfoKey& row, const char* at) {
    const auto number = [&]() -> std::uint32_t& { return record.*std::get<0>(row.field); };
    const auto packed = [&]() -> std::uint64_t& { return record.*std::get<1>(row.field); };
    switch (row.scan) {
    case GpuinfoScan::number:
        number() = support::scan_unsigned(at).value_or(number());
        break;
    case GpuinfoScan::signed_number:
        number() = static_cast<std::uint32_t>(support::scan_int(at).value_or(static_cast<std::int32_t>(number())));
        break;
    case GpuinfoScan::version_of_three:
        packed() = three_parts(at);
        break;
    case GpuinfoScan::version_of_four:
        packed() = four_parts(at);
        break;
    case GpuinfoScan::resolution:
        packed() = packed_resolution(at);
        break;
    case GpuinfoScan::line:
        support::copy_terminated(record.*std::get<2>(row.field), std::string_view(at, std::strcspn(at, "\n")));
        break;
    }
}

void parse(const GpuinfoPage& page, GpuinfoRead read, Extended& record) {
    for (const GpuinfoKey& row : kGpuinfoKeys) {
        if (row.read != read) {
            continue;
        }
        const char* at = page.after(row.key);
        if (at == nullptr && row.second_key != nullptr) {
            at = page.after(row.second_key);
        }
        if (at != nullptr) {
            store(record, row, at);
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
    parse(page, GpuinfoRead::once, record);
}

void parse_fresh_values(const GpuinfoPage& page, Extended& record) {
    parse(page, GpuinfoRead::always, record);
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
