// SPDX-License-Identifier: MIT
#include "kt3/adapter_choice.hpp"

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

std::vector<int> slots_for(const std::vector<std::string>& gpus) {
    static const std::vector<Adapter> adapters = two_adapters();
    std::vector<int> slots;
    for (const Adapter* adapter : select_adapters(adapters, gpus)) {
        slots.push_back(adapter->slot);
    }
    return slots;
}

} // namespace

TEST(Selector, TakesASlotABusIdOrAll) {
    EXPECT_THAT(slots_for({}), ElementsAre(0, 2));
    EXPECT_THAT(slots_for({"all"}), ElementsAre(0, 2));
    EXPECT_THAT(slots_for({"2"}), ElementsAre(2));
    EXPECT_THAT(slots_for({"03:00.0"}), ElementsAre(0));
    EXPECT_THAT(slots_for({"0000:03:00.0"}), ElementsAre(0));
    EXPECT_THAT(slots_for({"0001:0A:1f.7"}), ElementsAre(2));
}

TEST(Selector, TakesSeveralInTheOrderOfTheirSlots) {
    EXPECT_THAT(slots_for({"2", "0"}), ElementsAre(0, 2));
    EXPECT_THAT(slots_for({"0", "03:00.0"}), ElementsAre(0));
    EXPECT_THAT(slots_for({"2", "all"}), ElementsAre(0, 2));
    EXPECT_THROW((void)slots_for({"0", "7"}), Failure);
    EXPECT_THROW((void)slots_for({"all", "7"}), Failure);
}

TEST(Selector, ListsTheValidValuesForAnUnknownOne) {
    for (const char* gpu : {"1", "00", "x", "-1", "0000:03:00.1", "ALL", " 0"}) {
        try {
            (void)slots_for({gpu});
            FAIL() << gpu;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::not_found);
            EXPECT_THAT(failure.message, HasSubstr(gpu));
            EXPECT_THAT(failure.fix,
                        HasSubstr("0 (0000:03:00.0, Gpu0:Vorla-55F0), 2 (0001:0a:1f.7, Gpu2:Nvidia-GPU), all"));
        }
    }
}
