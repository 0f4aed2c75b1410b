// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/one_adapter.hpp"

#include <gmock/gmock.h>

using kt3::tests::OneAdapter;
using testing::ElementsAre;

namespace {

using Registers = _GPU_DVFS_REGISTER_DATA;

// Every byte of a record that no value of the pages below has.
Registers marked() {
    Registers record;
    std::memset(&record, 0x5A, sizeof record);
    return record;
}

Registers read(Registers record = marked()) {
    EXPECT_EQ(gpuinfo_get_data_from_dvfs_register(&record), 0);
    return record;
}

constexpr const char* kControlParams = "gfx_dvfs_checksize:0x1 gfx_dvfs_h_threshold:0x2 gfx_dvfs_l_threshold:0x3\n"
                                       "vcp0_dvfs_checksize:0x4 vcp0_dvfs_h_threshold:0x5 vcp0_dvfs_l_threshold:0x6\n"
                                       "vcp1_dvfs_checksize:0x7 vcp1_dvfs_h_threshold:0x8 vcp1_dvfs_l_threshold:0x9\n"
                                       "vpp_dvfs_checksize:0xa vpp_dvfs_h_threshold:0xb vpp_dvfs_l_threshold:0xc\n";

// A page of `size` bytes that ends in `tail`.
std::string page_ending_in(std::size_t size, const std::string& tail) {
    return std::string(size - tail.size(), ' ') + tail;
}

} // namespace

TEST(DvfsClocks, ReadsZeroForANodeTheDriverDoesNotPublish) {
    OneAdapter adapter;
    adapter.node("eclk", "800\n").node("mclk", "1600\n");
    std::uint32_t clocks[4] = {1, 1, 1, 1};
    EXPECT_EQ(get_dvfs_info(clocks), 0);
    EXPECT_THAT(clocks, ElementsAre(800, 0, 1600, 1));
}

TEST(DvfsClocks, AreEngineVideoAndMemoryInThisOrder) {
    OneAdapter adapter;
    adapter.node("eclk", "1\n").node("vclk", "2\n").node("mclk", "3\n").node("coreclk", "4\n");
    std::uint32_t clocks[3] = {};
    get_dvfs_info(clocks);
    EXPECT_THAT(clocks, ElementsAre(1, 2, 3));
}

TEST(DvfsClocks, AreZeroWithoutACurrentAdapterAndANullPointerIsLeftAlone) {
    std::uint32_t clocks[3] = {1, 1, 1};
    EXPECT_EQ(get_dvfs_info(clocks), 0);
    EXPECT_THAT(clocks, ElementsAre(0, 0, 0));
    EXPECT_EQ(get_dvfs_info(nullptr), 0);
}

TEST(DvfsRead, FillsTheSixGatingCountsFromOnePage) {
    OneAdapter adapter;
    adapter.node("pwm_wait_count", "pg_3d:0x10 cg_3d:0x20 pg_vcp:0x30 cg_vcp:0x40 pg_vpp:0x50 cg_vpp:0x60");
    const Registers record = read();
    EXPECT_EQ(record.pg_3d, 0x10);
    EXPECT_EQ(record.cg_3d, 0x20);
    EXPECT_EQ(record.pg_vcp, 0x30);
    EXPECT_EQ(record.cg_vcp, 0x40);
    EXPECT_EQ(record.pg_vpp, 0x50);
    EXPECT_EQ(record.cg_vpp, 0x60);
    EXPECT_EQ(record.dvfs_mode, 0x5A5A5A5AU) << "the last gating count must not spill";
}

TEST(DvfsRead, KeepsTheLow16BitsOfAGatingCount) {
    OneAdapter adapter;
    adapter.node("pwm_wait_count", "pg_3d:0x12345 cg_vpp:0xdeadffff\n");
    const Registers record = read();
    EXPECT_EQ(record.pg_3d, 0x2345);
    EXPECT_EQ(record.cg_3d, 0x5A5A);
    EXPECT_EQ(record.cg_vpp, -1);
    EXPECT_EQ(record.dvfs_mode, 0x5A5A5A5AU);
}

TEST(DvfsRead, FillsThePlainWords) {
    OneAdapter adapter;
    adapter.node("power_mode", "power_mode:0xcafe0001\n").node("dvfs_mode", "dvfs_mode:0x2\n");
    adapter.node("dvfs_clk_voltage", "gfx_clock:1200\ngfx_voltage:-900\n");
    adapter.node("vclk", "700\n").node("mclk", "1600\n");
    const Registers record = read();
    EXPECT_EQ(record.power_mode, 0xCAFE0001U);
    EXPECT_EQ(record.dvfs_mode, 2U);
    EXPECT_EQ(record.gfx_clock, 1200);
    EXPECT_EQ(record.gfx_voltage, -900);
    EXPECT_EQ(record.vclk, 700);
    EXPECT_EQ(record.mclk, 1600);
}

TEST(DvfsRead, FillsTheTwelveControlParametersEachFromItsOwnKey) {
    OneAdapter adapter;
    adapter.node("dvfs_control_params", kControlParams);
    const Registers record = read();
    const std::uint32_t* first = &record.gfx_dvfs_checksize;
    EXPECT_THAT(std::vector<std::uint32_t>(first, first + 12), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
}

TEST(DvfsRead, LeavesEveryFieldButTheClocksWhenNoNodeExists) {
    OneAdapter adapter;
    Registers expected = marked();
    expected.vclk = 0;
    expected.mclk = 0;
    const Registers record = read();
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

TEST(DvfsRead, LeavesAFieldWhoseValueIsNoNumber) {
    OneAdapter adapter;
    adapter.node("power_mode", "power_mode:0xzz\n").node("dvfs_clk_voltage", "gfx_clock:off\ngfx_voltage:\n");
    adapter.node("pwm_wait_count", "pg_3d:0x, cg_3d:0x7\n");
    const Registers record = read();
    EXPECT_EQ(record.power_mode, 0x5A5A5A5AU);
    EXPECT_EQ(record.gfx_clock, 0x5A5A5A5A);
    EXPECT_EQ(record.gfx_voltage, 0x5A5A5A5A);
    EXPECT_EQ(record.pg_3d, 0x5A5A);
    EXPECT_EQ(record.cg_3d, 7);
}

TEST(DvfsRead, NeverTouchesTheReservedWords) {
    OneAdapter adapter;
    adapter.node("dvfs_control_params", kControlParams).node("dvfs_clk_voltage", "gfx_clock:1 gfx_voltage:2\n");
    adapter.node("vclk", "3").node("mclk", "4").node("dvfs_level", "dvfs_level:balance");
    const Registers record = read();
    for (const std::uint32_t word :
         {record.reserved_76, record.reserved_80, record.reserved_88, record.reserved_92, record.reserved_96}) {
        EXPECT_EQ(word, 0x5A5A5A5AU);
    }
}

TEST(DvfsRead, SearchesEachKeyInThePageOfItsOwnNode) {
    OneAdapter adapter;
    // The longer page in front holds keys of the shorter ones behind it.
    adapter.node("power_mode", "power_mode:0x1 and then dvfs_mode:0x77 pg_3d:0x66 dvfs_level:lowpower gfx_clock:5\n");
    adapter.node("pwm_wait_count", "x\n").node("dvfs_mode", "x\n").node("dvfs_level", "x\n");
    const Registers record = read();
    EXPECT_EQ(record.power_mode, 1U);
    EXPECT_EQ(record.pg_3d, 0x5A5A);
    EXPECT_EQ(record.dvfs_mode, 0x5A5A5A5AU);
    EXPECT_EQ(record.gfx_clock, 0x5A5A5A5A);
    EXPECT_EQ(record.dvfs_level, 0x5A5A5A5AU);
}

TEST(DvfsRead, TakesTheFirstOfTwoEqualKeys) {
    OneAdapter adapter;
    adapter.node("dvfs_mode", "dvfs_mode:0x1\ndvfs_mode:0x2\n");
    EXPECT_EQ(read().dvfs_mode, 1U);
}

TEST(DvfsRead, FindsAnUnterminatedValueOnPagesAroundTheBufferSize) {
    const std::string tail = "power_mode:0xab";
    for (const std::size_t size : {511U, 512U}) {
        OneAdapter adapter;
        adapter.node("power_mode", page_ending_in(size, tail));
        EXPECT_EQ(read().power_mode, 0xABU) << size;
    }
    OneAdapter adapter;
    adapter.node("power_mode", page_ending_in(513, tail));
    EXPECT_EQ(read().power_mode, 0xAU) << "byte 513 is not read";
}

TEST(DvfsRead, DoesNotFindAKeyThatTouchesTheLastByteOfTheBuffer) {
    OneAdapter adapter;
    adapter.node("power_mode", page_ending_in(512, "power_mode:0x") + "7");
    EXPECT_EQ(read().power_mode, 0x5A5A5A5AU);
    adapter.node("power_mode", page_ending_in(511, "power_mode:0x") + "7");
    EXPECT_EQ(read().power_mode, 7U) << "one place further in front it is whole";
}

TEST(DvfsLevel, IsReadByName) {
    OneAdapter adapter;
    adapter.node("dvfs_level", "dvfs_level:lowpower");
    EXPECT_EQ(read().dvfs_level, 1U);
    adapter.node("dvfs_level", "dvfs_level:performance\n");
    EXPECT_EQ(read().dvfs_level, 2U);
    adapter.node("dvfs_level", "dvfs_level:balance\n");
    EXPECT_EQ(read().dvfs_level, 0U);
}

TEST(DvfsLevel, PrefersBalanceWhenSeveralAreNamed) {
    OneAdapter adapter;
    adapter.node("dvfs_level", "dvfs_level:performance dvfs_level:lowpower dvfs_level:balance\n");
    EXPECT_EQ(read().dvfs_level, 0U);
    adapter.node("dvfs_level", "dvfs_level:performance dvfs_level:lowpower\n");
    EXPECT_EQ(read().dvfs_level, 1U);
}

TEST(DvfsLevel, KeepsItsValueWhenTheNodeNamesNone) {
    OneAdapter adapter;
    adapter.node("dvfs_level", "dvfs_level:turbo\n");
    EXPECT_EQ(read().dvfs_level, 0x5A5A5A5AU);
}

TEST(DvfsRead, ReportsFlushedThroughItsFlagAndTheObject) {
    OneAdapter adapter;
    EXPECT_EQ(dvfs_register_state_data_flushed, 1);
    Registers record = {};
    std::uint32_t flag = 7;
    set_data_to_dvfs_register(&record);
    EXPECT_EQ(dvfs_register_state_data_flushed, 0);
    EXPECT_EQ(get_data_from_dvfs_register(&record, &flag), 0);
    EXPECT_EQ(flag, 1U);
    EXPECT_EQ(dvfs_register_state_data_flushed, 1);
    EXPECT_EQ(set_data_to_dvfs_register(&record), 0);
    EXPECT_EQ(dvfs_register_state_data_flushed, 0);
}

TEST(DvfsRead, TheInnerFormsLeaveTheFlushedObjectAlone) {
    OneAdapter adapter;
    Registers record = {};
    gpuinfo_set_data_to_dvfs_register(&record);
    EXPECT_EQ(dvfs_register_state_data_flushed, 1);
    set_data_to_dvfs_register(&record);
    gpuinfo_get_data_from_dvfs_register(&record);
    EXPECT_EQ(dvfs_register_state_data_flushed, 0);
}

TEST(DvfsRead, NullPointersAndAMissingAdapterAreHarmless) {
    std::uint32_t flag = 0;
    EXPECT_EQ(get_data_from_dvfs_register(nullptr, &flag), 0);
    EXPECT_EQ(flag, 1U);
    EXPECT_EQ(get_data_from_dvfs_register(nullptr, nullptr), 0);
    EXPECT_EQ(gpuinfo_get_data_from_dvfs_register(nullptr), 0);
    EXPECT_EQ(set_data_to_dvfs_register(nullptr), 0);
    EXPECT_EQ(gpuinfo_set_data_to_dvfs_register(nullptr), 0);
    EXPECT_EQ(read().power_mode, 0x5A5A5A5AU);
    const Registers record = marked();
    EXPECT_EQ(gpuinfo_set_data_to_dvfs_register(&record), 0);
}

TEST(DvfsRead, LeavesNoDescriptorOpenAndLogsNothing) {
    OneAdapter adapter;
    adapter.node("power_mode", "power_mode:0x1\n").node("dvfs_level", "dvfs_level:balance\n");
    kt3::tests::LogCapture log;
    const int before = kt3::tests::open_descriptors();
    read();
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
    EXPECT_THAT(kt3::tests::LogCapture::lines(), ElementsAre());
}
