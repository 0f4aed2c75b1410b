// SPDX-License-Identifier: MIT
#include "output/adapter.hpp"

#include <fmt/format.h>

namespace kt3::output {

const char* family_name(const Adapter& adapter) {
    return adapter.family == nullptr ? "other" : adapter.family->name;
}

std::string card_name(const Adapter& adapter) {
    return fmt::format("card{}", adapter.card);
}

Json identity_of(const Adapter& adapter) {
    return object_of(kAdapterColumns, adapter);
}

} // namespace kt3::output
