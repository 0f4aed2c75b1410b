// SPDX-License-Identifier: MIT
#include "summary/segments.hpp"

#include "adapter/binding_state.hpp"
#include "adapter/chip_table.hpp"
#include "adapter/current_adapter.hpp"
#include "allocation/bound_tree.hpp"
#include "allocation/sums.hpp"
#include "interface/say_line.hpp"
#include "nodes/node_table.hpp"
#include "summary/summary_state.hpp"
#include "support/file_reading.hpp"
#include "support/text_scan.hpp"

#include <cstdio>
#include <string_view>

namespace kt3::summary {
namespace {

constexpr std::int32_t kPageBytes = 512;

// A page as the driver writes it; the byte after it ends every scan.
struct Page {
    char text[kPageBytes + 1] = {};
};

struct Heap {
    const char* page;
    std::size_t slot;
};

constexpr Heap kHeaps[] = {
    {"heap_invalid/info", 0},
    {"heap_local/info", 1},
    {"heap_pcie_unsnoop/info", 2},
    {"heap_pcie_snoop/info", 3},
};
constexpr std::size_t kOtherSegments = 4;

// Total segment size:  8589934592
// Bytes after the key as MiB in 32 bits: sizes of 4 GiB and more wrap, and clients see the wrapped number. False when
// the page lacks the key; a key without a number leaves the word as it was.
bool scan_mib(const Page& page, std::string_view key, std::uint32_t& word) {
    const std::int32_t at = support::find_after(page.text, kPageBytes, key);
    if (at < 0) {
        return false;
    }
    if (const auto bytes = support::scan_unsigned(page.text + at)) {
        word = *bytes >> 20;
    }
    return true;
}

// Segments from the fifth on are shown as one; the later slots keep their own numbers.
void fold_into_fifth(std::uint32_t (&words)[KT3_SEGMENTS], std::size_t count) {
    for (std::size_t id = kOtherSegments + 1; id < count; ++id) {
        words[kOtherSegments] += words[id];
    }
}

// "total_size:1000000,used_size:500000," in thousandths. A number that is missing leaves its word as it was before it
// is divided.
void scan_segment(const char* text, std::uint32_t& total, std::uint32_t& used) {
    std::sscanf(text, "total_size:%u,used_size:%u", &total, &used);
    total /= 1000;
    used /= 1000;
}

// False when the page cannot be read. A heap without a page leaves the numbers of the one before in `page`.
bool read_heap_page(int heaps, const char* name, Page& page) {
    const support::Fd file = support::open_for_reading(heaps, name);
    return !file || !support::read_whole(file.get(), page.text, kPageBytes).failed;
}

// Adds to words 0 to 4 the MiB of the bound adapter's allocations.
bool add_allocations(_GFX_SEGMENT_INFO& segments) {
    std::uint32_t totals[KT3_SEGMENT_SLOTS] = {};
    const bool taken =
        allocation::read_segment_totals(allocation::bound_tree(adapter::binding_state().va_driver), totals);
    for (std::size_t slot = 0; slot < std::size(totals); ++slot) {
        segments.used_size[slot] += totals[slot];
    }
    return taken;
}

} // namespace

bool choose_segment_source(const find_adapter* record) {
    SegmentSource& source = summary_state().segment_source;
    source = SegmentSource::allocations;
    if (record == nullptr || !adapter::is_slot(record->current_index)) {
        return false;
    }
    _GFX_SEGMENT_INFO scratch = {};
    const bool newer = adapter::is_newer_family(record->chip_id[record->current_index]);
    const bool answered = newer ? read_segment_node(scratch) : read_heap_pages(adapter::debugfs_directory(), scratch);
    if (answered) {
        source = newer ? SegmentSource::node : SegmentSource::heap_pages_and_allocations;
    }
    return answered;
}

bool parse_segment_page(std::span<const char> page, _GFX_SEGMENT_INFO& segments) {
    std::size_t count = 0;
    while (count < KT3_SEGMENTS) {
        char key[50];
        std::snprintf(key, sizeof key, "segment_id:%zu,", count);
        const std::int32_t at = support::find_after(page.data(), static_cast<std::int32_t>(page.size()), key);
        if (at < 0) {
            break;
        }
        scan_segment(page.data() + at, segments.total_size[count], segments.used_size[count]);
        ++count;
    }
    fold_into_fifth(segments.used_size, count);
    fold_into_fifth(segments.total_size, count);
    return count > 0;
}

bool read_segment_node(_GFX_SEGMENT_INFO& segments) {
    constexpr std::size_t kShortestNode = 20;
    const gpu_infos* current = adapter::current_adapter();
    Page page;
    if (current == nullptr || support::read_page_at(current->info_fd, nodes::kDriverNodes[nodes::kSegmentInfo],
                                                    page.text, kPageBytes) < kShortestNode) {
        return false;
    }
    return parse_segment_page(std::span(page.text, kPageBytes), segments);
}

bool read_heap_pages(const char* driver_directory, _GFX_SEGMENT_INFO& segments) {
    char path[1024];
    std::snprintf(path, sizeof path, "%s/%s", driver_directory, "heaps");
    const support::Fd heaps(::open(path, O_RDONLY | O_CLOEXEC));
    if (!heaps) {
        interface::say_line("Error opening directory");
        return false;
    }
    Page page; // not cleared from heap to heap
    for (const Heap& heap : kHeaps) {
        if (!read_heap_page(heaps.get(), heap.page, page) ||
            !scan_mib(page, "Total segment size:  ", segments.total_size[heap.slot]) ||
            !scan_mib(page, "KMD used segment memory:  ", segments.used_size[heap.slot])) {
            return false;
        }
    }
    segments.used_size[kOtherSegments] = 0;
    segments.total_size[kOtherSegments] = 0;
    return true;
}

std::int32_t read_segments(_GFX_SEGMENT_INFO& segments) {
    segments = {};
    const SegmentSource source = summary_state().segment_source;
    if (source == SegmentSource::node) {
        return read_segment_node(segments) ? 1 : -1;
    }
    if (source == SegmentSource::heap_pages_and_allocations) {
        read_heap_pages(adapter::debugfs_directory(), segments); // pages that fail leave the sums alone
    }
    return add_allocations(segments) ? 0 : -1;
}

} // namespace kt3::summary
