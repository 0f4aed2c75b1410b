// SPDX-License-Identifier: MIT
#include "support/descriptors.hpp"
#include "support/one_adapter.hpp"

#include <gmock/gmock.h>

using kt3::tests::OneAdapter;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Registers = _GPU_DVFS_REGISTER_DATA;

constexpr const char* kWritableNodes[] = {"power_mode", "pwm_wait_count",      "dvfs_mode",
                                          "dvfs_level", "dvfs_control_params", "dvfs_clk_voltage"};

// Every writable node is there and holds nothing.
void publish_empty_nodes(OneAdapter& adapter) {
    for (const char* node : kWritableNodes) {
        adapter.node(node, "");
    }
}

Registers read(Registers record = {}) {
    gpuinfo_get_data_from_dvfs_register(&record);
    return record;
}

void write(const Registers& record) {
    EXPECT_EQ(gpuinfo_set_data_to_dvfs_register(&record), 0);
}

// Every field differs from zero, each with a value of its own.
Registers all_fields_set() {
    Registers record = {};
    record.power_mode = 0x101;
    record.pg_3d = 0x102;
    record.cg_3d = 0x103;
    record.pg_vcp = 0x104;
    record.cg_vcp = 0x105;
    record.pg_vpp = 0x106;
    record.cg_vpp = 0x107;
    record.dvfs_mode = 0x108;
    std::uint32_t* params = &record.gfx_dvfs_checksize;
    for (std::uint32_t i = 0; i < 12; ++i) {
        params[i] = 0x200 + i;
    }
    record.gfx_clock = 1200;
    record.gfx_voltage = -900;
    record.dvfs_level = KT3_DVFS_PERFORMANCE;
    record.vclk = 1;
    record.mclk = 2;
    record.reserved_76 = record.reserved_80 = record.reserved_88 = record.reserved_92 = record.reserved_96 = 3;
    return record;
}

} // namespace

TEST(DvfsWrite, SendsTheCommandsInTheFixedOrderEachToItsNode) {
    OneAdapter adapter;
    publish_empty_nodes(adapter);
    write(all_fields_set());
    EXPECT_THAT(adapter.commands(),
                ElementsAre("power_mode: 0x101\n",                                              //
                            "pwm_wait_count: 0 0 102\n", "pwm_wait_count: 0 1 104\n",           //
                            "pwm_wait_count: 0 2 106\n", "pwm_wait_count: 1 0 103\n",           //
                            "pwm_wait_count: 1 1 105\n", "pwm_wait_count: 1 2 107\n",           //
                            "dvfs_mode: 0x108\n", "dvfs_level: performance\n",                  //
                            "dvfs_control_params: 0 0 200\n", "dvfs_control_params: 1 0 203\n", //
                            "dvfs_control_params: 2 0 206\n", "dvfs_control_params: 3 0 209\n", //
                            "dvfs_control_params: 0 1 201\n", "dvfs_control_params: 1 1 204\n", //
                            "dvfs_control_params: 2 1 207\n", "dvfs_control_params: 3 1 20a\n", //
                            "dvfs_control_params: 0 2 202\n", "dvfs_control_params: 1 2 205\n", //
                            "dvfs_control_params: 2 2 208\n", "dvfs_control_params: 3 2 20b\n", //
                            "dvfs_clk_voltage: c 0 1200\n", "dvfs_clk_voltage: v 0 -900\n"));
}

TEST(DvfsWrite, SendsOneCommandForOneChangedFieldAfterARead) {
    OneAdapter adapter;
    publish_empty_nodes(adapter);
    adapter.node("dvfs_clk_voltage", "gfx_clock:1200\ngfx_voltage:850\n").node("power_mode", "power_mode:0x3\n");
    Registers record = read();
    record.gfx_voltage = 900;
    write(record);
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_clk_voltage: v 0 900\n"));
}

TEST(DvfsWrite, SignExtendsANegativeGatingCount) {
    OneAdapter adapter;
    adapter.node("pwm_wait_count", "pg_3d:0x0 cg_3d:0x0\n");
    Registers record = read();
    record.pg_3d = -1;
    record.cg_vpp = INT16_MIN;
    write(record);
    EXPECT_THAT(adapter.commands(), ElementsAre("pwm_wait_count: 0 0 ffffffff\n", "pwm_wait_count: 1 2 ffff8000\n"));
}

TEST(DvfsWrite, ComparesGatingCountsAs16BitValues) {
    OneAdapter adapter;
    adapter.node("pwm_wait_count", "pg_3d:0xffffffff\n");
    Registers record = read();
    record.pg_3d = -1;
    write(record);
    EXPECT_THAT(adapter.commands(), IsEmpty());
}

TEST(DvfsWrite, SendsTheLevelByNameAndAnUnknownOneAsBalance) {
    OneAdapter adapter;
    adapter.node("dvfs_level", "dvfs_level:lowpower\n");
    Registers record = read();
    for (const std::uint32_t level : {7U, 0U, 2U, 1U, 0xFFFFFFFFU}) {
        record.dvfs_level = level;
        write(record);
    }
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_level: balance\n", "dvfs_level: balance\n",
                                                "dvfs_level: performance\n", "dvfs_level: balance\n"))
        << "the unchanged level is not sent";
}

TEST(DvfsWrite, SendsLowpowerForOne) {
    OneAdapter adapter;
    adapter.node("dvfs_level", "dvfs_level:balance\n");
    Registers record = read();
    record.dvfs_level = 1;
    write(record);
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_level: lowpower\n"));
}

TEST(DvfsWrite, BeforeAnyReadSendsEveryFieldThatIsNotZero) {
    OneAdapter adapter;
    publish_empty_nodes(adapter);
    Registers record = {};
    record.gfx_clock = 5;
    write(record);
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_clk_voltage: c 0 5\n"));
}

TEST(DvfsWrite, SendsTheSameCommandsAgainUntilTheNextRead) {
    OneAdapter adapter;
    adapter.node("dvfs_mode", "dvfs_mode:0x0\n");
    Registers record = read();
    record.dvfs_mode = 4;
    write(record);
    write(record);
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_mode: 0x4\n", "dvfs_mode: 0x4\n"));
    adapter.node("dvfs_mode", "dvfs_mode:0x4\n");
    record = read(record);
    write(record);
    EXPECT_THAT(adapter.commands(), IsEmpty());
}

TEST(DvfsWrite, ComparesWithTheRecordAsReadWhereverAValueCameFrom) {
    OneAdapter adapter;
    Registers record = read(all_fields_set()); // no node exists: the client's own values are what was last read
    adapter.node("dvfs_clk_voltage", "");
    write(record);
    EXPECT_THAT(adapter.commands(), IsEmpty());
    record.gfx_clock = 0;
    write(record);
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_clk_voltage: c 0 0\n"));
}

TEST(DvfsWrite, NeverSendsClocksOrReservedWords) {
    OneAdapter adapter;
    publish_empty_nodes(adapter);
    adapter.node("vclk", "").node("mclk", "");
    Registers record = read();
    record.vclk = 100;
    record.mclk = 200;
    record.reserved_76 = record.reserved_80 = record.reserved_88 = record.reserved_92 = record.reserved_96 = 300;
    write(record);
    EXPECT_THAT(adapter.commands(), IsEmpty());
}

TEST(DvfsWrite, SkipsANodeThatCannotBeOpenedAndCreatesNone) {
    OneAdapter adapter;
    adapter.node("dvfs_clk_voltage", "");
    const int before = kt3::tests::open_descriptors();
    write(all_fields_set());
    EXPECT_THAT(adapter.commands(), ElementsAre("dvfs_clk_voltage: c 0 1200\n", "dvfs_clk_voltage: v 0 -900\n"));
    EXPECT_FALSE(std::filesystem::exists(adapter.kernel.real(adapter.adapter.node_path("power_mode"))));
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(DvfsWrite, TheRememberedRecordSurvivesSwitchingTheAdapter) {
    Registers record = {};
    {
        OneAdapter first;
        first.node("dvfs_mode", "dvfs_mode:0x9\n");
        record = read();
    }
    OneAdapter second;
    second.node("dvfs_mode", "");
    write(record);
    EXPECT_THAT(second.commands(), IsEmpty());
}
