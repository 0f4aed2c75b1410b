// SPDX-License-Identifier: MIT
#pragma once
// Lines that the library prints to standard output. Some are the only sign that an answer is not what it seems.

#include "observe/library/library.hpp"

#include <functional>

namespace kt3::observe {

struct LibraryLines {
    bool reread = false;     // an allocation vanished while it was read: the answer holds a part of them twice
    bool overflow = false;   // more devices than the answer can hold
    bool misplaced = false;  // allocations in no valid segment, which no sum counts
    bool unlisted = false;   // a directory of the driver could not be opened
    bool unreadable = false; // a device vanished while it was read, or may not be read
    bool unslotted = false;  // there are more graphics adapters than slots
};

// What the library printed during the calls. Lines that stand for none of these are shown, when its words are wanted
// all of them. Exceptions of the calls pass through.
LibraryLines lines_during(const Library& library, const std::function<void()>& calls);

} // namespace kt3::observe
