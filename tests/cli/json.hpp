// SPDX-License-Identifier: MIT
#pragma once
// What kt3 printed as JSON, to be looked into. Compiled once in json.cpp, as the headers of the parser are large.

#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

extern template class nlohmann::basic_json<>;

// How a failed comparison shows it.
namespace nlohmann {
void PrintTo(const json& value, std::ostream* out);
}

namespace kt3::tests {

using nlohmann::json;

// Throws when the text is not JSON, which fails the test.
[[nodiscard]] json parse_json(const std::string& text);

} // namespace kt3::tests
