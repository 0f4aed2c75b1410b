// SPDX-License-Identifier: MIT
// kt3 leak: the verdict, the gate and its limits.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

TEST(Kt3Leak, NamesTheLeakingProcessAndShape) {
    const Ended run = run_kt3("leak", {"leak", "-w", "0", "-n", "6"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("grew in 5 looks in a row: 1920x1080, 8294400 B, format 11, type 1; "
                                   "/usr/bin/leaky-player (41020)\n"));
}

TEST(Kt3Leak, CountsLiveGrownAndLivedOfEachShape) {
    const json document = parse_json(run_kt3("leak", {"leak", "-w", "0", "-n", "6", "--json"}).out);
    const json& first = document["groups"][0];
    EXPECT_EQ(first["live"], 2 + 6 * 3);
    EXPECT_EQ(first["growth"], 5 * 3);
    EXPECT_EQ(first["lived_looks"], 6);
    EXPECT_EQ(first["leaks"], true);
    EXPECT_EQ(first["owners"][0]["process"], "/usr/bin/leaky-player");
    for (std::size_t at = 1; at < document["groups"].size(); ++at) {
        EXPECT_EQ(document["groups"][at]["leaks"], false);
    }
}

TEST(Kt3Leak, EndsWithStatusSixWhenAShapeGrewAsOftenAsTheGateAllows) {
    EXPECT_EQ(run_kt3("leak", {"leak", "-w", "0", "-n", "6", "--gate", "3"}).status, 6);
    EXPECT_EQ(run_kt3("leak", {"leak", "-w", "0", "-n", "6", "--gate", "5"}).status, 6);
    EXPECT_EQ(run_kt3("busy", {"leak", "-w", "0", "-n", "6", "--gate", "1"}).status, 0);
}

TEST(Kt3Leak, DoesNotTakeARowOfOneForARowOfTwo) {
    // Five allocations that are there at every other look grow again and again, never twice in a row.
    const json document = parse_json(run_kt3("leak", {"leak", "-w", "0", "-n", "6", "--gate", "2", "--json"}).out);
    int leaks = 0;
    for (const json& group : document["groups"]) {
        leaks += group["leaks"].get<bool>() ? 1 : 0;
    }
    EXPECT_EQ(leaks, 1);
}

TEST(Kt3Leak, SeesNoGrowthInReadingsThatHadToBeginAnew) {
    const Ended run = run_kt3("churn", {"leak", "-w", "0", "-n", "5", "--gate", "1", "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out)["groups"][0]["live"], 32);
}

TEST(Kt3Leak, RefusesAGateThatTheLooksCannotReach) {
    const Ended run = run_kt3("leak", {"leak", "-n", "3", "--gate", "3"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("at least 4 looks"), HasSubstr("-n 4")));
}

TEST(Kt3Leak, RefusesFewerThanTwoLooksAndANegativeWait) {
    EXPECT_EQ(run_kt3("leak", {"leak", "-n", "1"}).status, 2);
    EXPECT_EQ(run_kt3("leak", {"leak", "-w", "-1"}).status, 2);
}

TEST(Kt3Leak, WatchesOneAdapterOnly) {
    EXPECT_EQ(run_kt3("demo", {"leak", "-w", "0", "-g", "all"}).status, 2);
}

TEST(Kt3Leak, SaysWhenAllocationsCannotBeRead) {
    const Ended run = run_kt3("idle", {"leak", "-w", "0"});
    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.err, HasSubstr("cannot read the allocations of GPU 0"));
    EXPECT_EQ(run_kt3("no-rights", {"leak", "-w", "0"}).status, 4);
    EXPECT_EQ(run_kt3("no-gpu", {"leak", "-w", "0"}).status, 3);
}

TEST(Kt3Leak, SwitchesUsageAccountingOffAgain) {
    const Scratch scratch;
    const Ended run = run_script("leak", "\"$KT3\" leak -w 0 >/dev/null; \"$KT3_SIM\" log | tail -n 1", scratch);
    EXPECT_THAT(run.out, AllOf(HasSubstr("enable_usage"), HasSubstr("0")));
}
