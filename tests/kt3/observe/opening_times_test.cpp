// SPDX-License-Identifier: MIT
#include "observe/memory/opening_times.hpp"

using namespace kt3::observe;

TEST(DevicePages, NameTheirDeviceInHexadecimal) {
    EXPECT_EQ(device_in("name = context\npid = 41\nhandle = a0\n"), 0xA0);
    EXPECT_EQ(device_in("handle = 7fffffff"), INT32_MAX);
    for (const char* page : {"", "pid = 41\n", "handle = \n", "handle = zz\n", "handle = 80000000\n",
                             "handle = ffffffffffffffffff\n", "the handle = a0\n"}) {
        EXPECT_EQ(device_in(page), std::nullopt) << page;
    }
}
