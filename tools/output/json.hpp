#pragma once
// JSON values; objects keep the order in which their members came.

#include <nlohmann/json.hpp>

namespace kt3::output {

using Json = nlohmann::ordered_json;

} // namespace kt3::output
