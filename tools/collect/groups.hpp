// SPDX-License-Identifier: MIT
#pragma once
// How each group of values is read in the reader process, and where it goes in a look.

#include "collect/observation.hpp"
#include "observe/adapter/binding.hpp"

#include <memory>

namespace kt3::collect {

// An adapter in the process that reads it.
struct Subject {
    const observe::Library& library;
    observe::Machine& machine;
    const observe::Adapter& adapter;
    std::unique_ptr<observe::Binding> binding;
    std::unique_ptr<observe::ModuleSampler> sampler;
    std::unique_ptr<observe::LeakWatcher> watcher;
    int leak_looks = 0; // of the watcher
};

struct GroupRow {
    const char* name;
    const char* words; // what is being read
    bool needs_binding;
    bool whole;                     // there as a whole or not at all, with the failure in its place
    Json (*read)(Subject& subject); // in the reader; throws Failure
    void (*take)(Observation& look, const Json& value);
    void (*refuse)(Observation& look, observe::Absence why, const observe::Failure& failure);
};

[[nodiscard]] const GroupRow& row_of(Group group);

} // namespace kt3::collect
