#pragma once
// What the driver's nodes say about one adapter, as groups of named facts.

#include "kt3/session.hpp"

#include <vector>

namespace kt3::cli {

struct NamedFact {
    const char* group; // object in JSON, heading on screen
    const char* key;   // in JSON; carries the unit
    const char* label; // on screen
    const char* unit;  // on screen
    Reading reading;
};

// Clocks, sensors and memory; needs no bound adapter. The same facts in the same order for every chip.
[[nodiscard]] std::vector<NamedFact> read_live_facts(Session& session, const Adapter& adapter);

// Versions that the driver publishes.
[[nodiscard]] std::vector<NamedFact> read_versions(const Adapter& adapter);

// Adds "group": {"key": ..., "key_reason": ...} for each fact.
void put_facts(Json& object, const std::vector<NamedFact>& facts);

// The fact with this key; there must be one.
[[nodiscard]] const NamedFact& fact_named(const std::vector<NamedFact>& facts, std::string_view key);

} // namespace kt3::cli
