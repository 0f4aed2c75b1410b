#include "observe/adapter/machine.hpp"

#include "kt3/exit_status.hpp"

using namespace kt3::cli;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

std::vector<Adapter> two_adapters() {
    std::vector<Adapter> adapters(2);
    adapters[0].name = "Gpu0:Vorla-55F0";
    adapters[0].bus = {0, 3, 0, 0};
    adapters[1].slot = 2;
    adapters[1].name = "Gpu2:Nvidia-GPU";
    adapters[1].bus = {1, 0x0A, 0x1F, 7};
    return adapters;
}

std::vector<int> slots_for(const std::string& gpu) {
    static const std::vector<Adapter> adapters = two_adapters();
    std::vector<int> slots;
    for (const Adapter* adapter : select_adapters(adapters, gpu)) {
        slots.push_back(adapter->slot);
    }
    return slots;
}

} // namespace

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

TEST(Selector, TakesASlotABusIdOrAll) {
    EXPECT_THAT(slots_for(""), ElementsAre(0, 2));
    EXPECT_THAT(slots_for("all"), ElementsAre(0, 2));
    EXPECT_THAT(slots_for("2"), ElementsAre(2));
    EXPECT_THAT(slots_for("03:00.0"), ElementsAre(0));
    EXPECT_THAT(slots_for("0000:03:00.0"), ElementsAre(0));
    EXPECT_THAT(slots_for("0001:0A:1f.7"), ElementsAre(2));
}

TEST(Selector, ListsTheValidValuesForAnUnknownOne) {
    for (const char* gpu : {"1", "00", "x", "-1", "0000:03:00.1", "ALL", " 0"}) {
        try {
            (void)slots_for(gpu);
            FAIL() << gpu;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::not_found);
            EXPECT_THAT(failure.message, HasSubstr(gpu));
            EXPECT_THAT(failure.fix,
                        HasSubstr("0 (0000:03:00.0, Gpu0:Vorla-55F0), 2 (0001:0a:1f.7, Gpu2:Nvidia-GPU), all"));
        }
    }
}

TEST(Identity, HasTheSameKeysForAForeignGpu) {
    std::vector<Adapter> adapters = two_adapters();
    adapters[0].family = find_family(0x7A52);
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
