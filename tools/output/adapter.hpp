#pragma once
// Adapters and what is known of them in JSON.

#include "observe/adapter/adapter_facts.hpp"
#include "output/reading_text.hpp"

namespace kt3::output {

// slot, name, family, chip_id, vendor_id, bdf, drm_card, va_driver, luid_high, luid_low: the same keys for every chip.
[[nodiscard]] Json identity_of(const observe::Adapter& adapter);

// Adds "group": {"key": ..., "key_reason": ...} for each fact.
void put_facts(Json& object, const std::vector<observe::NamedFact>& facts);

} // namespace kt3::output
