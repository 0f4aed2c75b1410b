// SPDX-License-Identifier: MIT
#include "observe/adapter/machine.hpp"

using namespace kt3::observe;

TEST(BusIdText, IsReadInItsLongAndShortForm) {
    BusId bus;
    EXPECT_TRUE(parse_bus_id("0001:0a:1f.7", bus));
    EXPECT_EQ(bus, (BusId{1, 0x0A, 0x1F, 7}));
    EXPECT_TRUE(parse_bus_id("0A:1F.7", bus));
    EXPECT_EQ(bus, (BusId{0, 0x0A, 0x1F, 7}));
    EXPECT_EQ(bus_text({1, 0x0A, 0x1F, 7}), "0001:0a:1f.7");
}

TEST(BusIdText, IsRefusedWhenAnythingIsOff) {
    BusId bus{9, 9, 9, 9};
    for (const char* text : {"", "0", "3:0", "03:00", "03:00.", "03:00.8", "03:20.0", "103:00.0", "10000:03:00.0",
                             "0000:03:00.0 ", " 03:00.0", "0:0:0:0.0", "gg:00.0", "-3:00.0", "03:00.0x", ":03:00.0"}) {
        EXPECT_FALSE(parse_bus_id(text, bus)) << text;
    }
    EXPECT_EQ(bus, (BusId{9, 9, 9, 9})) << "a refused text leaves the value as it was";
}
