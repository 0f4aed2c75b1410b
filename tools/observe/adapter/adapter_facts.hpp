#pragma once
// What the driver's nodes say about one adapter, as groups of named facts.

#include "observe/adapter/machine.hpp"

#include <vector>

namespace kt3::observe {

struct NamedFact {
    const char* group; // object in JSON, heading on screen
    const char* key;   // in JSON; carries the unit
    const char* label; // on screen
    const char* unit;  // on screen
    Reading reading;
};

// Clocks, sensors and memory; needs no bound adapter. The same facts in the same order for every chip.
[[nodiscard]] std::vector<NamedFact> read_live_facts(const Library& library, Machine& machine, const Adapter& adapter);

// Versions that the driver publishes.
[[nodiscard]] std::vector<NamedFact> read_versions(const Adapter& adapter);

// The fact with this key; there must be one.
[[nodiscard]] const NamedFact& fact_named(const std::vector<NamedFact>& facts, std::string_view key);

} // namespace kt3::observe
