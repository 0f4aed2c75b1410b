// SPDX-License-Identifier: MIT
#pragma once
// What all readings of a run have in common.

#include <string>

namespace kt3::collect {

struct Settings {
    std::string library;                                               // the shared object; empty: search
    bool verbose = false;                                              // what it prints is wanted
    bool wake = false;                                                 // adapters that sleep are read, too
    double timeout = 2;                                                // seconds that a look may take
    void (*show)(const std::string& line) = [](const std::string&) {}; // gets the library's words
};

} // namespace kt3::collect
