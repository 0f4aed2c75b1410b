#include "output/adapter.hpp"

namespace kt3::output {

Json identity_of(const observe::Adapter& adapter) {
    Json object = {
        {"slot", adapter.slot},
        {"name", adapter.name},
        {"family", adapter.family == nullptr ? "other" : adapter.family->name},
        {"chip_id", adapter.chip_id},
        {"vendor_id", adapter.vendor_id},
        {"bdf", bus_text(adapter.bus)},
        {"drm_card", adapter.card},
    };
    put(object, "va_driver", adapter.va_driver);
    object["luid_high"] = adapter.luid_high;
    object["luid_low"] = adapter.luid_low;
    return object;
}

void put_facts(Json& object, const std::vector<observe::NamedFact>& facts) {
    for (const observe::NamedFact& fact : facts) {
        put(object[fact.group], fact.key, fact.reading);
    }
}

} // namespace kt3::output
