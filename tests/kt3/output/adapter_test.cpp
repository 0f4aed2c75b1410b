// SPDX-License-Identifier: MIT
#include "output/adapter.hpp"

using namespace kt3::observe;
using namespace kt3::output;

TEST(Identity, HasTheSameKeysForAForeignGpu) {
    std::vector<Adapter> adapters(2);
    adapters[0].family = kt3::adapter::find_family(0x7A52);
    const auto keys = [](const Json& object) {
        std::vector<std::string> names;
        for (const auto& [key, value] : object.items()) {
            names.push_back(key);
        }
        return names;
    };
    EXPECT_EQ(keys(identity_of(adapters[0])), keys(identity_of(adapters[1])));
    EXPECT_EQ(identity_of(adapters[1])["va_driver_reason"], "not_on_this_chip");
}
