// SPDX-License-Identifier: MIT
#pragma once
// JSON values; objects keep the order in which their members came. Their members are compiled once, in json.cpp: in
// every file that uses them they would be a third of its code.

#include <nlohmann/json.hpp>

extern template class nlohmann::basic_json<nlohmann::ordered_map>;

namespace kt3::output {

using Json = nlohmann::ordered_json;

} // namespace kt3::output
