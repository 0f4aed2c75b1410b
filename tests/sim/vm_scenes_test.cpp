// SPDX-License-Identifier: MIT
// What the drivers of the virtual-memory scenes publish, read by the library.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "scenes/scenes.hpp"
#include "support/fake_kernel.hpp"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace kt3::tests;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kDriver = "/sys/kernel/debug/dri/0/qn";

class VmScene {
public:
    explicit VmScene(std::string_view name) {
        const kt3::sim::Scene* scene = kt3::sim::find_scene(name);
        EXPECT_NE(scene, nullptr) << name;
        kt3::sim::build_scene(*scene, kernel_.machine());
    }
    [[nodiscard]] data_vectors client(const std::string& folder) const {
        data_vectors record = create_vector();
        std::string path = kDriver + "/devices/" + folder + "/vm_info";
        EXPECT_EQ(get_pagetable_info(&record, path.data()), 0) << folder;
        generate_DigitalIndex(record);
        return record;
    }
    [[nodiscard]] std::string dump(const std::string& folder) const {
        return kernel_.text(kDriver + "/devices/" + folder + "/vm_info");
    }
    [[nodiscard]] const FakeKernel& kernel() const { return kernel_; }

private:
    FakeKernel kernel_;
};

std::vector<std::size_t> sizes_of(const data_vectors& record) {
    return {record.pt_level0.size(), record.pt_level1.size(), record.pt_level2.size(),
            record.st_level0.size(), record.st_level1.size(), record.st_level2.size()};
}

TEST(VmSmallScene, HasTwoClientsWithAllLevels) {
    const VmScene scene("vm-small");
    EXPECT_THAT(sizes_of(scene.client("00000012")), ElementsAre(1, 2, 1, 2, 3, 5));
    EXPECT_THAT(sizes_of(scene.client("0000002a")), ElementsAre(1, 1, 1, 1, 1, 1));
    EXPECT_EQ(scene.kernel().text("/bin-data/ps/4711"), "game\n");
}

TEST(VmSmallScene, CanBeWalkedFromTableToTable) {
    const VmScene scene("vm-small");
    data_vectors game = scene.client("00000012");
    const std::string tables = Find_SubTable_0_addr(0, &game);
    const std::string pages = Find_SubTable_1_addr(0, &game, tables);
    const vidmm_vm_pte_elt3k page = Find_SubTable_2_node(9, &game, pages);
    EXPECT_EQ(page.found, 1);
    EXPECT_STREQ(page.Addr, "0x5001");
}

TEST(VmSmallScene, HasAllocationsThatTouchAndOverlap) {
    const VmScene scene("vm-small");
    std::vector<allcation_Info> nodes;
    ASSERT_EQ(get_alloction_data_try(nodes), 0);
    EXPECT_EQ(nodes.size(), 7u);
    EXPECT_EQ(std::count_if(nodes.begin(), nodes.end(), [](const auto& node) { return node.device_pid == "998"; }), 2);
}

TEST(VmDeepScene, DropsLinesThatFindNoTable) {
    const data_vectors early = VmScene("vm-deep").client("00000031");
    EXPECT_THAT(sizes_of(early), ElementsAre(2, 4, 3, 0, 0, 0));
    EXPECT_EQ(early.pt_level2[0].parent, &early.pt_level1[2]);
    EXPECT_EQ(early.pt_level1[2].next, &early.pt_level1[3]);
}

TEST(VmDeepScene, HasRunsWithoutAParentAndRunsOfOtherLevels) {
    const data_vectors late = VmScene("vm-deep").client("00000032");
    EXPECT_THAT(sizes_of(late), ElementsAre(1, 2, 1, 3, 3, 8));
    EXPECT_EQ(late.st_level2[0].parent, nullptr);
    EXPECT_EQ(late.st_level2.back().DigitalIndex.parent_level, 2);
}

TEST(VmBigScene, HasOneClientWithTwentyThousandTablesAndThreeHundredThousandPages) {
    const VmScene scene("vm-big");
    EXPECT_THAT(sizes_of(scene.client("00000041")), ElementsAre(1, 40, 20'000, 0, 0, 300'000));
    EXPECT_THAT(sizes_of(scene.client("00000042")), ElementsAre(1, 1, 200, 0, 0, 4'000));
    EXPECT_THAT(sizes_of(scene.client("00000043")), ElementsAre(1, 1, 50, 0, 0, 400));
    EXPECT_THAT(sizes_of(scene.client("00000044")), ElementsAre(1, 1, 4, 0, 0, 2'048));
}

TEST(VmBrokenScene, HasADumpOfEveryKindOfFault) {
    const VmScene scene("vm-broken");
    EXPECT_THROW((void)scene.client("00000021"), std::invalid_argument);
    EXPECT_STREQ(scene.client("00000022").pt_level1[0].Addr, "");
    EXPECT_THAT(scene.dump("00000023"), HasSubstr("addr:" + std::string(60, '1')));
    EXPECT_STREQ(scene.client("00000024").pt_level1[0].Addr, "0x80000000");
    EXPECT_EQ(scene.client("00000025").pt_level1.size(), 1u);
    EXPECT_GT(scene.kernel().text("/bin-data/ps/5006").size(), 48u);
    EXPECT_THAT(sizes_of(scene.client("00000012")), ElementsAre(1, 2, 1, 2, 3, 5));
}

} // namespace
