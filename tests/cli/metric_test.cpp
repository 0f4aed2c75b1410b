// SPDX-License-Identifier: MIT
// Samples: one line each, moving numbers, rates with their interval, and reasons for what is absent.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

#include <set>
#include <sstream>

using namespace kt3::tests;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

std::vector<json> documents(const std::string& text) {
    std::vector<json> all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        all.push_back(parse_json(line));
    }
    return all;
}

json one_sample(const std::string& scene) {
    return documents(run_kt3(scene, {"metric", "--json"}).out).at(0)["adapters"][0];
}

} // namespace

TEST(Kt3Metric, GivesOneObjectPerLineWithMovingNumbers) {
    // Time advances with each reading of a node, so that numbers move however fast the samples follow.
    const Scratch scratch;
    const Ended run = run_script(
        "game", "echo 'clock step 700' >>\"$KT3_SIM_ROOT/moving-nodes\"; exec \"$KT3\" metric -w 0 -n 5 --json",
        scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    const auto samples = documents(run.out);
    ASSERT_EQ(samples.size(), 5U);
    std::set<int> clocks, temperatures;
    for (std::size_t number = 0; number < samples.size(); ++number) {
        EXPECT_EQ(samples[number]["sample"], number);
        clocks.insert(samples[number]["adapters"][0]["clocks"]["engine_mhz"].get<int>());
        temperatures.insert(samples[number]["adapters"][0]["sensors"]["temperature_c"].get<int>());
    }
    EXPECT_GT(clocks.size(), 1U);
    EXPECT_GT(temperatures.size(), 1U);
}

TEST(Kt3Metric, IsOneLineOfJsonWhenItFailsBeforeTheFirstSample) {
    for (const std::vector<std::string>& stream :
         {std::vector<std::string>{"metric", "--json"}, {"metric", "-w", "0", "-n", "3", "--json"}}) {
        const Ended run = run_kt3("no-gpu", stream);
        EXPECT_EQ(run.status, 3);
        const auto lines = documents(run.out);
        ASSERT_EQ(lines.size(), 1U) << run.out;
        EXPECT_EQ(lines[0]["command"], "metric");
        EXPECT_EQ(lines[0]["errors"][0]["code"], "no_adapter");
    }
}

TEST(Kt3Metric, CountsInDecimalWithZerosInFront) {
    EXPECT_EQ(documents(run_kt3("idle", {"metric", "-w", "0", "-n", "010", "--json"}).out).size(), 10U);
}

TEST(Kt3Metric, StatesNoRateForTheFirstSampleAndTheIntervalForLaterOnes) {
    const auto samples =
        documents(run_kt3("extended-interface", {"metric", "--no-rates", "-w", "0.05", "-n", "2", "--json"}).out);
    ASSERT_EQ(samples.size(), 2U);
    const json first = samples[0]["adapters"][0]["frames"];
    EXPECT_EQ(first["frames_per_s"], nullptr);
    EXPECT_EQ(first["frames_per_s_reason"], "first_sample");
    EXPECT_EQ(first["interval_s_reason"], "first_sample");
    const json second = samples[1]["adapters"][0]["frames"];
    EXPECT_EQ(second["source"], "nodes");
    EXPECT_GE(second["interval_s"].get<double>(), 0.05);
    EXPECT_TRUE(second["frames_per_s"].is_number());
    EXPECT_TRUE(second["sum_per_s"].is_number());
}

TEST(Kt3Metric, LeavesRatesOfAFrameCounterThatStandsStillOut) {
    const auto samples = documents(run_kt3("no-module", {"metric", "-w", "0", "-n", "2", "--json"}).out);
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[1]["adapters"][0]["frames"]["frames_per_s_reason"], "unchanged");
}

TEST(Kt3Metric, BlamesTheDriverForWhatAMissingModuleWouldCount) {
    const json adapter = one_sample("no-module");
    EXPECT_EQ(adapter["busy"]["word_2_reason"], "driver");
    EXPECT_EQ(adapter["bandwidth"]["word_0_reason"], "driver");
    EXPECT_EQ(adapter["clocks"]["engine_mhz"], 300);
}

TEST(Kt3Metric, KnowsEachBusyInterface) {
    const json older = one_sample("old-interface")["busy"];
    EXPECT_EQ(older["interface"], "version 0");
    EXPECT_TRUE(older["word_7"].is_number());
    EXPECT_EQ(older["word_5_reason"], "not_on_this_chip");
    const json extended = one_sample("extended-interface")["busy"];
    EXPECT_EQ(extended["interface"], "extended version 1");
    EXPECT_TRUE(extended["word_5"].is_number());
    EXPECT_EQ(extended["word_8_reason"], "not_on_this_chip");
}

TEST(Kt3Metric, WorksWithClosedStandardInput) {
    const Scratch scratch;
    const Ended run = run_script("idle", "exec \"$KT3\" metric -w 0 -n 2 --json <&-", scratch);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(documents(run.out).size(), 2U);
}

TEST(Kt3Metric, SwitchesUsageAccountingOnAndOffOnceForAWholeStream) {
    const Scratch scratch;
    const Ended run =
        run_script("idle", "\"$KT3\" metric -w 0 -n 3 >/dev/null 2>&1; \"$KT3_SIM\" log | wc -l", scratch);
    EXPECT_EQ(std::stoi(run.out), 2);
}

TEST(Kt3Metric, TellsRefusedAndMissingNodesApart) {
    EXPECT_EQ(one_sample("no-rights")["usage"]["engine_3d_percent_reason"], "permission");
    EXPECT_EQ(one_sample("no-rights")["frames"]["source"], "module");
    EXPECT_EQ(one_sample("missing-nodes")["usage"]["engine_3d_percent_reason"], "no_node");
    EXPECT_EQ(one_sample("missing-nodes")["memory"]["fb_used_mib_reason"], "no_node");
}

TEST(Kt3Metric, PrintsTheHeadingOnce) {
    const Ended run = run_kt3("idle", {"metric", "-w", "0", "-n", "3"});
    EXPECT_THAT(run.out, StartsWith("        time  GPU        bus id  engine MHz"));
    EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 4);
    const Ended csv = run_kt3("idle", {"metric", "-w", "0", "-n", "3", "--csv"});
    EXPECT_THAT(csv.out, StartsWith("time,sample,bdf,slot,clocks.engine_mhz,"));
    EXPECT_EQ(std::count(csv.out.begin(), csv.out.end(), '\n'), 4);
}

TEST(Kt3Metric, RefusesWrongWaitsAndCounts) {
    for (const auto& wrong : {std::pair{"-w", "-1"}, std::pair{"-n", "0"}, std::pair{"-w", "soon"}}) {
        const Ended run = run_kt3("idle", {"metric", wrong.first, wrong.second});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.out, IsEmpty());
    }
}
