// SPDX-License-Identifier: MIT
#include "cli/json.hpp"

#include <ostream>

template class nlohmann::basic_json<>;

namespace nlohmann {
void PrintTo(const json& value, std::ostream* out) {
    *out << value.dump();
}
} // namespace nlohmann

namespace kt3::tests {

json parse_json(const std::string& text) {
    return json::parse(text);
}

} // namespace kt3::tests
