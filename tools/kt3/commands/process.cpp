// kt3 process: who holds how much of an adapter's memory. The sums are the library's 64-bit ones.

#include "kt3/adapter_choice.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/command_table.hpp"
#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/memory/allocations.hpp"
#include "output/memory.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <numeric>

namespace kt3::cli {
namespace {

using Sums = std::array<std::int64_t, KT3_SEGMENT_SLOTS>;

struct Holder {
    Owner owner;
    Sums segments{};
};

std::int64_t total_of(const Holder& holder) {
    return std::accumulate(holder.segments.begin(), holder.segments.end(), std::int64_t{0});
}

using SumsByDevice = std::map<std::int32_t, Sums>;

// Each allocation once, whatever happened while they were read.
SumsByDevice add_up(const Allocations& allocations) {
    SumsByDevice sums;
    for (const _GFX_ALLOCATION_INFO& allocation : allocations) {
        Sums& segments = sums[allocation.device];
        if (const auto slot = segment_slot(allocation.segmentid)) {
            segments[*slot] += bytes_of(allocation.size);
        }
    }
    return sums;
}

// The library's sums, unless its lines tell that they hold something twice or leave devices out.
SumsByDevice read_sums(Session& session, const Adapter& adapter) {
    const auto get = KT3_ENTRY(library_of(session), get_device_allocation_summary_ext1);
    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 entries[ALLOCATION_SUMMARY_MAX] = {};
    int result = 0;
    const LibraryLines lines = lines_during(library_of(session), [&] { result = get(entries); });
    check_interrupt();
    if (result < 0) {
        throw unreadable(adapter, "allocations", "the allocations");
    }
    if (lines.reread || lines.overflow) {
        return add_up(read_allocations(library_of(session), machine_of(session), adapter));
    }
    SumsByDevice sums;
    for (const _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1& entry : entries) {
        const bool used = std::any_of(std::begin(entry.segment_size), std::end(entry.segment_size),
                                      [](std::uint64_t bytes) { return bytes != 0; });
        if (used || entry.device != 0) { // what is behind the last entry is zero
            std::transform(std::begin(entry.segment_size), std::end(entry.segment_size), sums[entry.device].begin(),
                           [](std::uint64_t bytes) { return static_cast<std::int64_t>(bytes); });
        }
    }
    return sums;
}

// The devices of the map in its order, then those that only the allocations name.
std::vector<Holder> read_holders(Session& session, const Adapter& adapter) {
    const OpenDevices devices = open_devices(session, adapter);
    std::vector<Holder> holders;
    for (const OpenDevice& open : devices) {
        holders.push_back({{open.device, open.pid, open.name}});
    }
    for (const auto& [device, segments] : read_sums(session, adapter)) {
        const auto found = std::find_if(holders.begin(), holders.end(), [handle = device](const Holder& holder) {
            return holder.owner.device == handle;
        });
        if (found == holders.end()) {
            holders.push_back({owner_of(device, {}), segments});
        } else {
            found->segments = segments;
        }
    }
    std::stable_sort(holders.begin(), holders.end(),
                     [](const Holder& a, const Holder& b) { return total_of(a) > total_of(b); });
    return holders;
}

Json holder_object(const Adapter& adapter, const Holder& holder) {
    Json object = {{"slot", adapter.slot}};
    put_owner(object, holder.owner);
    object["segments_bytes"] = holder.segments;
    object["total_bytes"] = total_of(holder);
    return object;
}

void look_at(Session& session, const Adapter& adapter) {
    const bool csv = format_of(session) == Format::csv;
    const auto size = [&](std::int64_t bytes) { return csv ? std::to_string(bytes) : bytes_text(bytes); };
    Table table{{{"GPU", "slot", Align::right},
                 {"PID", "pid", Align::right},
                 {"DEVICE", "device", Align::right},
                 {"SEGMENT 0", "segment0_bytes", Align::right},
                 {"SEGMENT 1", "segment1_bytes", Align::right},
                 {"SEGMENT 2", "segment2_bytes", Align::right},
                 {"SEGMENT 3", "segment3_bytes", Align::right},
                 {"OTHERS", "other_segments_bytes", Align::right},
                 {"TOTAL", "total_bytes", Align::right},
                 {"PROCESS", "process"}},
                {}};
    for (const Holder& holder : read_holders(session, adapter)) {
        session.report.members["processes"].push_back(holder_object(adapter, holder));
        std::vector<std::string> row{std::to_string(adapter.slot), pid_text(holder.owner),
                                     std::to_string(holder.owner.device)};
        std::transform(holder.segments.begin(), holder.segments.end(), std::back_inserter(row), size);
        row.push_back(size(total_of(holder)));
        row.push_back(csv ? holder.owner.name : process_text(holder.owner));
        table.rows.push_back(row);
    }
    show_table(session, table, adapter_heading(session, adapter));
}

} // namespace

void add_process(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "process", "Show which processes hold how much memory of an adapter", options, chosen,
                {.gpu = true, .csv = true}, [](Session& session) {
                    session.report.members["processes"] = Json::array();
                    return for_each_bound(session, [&](const Adapter& adapter) { look_at(session, adapter); });
                });
}

} // namespace kt3::cli
