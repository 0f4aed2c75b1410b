// SPDX-License-Identifier: MIT
#include "nodes/node_table.hpp"
#include "support/driver_node_names.hpp"
#include "support/selected_adapter.hpp"

#include <gtest/gtest.h>

using namespace kt3;
using tests::kDriverNodeNames;

namespace {

constexpr const char* kExpectedHwmon[] = {"temp1_input", "fan0_input", "fan1_input", "none"};

} // namespace

TEST(NodeTable, EveryIndexReadsTheNodeOfItsName) {
    tests::SelectedAdapter adapter;
    for (std::int32_t index = 0; index < 31; ++index) {
        adapter.node(kDriverNodeNames[index], std::to_string(1000 + index) + "\n");
    }
    for (std::int32_t index = 0; index < 31; ++index) {
        EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(index), 1000 + index) << kDriverNodeNames[index];
    }
}

TEST(NodeTable, EveryHwmonIndexReadsTheAttributeOfItsName) {
    tests::SelectedAdapter adapter;
    for (std::int32_t index = 0; index < 4; ++index) {
        adapter.hwmon(kExpectedHwmon[index], std::to_string(50 + index) + "\n");
    }
    for (std::int32_t index = 0; index < 4; ++index) {
        std::uint32_t bytes = 77;
        EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(index, &bytes), 50 + index);
        EXPECT_EQ(bytes, 3U);
    }
}

TEST(NodeTable, AnIndexOutsideTheTablesGivesZero) {
    tests::SelectedAdapter adapter;
    adapter.node("engine_3d_usage", "7\n").hwmon("temp1_input", "7\n");
    for (const std::int32_t index : {-1, 31, 32, 1000, INT32_MIN, INT32_MAX}) {
        EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(index), 0) << index;
    }
    for (const std::int32_t index : {-1, 4, 5, INT32_MIN, INT32_MAX}) {
        std::uint32_t bytes = 77;
        EXPECT_EQ(gpuinfo_get_hwmonFD_value_int(index, &bytes), 0) << index;
        EXPECT_EQ(bytes, 0U) << index;
    }
}

TEST(NodeTable, IndexThirtyNamesANodeThatDriversDoNotPublish) {
    tests::SelectedAdapter adapter;
    EXPECT_STREQ(nodes::kDriverNodes[30], "none");
    EXPECT_EQ(gpuinfo_get_wyinfoFD_value_int(30), 0);
}
