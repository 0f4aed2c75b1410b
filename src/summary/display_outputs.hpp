// SPDX-License-Identifier: MIT
#pragma once
// How many display outputs an adapter has and of which types.

#include "summary/gpuinfo_page.hpp"
#include "summary/summary_state.hpp"

#include <cstdint>
#include <optional>

namespace kt3::summary {

struct DisplayOutputs {
    std::uint32_t ports = 0;
    std::uint32_t types = 0; // values of support_CONNECT_type_list, or-ed
};

// From the driver's page. Nothing when the page is about another chip or names no port or no known type; a line of
// types that is too long is reported on standard output.
std::optional<DisplayOutputs> outputs_in_page(const GpuinfoPage& page, std::int32_t chip_id);

// From the names in the adapter's connector directory; a missing one is reported on standard output.
DisplayOutputs count_connectors(std::int32_t card);

} // namespace kt3::summary
