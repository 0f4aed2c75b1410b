// SPDX-License-Identifier: MIT
#include "output/json.hpp"

template class nlohmann::basic_json<nlohmann::ordered_map>;
