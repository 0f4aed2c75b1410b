// SPDX-License-Identifier: MIT
#include "observe/memory/segments.hpp"

#include "observe/adapter/nodes.hpp"
#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "observe/memory/allocations.hpp"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

// By the value of SegmentSource. The node's figures are thousands of bytes, and the library hands out thousandths of
// them; heap pages and allocations are read here, to the byte.
constexpr std::int64_t kUnits[] = {1'000'000, 1, 1 << 20};

constexpr int kFoldedInto = 4; // this segment's figures include those of the later ones

struct Heap {
    const char* name;
    const char* page; // below the driver's debugfs directory; null for what no page tells of
};

// By the number of the segment.
constexpr Heap kHeaps[] = {
    {"invalid", "heaps/heap_invalid/info"},
    {"local", "heaps/heap_local/info"},
    {"pcie unsnooped", "heaps/heap_pcie_unsnoop/info"},
    {"pcie snooped", "heaps/heap_pcie_snoop/info"},
    {"others", nullptr},
};
constexpr const char* kHeapSizeKey = "Total segment size:";
constexpr const char* kHeapUsedKey = "KMD used segment memory:";

SegmentSource choose_source(const Library& library, Machine& machine, const Adapter& adapter) {
    machine.record.current_index = adapter.slot;
    const auto init = KT3_ENTRY(library, segment_init);
    std::int32_t answer = 0;
    lines_during(library, [&] { answer = init(&machine.record); });
    check_interrupt();
    if (answer <= 0) {
        return SegmentSource::allocation_sums;
    }
    return adapter.family->vendor == adapter::kNewerVendor ? SegmentSource::node : SegmentSource::heap_pages;
}

// The node tells how many there are only by what is not 0.
int segment_count(const _GFX_SEGMENT_INFO& words, SegmentSource source) {
    int count = source == SegmentSource::node ? 0 : KT3_SEGMENT_SLOTS;
    for (int at = count; at < KT3_SEGMENTS; ++at) {
        count = words.total_size[at] != 0 || words.used_size[at] != 0 ? at + 1 : count;
    }
    return count;
}

std::optional<std::string> name_of(int at, int count, SegmentSource source) {
    if (source == SegmentSource::allocation_sums) {
        return at == kFoldedInto ? std::optional<std::string>("and all later ones") : std::nullopt;
    }
    if (at > kFoldedInto) {
        return fmt::format("part of {}", kFoldedInto);
    }
    return at == kFoldedInto && count > kFoldedInto + 1 ? std::optional<std::string>("with all later ones")
                                                        : std::nullopt;
}

std::vector<Segment> segments_of(const _GFX_SEGMENT_INFO& words, SegmentSource source, std::int64_t unit) {
    const int count = segment_count(words, source);
    std::vector<Segment> segments;
    for (int at = 0; at < count; ++at) {
        Segment& segment = segments.emplace_back();
        segment.number = at;
        segment.name = name_of(at, count, source);
        segment.used = words.used_size[at] * unit;
        if (words.total_size[at] != 0) {
            segment.total = words.total_size[at] * unit;
        }
        if (source == SegmentSource::node && at > kFoldedInto) {
            segment.part_of = kFoldedInto;
        }
    }
    return segments;
}

Failure counted_twice(const Adapter& adapter) {
    return {ExitStatus::failure, "unstable",
            fmt::format("allocations of GPU {} were freed while they were read; sums are too high", adapter.slot),
            "try again"};
}

Reading<std::int64_t> bytes_after(std::string_view page, const char* key) {
    const auto at = page.find(key);
    return at == std::string_view::npos ? Reading<std::int64_t>(Absence::no_node)
                                        : number_in(page.substr(at + std::strlen(key)));
}

// Takes what the page of a heap says; what the driver itself uses counts as used. The library keeps 32 bits of these.
void add_heap_page(const Adapter& adapter, const Heap& heap, AdapterSegments& read) {
    const std::string path =
        fmt::format("/sys/kernel/debug/dri/{}/{}/{}", adapter.card, adapter.family->token, heap.page);
    const Reading<std::string> page = read_page(AT_FDCWD, path.c_str());
    const auto number = [&](const char* key) {
        return page.present() ? bytes_after(page.value(), key) : Reading<std::int64_t>(page.absence());
    };
    const Reading<std::int64_t> total = number(kHeapSizeKey);
    const Reading<std::int64_t> used = number(kHeapUsedKey);
    Segment& segment = read.segments.back();
    if (!total.present() || !used.present()) {
        const Absence why = total.present() ? used.absence() : total.absence();
        segment.used = std::nullopt;
        read.failures.push_back({why == Absence::permission ? ExitStatus::permission : ExitStatus::failure,
                                 reason_code(why), fmt::format("{}: {}", path, reason_words(why)), "", adapter.slot});
        return;
    }
    *segment.used += used.value();
    if (total.value() != 0) {
        segment.total = total.value();
    }
}

// The driver's pages tell of four heaps; allocations lie in them and in others.
void read_heaps(const Library& library, Machine& machine, const Adapter& adapter, AdapterSegments& read) {
    std::array<std::int64_t, std::size(kHeaps)> allocated{};
    for (const _GFX_ALLOCATION_INFO& allocation : read_allocations(library, machine, adapter)) {
        if (const auto slot = segment_slot(allocation.segmentid)) {
            allocated[*slot] += bytes_of(allocation.size);
        }
    }
    for (std::size_t at = 0; at < std::size(kHeaps); ++at) {
        Segment& segment = read.segments.emplace_back();
        segment.number = static_cast<std::int64_t>(at);
        segment.name = kHeaps[at].name;
        segment.used = allocated[at];
        if (kHeaps[at].page != nullptr) {
            add_heap_page(adapter, kHeaps[at], read);
        }
    }
}

} // namespace

AdapterSegments read_segments(const Library& library, Machine& machine, const Adapter& adapter) {
    AdapterSegments read;
    read.slot = adapter.slot;
    read.bus = adapter.bus;
    read.source = choose_source(library, machine, adapter);
    read.unit = kUnits[static_cast<std::size_t>(read.source)];
    if (read.source == SegmentSource::heap_pages) {
        read_heaps(library, machine, adapter, read);
        return read;
    }
    const auto get = KT3_ENTRY(library, get_segment_info);
    _GFX_SEGMENT_INFO words{};
    std::int32_t answer = 0;
    const LibraryLines lines = lines_during(library, [&] { answer = get(&words); });
    check_interrupt();
    if (answer < 0) {
        read.failures.push_back(unreadable(adapter, "allocations", "the allocations"));
        if (read.source == SegmentSource::allocation_sums) {
            throw Failure(read.failures.front());
        }
    } else if (lines.reread) {
        read.failures.push_back(counted_twice(adapter));
    }
    read.segments = segments_of(words, read.source, read.unit);
    return read;
}

} // namespace kt3::observe
