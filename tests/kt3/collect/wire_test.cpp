// SPDX-License-Identifier: MIT
#include "collect/observation.hpp"
#include "collect/wire.hpp"

#include <cmath>
#include <limits>

using namespace kt3::collect;
using namespace kt3::observe;

namespace {

// As it arrives at the other end.
template<typename T>
T sent(const T& value) {
    std::vector<std::uint8_t> bytes = Json::to_cbor(to_wire(value));
    return from_wire<T>(Json::from_cbor(bytes));
}

} // namespace

TEST(Wire, CarriesAReadingThatIsThere) {
    EXPECT_EQ(sent(Reading<std::int64_t>(-5)).value(), -5);
    EXPECT_EQ(sent(Reading<std::string>(std::string("8.15"))).value(), "8.15");
    EXPECT_EQ(sent(Reading<double>(59.94)).value(), 59.94);
}

TEST(Wire, CarriesEveryReasonForAnAbsentOne) {
    for (std::size_t code = 0; code < std::size(kAbsences); ++code) {
        const auto why = static_cast<Absence>(code);
        if (why != Absence::implausible) {
            EXPECT_EQ(sent(Reading<std::int64_t>(why)).absence(), why) << kAbsences[code].code;
        }
    }
}

TEST(Wire, CarriesTheTextOfWhatCannotBe) {
    const Reading<std::int64_t> got = sent(Reading<std::int64_t>(Implausible{"451 *C"}));
    EXPECT_EQ(got.absence(), Absence::implausible);
    EXPECT_EQ(got.raw(), "451 *C");
}

TEST(Wire, CarriesEachMemberInItsPlace) {
    LiveReadings live;
    live.engine_mhz = 1;
    live.core_mhz = Absence::timeout;
    live.channels = 4;
    const LiveReadings got = sent(live);
    EXPECT_EQ(got.engine_mhz.value(), 1);
    EXPECT_EQ(got.core_mhz.absence(), Absence::timeout);
    EXPECT_EQ(got.video_mhz.absence(), Absence::driver);
    EXPECT_EQ(got.channels.value(), 4);
}

TEST(Wire, CarriesListsOfModuleWords) {
    ModuleReadings counted = no_module_readings(Absence::no_node);
    counted.busy.words[9] = 77;
    counted.frames.frames_per_s = 60.5;
    const ModuleReadings got = sent(counted);
    EXPECT_EQ(got.busy.words[9].value(), 77);
    EXPECT_EQ(got.busy.words[0].absence(), Absence::no_node);
    EXPECT_EQ(got.frames.frames_per_s.value(), 60.5);
}

TEST(Wire, CarriesAllocationsToTheByte) {
    AllocationsRead read;
    read.allocations.resize(3);
    read.allocations[1].handle = -1;
    read.allocations[2].size = std::numeric_limits<std::int32_t>::min();
    read.devices.push_back({18, 4711, "game", 5, true});
    read.attributions.resize(1);
    read.attributions[0].job = "123";
    const AllocationsRead got = sent(read);
    ASSERT_EQ(got.allocations.size(), 3U);
    EXPECT_EQ(got.allocations[1].handle, -1);
    EXPECT_EQ(got.allocations[2].size, std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(got.devices[0].name, "game");
    EXPECT_TRUE(got.devices[0].ended);
    EXPECT_EQ(got.attributions[0].job, "123");
    EXPECT_EQ(got.attributions[0].uid, std::nullopt);
}

TEST(Wire, CarriesBytesThatAreNoText) {
    const std::string odd("a\xff\0\x1b", 4);
    EXPECT_EQ(sent(Reading<std::string>(odd)).value(), odd);
}

TEST(Wire, CarriesAFailureWithAndWithoutItsAdapter) {
    const Failure failure{ExitStatus::permission, "permission", "no", "run as root", 2};
    const Failure got = sent(failure);
    EXPECT_EQ(got.status, ExitStatus::permission);
    EXPECT_EQ(got.fix, "run as root");
    EXPECT_EQ(got.adapter, 2);
    EXPECT_EQ(sent(Failure{}).adapter, std::nullopt);
}

TEST(Wire, CarriesLeakGroupsByTheirShape) {
    LeakGroups groups;
    groups[{1, 2, 3, 4, 5}].devices[7] = 9;
    groups[{1, 2, 3, 4, 5}].longest = 3;
    const LeakGroups got = sent(groups);
    ASSERT_EQ(got.size(), 1U);
    EXPECT_EQ(got.begin()->first.at_type, 5);
    EXPECT_EQ(got.begin()->second.devices.at(7), 9);
    EXPECT_EQ(got.begin()->second.longest, 3);
}

TEST(Wire, KnowsTheFamilyAndTheRegisterAgain) {
    MachineFacts facts;
    facts.adapters.resize(2);
    facts.adapters[0].family = kt3::adapter::find_family(kt3::adapter::kNewerVendor);
    const MachineFacts got = sent(facts);
    EXPECT_EQ(got.adapters[0].family, facts.adapters[0].family);
    EXPECT_EQ(got.adapters[1].family, nullptr);
    const DvfsWish wish{&dvfs_registers().front(), 900};
    EXPECT_EQ(sent(wish).row, wish.row);
}

TEST(Wire, RefusesWhatIsOfAnotherShape) {
    EXPECT_THROW((void)from_wire<LiveReadings>(Json::array({1, 2})), Json::exception);
    EXPECT_THROW((void)from_wire<Failure>(Json("text")), Json::exception);
    EXPECT_THROW((void)from_wire<Allocations>(Json::array()), Json::exception);
}

TEST(MakeAbsent, ReachesEveryReadingOfAStruct) {
    ModuleReadings counted;
    counted.frames.sum_per_s = 3.0;
    counted.bandwidth.words[11] = 5;
    make_absent(counted, Absence::timeout);
    EXPECT_EQ(counted.frames.sum_per_s.absence(), Absence::timeout);
    EXPECT_EQ(counted.bandwidth.words[11].absence(), Absence::timeout);
    EXPECT_EQ(counted.busy.interface.absence(), Absence::timeout);
}
