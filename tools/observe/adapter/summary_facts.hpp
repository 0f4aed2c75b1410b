#pragma once
// The two summaries of an adapter as named facts. The library answers 0 or KT3_ABSENT for whatever it cannot read; such
// a value is looked into, to tell a real one from an absent one.

#include "observe/adapter/adapter_facts.hpp"

#include <vector>

namespace kt3::observe {

// What the summary knows beyond the driver's nodes: memory, display outputs and link. Runs the system's memory tool.
[[nodiscard]] std::vector<NamedFact> read_summary(const Library& library, Machine& machine, const Adapter& adapter);

// The driver's page of the adapter: versions unpacked, fill rates, resolutions as 3840x2160@60, usages, temperature.
[[nodiscard]] std::vector<NamedFact> read_extended_summary(const Library& library, Machine& machine,
                                                           const Adapter& adapter);

} // namespace kt3::observe
