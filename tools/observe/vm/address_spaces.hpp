// SPDX-License-Identifier: MIT
#pragma once
// What the allocation nodes of a process make of its GPU address space.

#include "observe/vm/dumps.hpp"

namespace kt3::observe {

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

} // namespace kt3::observe
