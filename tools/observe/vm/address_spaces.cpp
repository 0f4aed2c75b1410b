// SPDX-License-Identifier: MIT
#include "observe/vm/address_spaces.hpp"

#include <algorithm>
#include <map>

namespace kt3::observe {
namespace {

// Overlapping and touching spans become one. Sorted by start.
std::vector<Span> merged(const std::vector<Span>& spans) {
    std::vector<Span> all;
    for (const Span& span : spans) {
        if (!all.empty() && span.start <= all.back().end) {
            all.back().end = std::max(all.back().end, span.end);
        } else {
            all.push_back(span);
        }
    }
    return all;
}

std::vector<Span> spans_of(const std::vector<VmNode>& nodes) {
    std::vector<Span> spans;
    spans.reserve(nodes.size());
    for (const VmNode& node : nodes) {
        spans.push_back({node.gpu_va, node.gpu_va + node.size});
    }
    return spans;
}

// What a node shares with any of those before it.
std::vector<Span> overlaps_of(const std::vector<Span>& spans) {
    std::vector<Span> shared;
    std::uint64_t end = 0;
    for (const Span& span : spans) {
        if (span.start < end) {
            shared.push_back({span.start, std::min(span.end, end)});
        }
        end = std::max(end, span.end);
    }
    return merged(shared);
}

void add_holes_and_regions(AddressSpace& space) {
    for (const Span& range : space.ranges) {
        const bool first = space.regions.empty();
        const Span hole{first ? range.start : space.regions.back().end, range.start};
        if (!first) {
            space.holes.push_back(hole);
        }
        if (first || hole.size() > space.used) {
            space.regions.push_back(range);
        } else {
            space.regions.back().end = range.end;
        }
    }
}

AddressSpace space_of(std::vector<VmNode> nodes) {
    AddressSpace space;
    space.pid = nodes.front().pid;
    space.name = nodes.front().name;
    std::erase_if(nodes, [](const VmNode& node) { return node.size == 0; });
    std::stable_sort(nodes.begin(), nodes.end(),
                     [](const VmNode& left, const VmNode& right) { return left.gpu_va < right.gpu_va; });
    space.nodes = std::move(nodes);
    const std::vector<Span> spans = spans_of(space.nodes);
    space.ranges = merged(spans);
    space.overlaps = overlaps_of(spans);
    for (const Span& range : space.ranges) {
        space.used += range.size();
    }
    add_holes_and_regions(space);
    return space;
}

} // namespace

std::vector<AddressSpace> address_spaces(const std::vector<VmNode>& nodes) {
    std::map<std::int64_t, std::vector<VmNode>> by_process;
    for (const VmNode& node : nodes) {
        by_process[node.pid].push_back(node);
    }
    std::vector<AddressSpace> spaces;
    spaces.reserve(by_process.size());
    for (auto& [pid, own] : by_process) {
        spaces.push_back(space_of(std::move(own)));
    }
    return spaces;
}

} // namespace kt3::observe
