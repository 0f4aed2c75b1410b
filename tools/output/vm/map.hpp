#pragma once
// What the allocation nodes of a process make of its GPU address space.

#include "observe/vm/dumps.hpp"
#include "output/text_table.hpp"

namespace kt3::cli {

// Addresses from `start` up to, and without, `end`.
struct Span {
    std::uint64_t start = 0;
    std::uint64_t end = 0;

    [[nodiscard]] std::uint64_t size() const { return end - start; }
};

struct AddressSpace {
    std::int64_t pid = 0;
    std::string name;
    std::vector<VmNode> nodes;  // by address, without empty ones
    std::vector<Span> ranges;   // used; nodes that touch or overlap make one range
    std::vector<Span> holes;    // between the ranges
    std::vector<Span> overlaps; // used more than once
    std::uint64_t used = 0;     // bytes in the ranges

    // Ranges with their holes, parted at holes larger than all that is used.
    std::vector<Span> regions;
};

// By process id.
[[nodiscard]] std::vector<AddressSpace> address_spaces(const std::vector<VmNode>& nodes);

// A bar for each region, then ranges, holes and overlaps, the largest first.
[[nodiscard]] std::string map_text(const AddressSpace& space, bool color);

// One character for each of `cells` equal parts of the region: "#" used, "+" used in part, "!" overlap, "." hole.
[[nodiscard]] std::string region_bar(const AddressSpace& space, const Span& region, std::size_t cells);

[[nodiscard]] Table span_rows(const std::vector<AddressSpace>& spaces);
[[nodiscard]] Json space_json(const AddressSpace& space);

} // namespace kt3::cli
