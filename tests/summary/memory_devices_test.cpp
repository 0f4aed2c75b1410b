// SPDX-License-Identifier: MIT
#include "summary/memory_devices.hpp"

#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace kt3::summary;

namespace {

MemoryDevices scan(const DeviceField& field, const std::vector<std::string>& lines) {
    MemoryDevices devices;
    for (const std::string& line : lines) {
        if (!take_line(devices, field, line.c_str())) {
            break;
        }
    }
    return devices;
}

struct Device {
    const char* width;
    const char* channel;
};

std::uint32_t width_of(const std::vector<Device>& devices) {
    std::vector<std::string> lines;
    for (const Device& device : devices) {
        lines.push_back(std::string("\tTotal Width: ") + device.width + " bits\n");
        lines.push_back(std::string("\tBank Locator: P0 CHANNEL ") + device.channel + "\n");
    }
    return bus_width(scan(kMemoryChannel, lines));
}

std::uint32_t generation_of(const std::vector<std::string>& lines) {
    return memory_generation(scan(kMemoryType, lines));
}

} // namespace

TEST(BusWidth, TwoDevicesOnTwoChannelsDoubleAndOnOneDoNot) {
    EXPECT_EQ(width_of({{"64", "A"}, {"64", "B"}}), 128U);
    EXPECT_EQ(width_of({{"64", "A"}, {"64", "A"}}), 64U);
}

TEST(BusWidth, TwoDevicesOfDifferentWidthsGiveTheFirst) {
    EXPECT_EQ(width_of({{"64", "A"}, {"32", "B"}}), 64U);
}

TEST(BusWidth, FourDevicesThatPairUpAddUpWhateverTheirChannels) {
    EXPECT_EQ(width_of({{"64", "A"}, {"64", "A"}, {"64", "A"}, {"64", "A"}}), 256U);
    EXPECT_EQ(width_of({{"64", "A"}, {"32", "B"}, {"64", "C"}, {"32", "D"}}), 192U);
}

TEST(BusWidth, FourDevicesThatDoNotPairUpGiveTheFirst) {
    EXPECT_EQ(width_of({{"64", "A"}, {"32", "B"}, {"64", "C"}, {"64", "D"}}), 64U);
    EXPECT_EQ(width_of({{"64", "A"}, {"64", "B"}, {"32", "C"}, {"64", "D"}}), 64U);
}

TEST(BusWidth, AnyOtherCountGivesTheFirst) {
    EXPECT_EQ(width_of({}), 0U);
    EXPECT_EQ(width_of({{"72", "A"}}), 72U);
    EXPECT_EQ(width_of({{"72", "A"}, {"72", "B"}, {"72", "C"}}), 72U);
    EXPECT_EQ(width_of(std::vector<Device>(8, {"40", "A"})), 40U);
    EXPECT_EQ(width_of(std::vector<Device>(200, {"40", "A"})), 40U);
}

TEST(BusWidth, WidthsOfTwoToThe31WrapWithoutHarm) {
    EXPECT_EQ(width_of({{"2147483648", "A"}}), 0x80000000U);
    EXPECT_EQ(width_of({{"2147483648", "A"}, {"2147483648", "B"}}), 0U);
    EXPECT_EQ(width_of(std::vector<Device>(4, {"2147483648", "A"})), 0U);
    EXPECT_EQ(width_of({{"2147483647", "A"}, {"2147483647", "B"}}), 0xFFFFFFFEU);
}

TEST(BusWidth, AChannelLetterThatIsNoHexDigitReadsAsZero) {
    EXPECT_EQ(width_of({{"64", "X"}, {"64", "Y"}}), 64U);
    EXPECT_EQ(width_of({{"64", "X"}, {"64", "B"}}), 128U);
}

TEST(MemoryScan, StopsAtTheEighthDevice) {
    MemoryDevices devices;
    for (int i = 0; i < 8; ++i) {
        EXPECT_TRUE(take_line(devices, kMemoryType, "Total Width: 64 bits\n"));
        EXPECT_EQ(take_line(devices, kMemoryType, "Type: DDR4\n"), i < 7) << i;
    }
    EXPECT_EQ(devices.count, 8);
}

TEST(MemoryScan, SkipsEmptySlots) {
    const auto devices = scan(kMemoryType, {"Total Width: Unknown\n", "Data Width: Unknown\n", "Type: Unknown\n",
                                            "Total Width: 64 bits\n", "Type: DDR5\n"});
    EXPECT_EQ(devices.count, 1);
    EXPECT_EQ(devices.widths[0], 64U);
    EXPECT_EQ(devices.values[0], 5U);
}

TEST(MemoryScan, CountsNoTypeOutsideADevice) {
    EXPECT_EQ(scan(kMemoryType, {"Type: DDR5\n", "Data Width: 64 bits Type: DDR5\n"}).count, 0);
    EXPECT_EQ(scan(kMemoryType, {"Total Width: 64 bits\n", "Type: DDR5\n", "Type: DDR5\n"}).count, 1);
}

TEST(MemoryScan, TakesWidthAndTypeFromOneLine) {
    const auto devices = scan(kMemoryType, {"Total Width: 32 bits Type: DDR4\n"});
    EXPECT_EQ(devices.count, 1);
    EXPECT_EQ(devices.widths[0], 32U);
}

TEST(MemoryScan, ALaterWidthOfTheSameDeviceWinsUnlessItIsNoNumber) {
    EXPECT_EQ(scan(kMemoryType, {"Total Width: 32 bits\n", "Total Width: 64 bits\n", "Type: DDR4\n"}).widths[0], 64U);
    EXPECT_EQ(scan(kMemoryType, {"Total Width: 32 bits\n", "Total Width: some bits\n", "Type: DDR4\n"}).widths[0], 32U);
}

TEST(MemoryGeneration, IsThatOfTheFirstDevice) {
    EXPECT_EQ(generation_of({"Total Width: 64 bits\n", "Type: DDR5\n", "Total Width: 64 bits\n", "Type: DDR4\n"}), 5U);
    EXPECT_EQ(generation_of({"Total Width: 64 bits\n", "Type: LPDDR4X\n"}), 4U);
}

TEST(MemoryGeneration, IsFourWhenItIsUnknown) {
    EXPECT_EQ(generation_of({}), 4U);
    EXPECT_EQ(generation_of({"Total Width: 64 bits\n", "Type: SDRAM\n"}), 4U);
    EXPECT_EQ(generation_of({"Total Width: 64 bits\n", "Type: DDR3\n"}), 4U);
    EXPECT_EQ(generation_of({"Total Width: 64 bits\n", "Type: DDR\n"}), 4U);
}
