// SPDX-License-Identifier: MIT
#include "output/owner.hpp"

using namespace kt3::output;

namespace {

constexpr const char* kId = "5e0b9d1c47a2f38864f1c0de93b7a5526d8ef014b3c29a7700d0c4e1ab5e5511";

} // namespace

TEST(OwnerText, TellsAnEndedProcessFromOneThatIsNotVisible) {
    const Owner ended{7, 4711, "", true};
    const Owner hidden{7, 4711, ""};
    const Owner none{7, std::nullopt, ""};
    const Owner known{7, 4711, "game"};
    EXPECT_EQ(process_text(ended), "(gone)");
    EXPECT_EQ(process_text(hidden), "(not visible)");
    EXPECT_EQ(process_text(none), "(unknown)");
    EXPECT_EQ(process_text(known), "game");
    EXPECT_EQ(owner_text(ended), "(gone) (4711)");
    EXPECT_EQ(owner_text(hidden), "pid 4711 not visible here");
    EXPECT_EQ(owner_text(none), "(unknown, device 7)");
    EXPECT_EQ(owner_text(known), "game (4711)");
    EXPECT_STREQ(owner_kind(ended), "gone");
    EXPECT_STREQ(owner_kind(hidden), "not_visible");
    EXPECT_STREQ(owner_kind(none), "unknown");
    EXPECT_STREQ(owner_kind(known), "process");
    EXPECT_EQ(known_process(ended), std::nullopt);
    EXPECT_EQ(known_process(hidden), std::nullopt);
    EXPECT_EQ(known_process(known), "game");
}

TEST(BelongingText, NamesTheNearest) {
    Attribution attribution;
    EXPECT_EQ(belonging_text(attribution), "");
    attribution.unit = "streamd.service";
    EXPECT_EQ(belonging_text(attribution), "unit streamd.service");
    attribution.job = "1234";
    EXPECT_EQ(belonging_text(attribution), "job 1234");
    attribution.container = kId;
    EXPECT_EQ(belonging_text(attribution), "container 5e0b9d1c47a2");
    attribution.pod = "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9";
    EXPECT_EQ(belonging_text(attribution), "pod 0a1b2c3d");
}

TEST(BelongingText, LeavesNamesOfContainersWhole) {
    Attribution attribution;
    attribution.container = "a-machine-with-a-long-name";
    EXPECT_EQ(belonging_text(attribution), "container a-machine-with-a-long-name");
}

TEST(StuckProcesses, WaitInTheKernelOrForTheirParent) {
    for (const auto& [state, stuck] :
         std::map<std::string, bool>{{"D", true}, {"Z", true}, {"T", false}, {"R", false}}) {
        Attribution attribution;
        attribution.state = state;
        EXPECT_EQ(is_stuck(attribution), stuck) << state;
    }
    EXPECT_FALSE(is_stuck({}));
}

TEST(GroupText, SaysWhyAGroupHasNoName) {
    EXPECT_EQ(group_text({Belonging::named, "ada"}), "ada");
    EXPECT_EQ(group_text({Belonging::none, ""}), "(none)");
    EXPECT_EQ(group_text({Belonging::ended, ""}), "(ended)");
    EXPECT_EQ(group_text({Belonging::not_visible, ""}), "(not visible)");
    EXPECT_EQ(group_name({Belonging::ended, ""}), std::nullopt);
    EXPECT_STREQ(group_kind({Belonging::not_visible, ""}), "not_visible");
}
