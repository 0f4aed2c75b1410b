// SPDX-License-Identifier: MIT
#pragma once
// Looks at the allocations of a bound adapter again and again, to see which shapes grow.

#include "observe/memory/allocations.hpp"

#include <map>

namespace kt3::observe {

// Allocations of one shape over all looks.
struct LeakGroup {
    std::int64_t live = 0;  // at the latest look
    std::int64_t first = 0; // at the first look
    std::int64_t before = 0;
    int lived = 0;   // consecutive looks that saw its first allocation
    int growing = 0; // looks in a row, up to the latest, each of which found more than the one before
    int longest = 0; // the longest such row
    std::map<std::int32_t, std::int64_t> devices; // live ones of each

    [[nodiscard]] std::int64_t growth() const { return live - first; }
};
using LeakGroups = std::map<Shape, LeakGroup>;

struct LeakWatch {
    int looks = 5;
    double wait = 1; // seconds between two looks
    int gate = 0;    // looks in a row that make a leak; 0: all of them, and more than one
};

// One adapter, over all looks. The library remembers the allocations of the look before, so there is one in a process.
class LeakWatcher {
public:
    LeakWatcher(const Library& library, const Adapter& adapter) : library_(library), adapter_(adapter) {}

    // Throws Failure when it cannot look.
    void look();

    [[nodiscard]] const LeakGroups& groups() const { return groups_; }

private:
    const Library& library_;
    const Adapter& adapter_;
    LeakGroups groups_;
    bool first_ = true;
};

[[nodiscard]] bool leaks(const LeakGroup& group, const LeakWatch& watch);

// The holders of a group, the largest first, with their live allocations.
[[nodiscard]] std::vector<std::pair<Owner, std::int64_t>> owners_of(const LeakGroup& group, const OpenDevices& devices);

} // namespace kt3::observe
