// SPDX-License-Identifier: MIT
#include "observe/owner/process_pages.hpp"

using namespace kt3::observe;

namespace {

constexpr const char* kFields = " S 1 1 1 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 500000 0 0\n";

std::string stat_of(const std::string& name) {
    return "4711 (" + name + ")" + kFields;
}

} // namespace

TEST(ProcessStat, GivesNameStateAndStart) {
    const auto stat = parse_process_stat(stat_of("game"));
    ASSERT_TRUE(stat);
    EXPECT_EQ(stat->name, "game");
    EXPECT_EQ(stat->state, "S");
    EXPECT_EQ(stat->start_time, 500'000U);
}

TEST(ProcessStat, TakesNamesThatHoldSpacesParenthesesAndLineEnds) {
    for (const char* name : {"a b", "a) S 1 (b", ") R 9 9", "(", ")", "(()", "", "a\nb", "1 (x) Z 0"}) {
        const auto stat = parse_process_stat(stat_of(name));
        ASSERT_TRUE(stat) << name;
        EXPECT_EQ(stat->name, name);
        EXPECT_EQ(stat->state, "S") << name;
        EXPECT_EQ(stat->start_time, 500'000U) << name;
    }
}

TEST(ProcessStat, IsNotThereWhenAFieldIsMissingOrIsNoNumber) {
    for (const char* text : {"", "4711", "4711 (game", "4711 game)", ")(", "4711 (game)", "4711 (game) S 1 2 3",
                             "4711 (game) S 1 1 1 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 soon 0 0\n",
                             "4711 (game) SS 1 1 1 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 500000 0 0\n",
                             "4711 (game) S 1 1 1 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 -5 0 0\n",
                             "4711 (game) S 1 1 1 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 99999999999999999999 0 0\n"}) {
        EXPECT_FALSE(parse_process_stat(text)) << text;
    }
}

TEST(ProcessStatus, GivesTheEffectiveUserAndTheInnermostPid) {
    const ProcessStatus status =
        parse_process_status("Name:\tgame\nState:\tS (sleeping)\nUid:\t1000\t0\t1000\t1000\nNSpid:\t4711\t12\t3\n");
    EXPECT_EQ(status.uid, 0U);
    EXPECT_EQ(status.inner_pid, 3);
}

TEST(ProcessStatus, HasNoInnerPidOutsideOfContainers) {
    EXPECT_EQ(parse_process_status("NSpid:\t4711\n").inner_pid, std::nullopt);
    EXPECT_EQ(parse_process_status("Name:\tNSpid:\t1\t2\n").inner_pid, std::nullopt) << "a name is not a key";
}

TEST(ProcessStatus, PassesOverWhatIsNoNumber) {
    EXPECT_EQ(parse_process_status("").uid, std::nullopt);
    EXPECT_EQ(parse_process_status("Uid:\n7\t7\n").uid, std::nullopt);
    EXPECT_EQ(parse_process_status("Uid:\t1\tx\n").uid, std::nullopt);
    EXPECT_EQ(parse_process_status("Uid:\t1\t-1\n").uid, std::nullopt);
    EXPECT_EQ(parse_process_status("Uid:\t1\t4294967295").uid, 4'294'967'295U);
}

TEST(BootTime, StandsInALineOfItsOwn) {
    EXPECT_EQ(parse_boot_time("cpu  1 2\nintr 9 9\nbtime 1767225600\nprocesses 5\n"), 1'767'225'600);
    EXPECT_EQ(parse_boot_time("cpu btime 5\n"), std::nullopt);
    EXPECT_EQ(parse_boot_time("btime soon\n"), std::nullopt);
    EXPECT_EQ(parse_boot_time(""), std::nullopt);
}
