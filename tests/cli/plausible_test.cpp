// SPDX-License-Identifier: MIT
// What cannot be is not shown as a fact, and a value is judged by the text that it came from.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr const char* kNodes = "n=$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0; ";

json adapter_with(const std::string& change, const std::string& command) {
    const Scratch scratch;
    const Ended run = run_script("idle", kNodes + change + "; exec \"$KT3\" " + command + " --json", scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    return parse_json(run.out)["adapters"][0];
}

} // namespace

TEST(Plausible, IsATemperatureBetweenMinus50And150Degrees) {
    const json sensors = adapter_with("echo '999 *C' >$n/hwmon/hwmon0/temp1_input", "info")["sensors"];
    EXPECT_TRUE(sensors["temperature_c"].is_null());
    EXPECT_EQ(sensors["temperature_c_reason"], "implausible");
    EXPECT_EQ(sensors["raw"]["temperature_c"], "999 *C");
}

TEST(Plausible, IsATemperatureInThousandthsOrBelowZero) {
    EXPECT_EQ(adapter_with("echo 45000 >$n/hwmon/hwmon0/temp1_input", "info")["sensors"]["temperature_c"], 45);
    const json sensors = adapter_with("echo -5 >$n/hwmon/hwmon0/temp1_input", "info")["sensors"];
    EXPECT_EQ(sensors["temperature_c"], -5);
    EXPECT_FALSE(sensors.contains("raw"));
}

TEST(Plausible, IsAUsageOfAtMostAHundredPercent) {
    const json usage = adapter_with("echo 101 >$n/wy_info/engine_3d_usage", "metric --no-rates")["usage"];
    EXPECT_EQ(usage["engine_3d_percent_reason"], "implausible");
    EXPECT_EQ(usage["raw"]["engine_3d_percent"], "101");
    EXPECT_EQ(usage["video_codec_percent"], 0);
}

TEST(Plausible, IsAClockOfAtMostTenGigahertz) {
    const json clocks = adapter_with("echo 10001 >$n/wy_info/eclk; echo 10000 >$n/wy_info/vclk", "info")["clocks"];
    EXPECT_EQ(clocks["engine_mhz_reason"], "implausible");
    EXPECT_EQ(clocks["video_mhz"], 10000);
}

TEST(Plausible, IsNoMoreFreeMemoryThanThereIs) {
    const json memory = adapter_with("echo 9000 >$n/wy_info/free_fb_mem", "metric --no-rates")["memory"];
    EXPECT_EQ(memory["fb_free_mib_reason"], "implausible");
    EXPECT_EQ(memory["raw"]["fb_free_mib"], "9000");
    EXPECT_TRUE(memory["fb_used_mib"].is_null());
    EXPECT_EQ(memory["fb_size_mib"], 8192);
}

TEST(Plausible, IsThePageOfTheDriverAsWell) {
    const json page =
        adapter_with("sed -i 's/Temperature : 41/Temperature : 4100/' $KT3_SIM_ROOT/proc/gpuinfo_0", "info")["page"];
    EXPECT_EQ(page["temperature_c_reason"], "implausible");
    EXPECT_EQ(page["raw"]["temperature_c"], "4100");
}

TEST(Implausible, IsSaidOnScreenWithTheText) {
    const Scratch scratch;
    const Ended run =
        run_script("idle", std::string(kNodes) + "echo 777 >$n/hwmon/hwmon0/temp1_input; exec \"$KT3\" info", scratch);
    EXPECT_THAT(run.out, HasSubstr("-  (implausible: 777)"));
}

TEST(Strict, EndsWithStatus7AndNamesWhatIsAbsent) {
    const Ended run = run_kt3("missing-nodes", {"info", "--strict"});
    EXPECT_EQ(run.status, 7);
    EXPECT_THAT(run.err, HasSubstr("kt3: GPU 0: video_mhz: not published by this driver\n"));
    EXPECT_THAT(run.err, Not(HasSubstr("engine_mhz")));
}

TEST(Strict, DoesNotBlameTheChip) {
    const Ended run = run_kt3("foreign-gpu", {"list", "--strict"});
    EXPECT_EQ(run.status, 0) << run.err;
}

TEST(Strict, HoldsForEveryCommandThatReads) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"--strict"}, {"metric", "--strict"}, {"--query", "video_mhz", "--strict"}}) {
        EXPECT_EQ(run_kt3("missing-nodes", command).status, 7) << command[0];
    }
    EXPECT_EQ(run_kt3("no-rights", {"metric", "--strict"}).status, 7);
}

TEST(NoValues, AreNeverShownWithoutTheReason) {
    EXPECT_THAT(run_kt3("demo", {"metric"}).out, HasSubstr("GPU 2: no values: not on this chip\n"));
    EXPECT_THAT(run_kt3("demo", {}).out, HasSubstr("GPU 2: no values: not on this chip\n"));
}

TEST(Doctor, JudgesTheTemperature) {
    const Ended run = run_kt3("throttled", {"doctor"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("near its limit"));
    EXPECT_THAT(run_kt3("idle", {"doctor"}).out, HasSubstr("GPU 0: 41 C\n"));
}

TEST(Doctor, SaysWhichNodesADriverDoesNotPublish) {
    const json findings = parse_json(run_kt3("missing-nodes", {"doctor", "--json"}).out)["findings"];
    bool found = false;
    for (const json& finding : findings) {
        if (finding["code"] == "nodes_missing") {
            found = true;
            EXPECT_THAT(finding["message"].get<std::string>(), HasSubstr("3 of 30 nodes in wy_info; not published: "));
            EXPECT_TRUE(finding["fix"].is_string());
        }
    }
    EXPECT_TRUE(found);
    EXPECT_THAT(run_kt3("missing-nodes", {"doctor"}).out, Not(HasSubstr("Healthy")));
}

TEST(Doctor, IsHealthyOnlyWhenNothingIsMissing) {
    EXPECT_THAT(run_kt3("idle", {"doctor"}).out, HasSubstr("\nNo problem, 1 note.\n"));
    EXPECT_THAT(run_kt3("demo", {"doctor"}).out, HasSubstr("\nHealthy.\n"));
    EXPECT_THAT(run_kt3("four-devices", {"doctor"}).out, HasSubstr("0000:08:00.0 is left out\n"));
}

TEST(Doctor, SaysHowAGroupGetsTheRights) {
    const Ended run = run_kt3("no-rights", {"doctor"});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.out, HasSubstr("udev rule"));
    EXPECT_THAT(run.out, HasSubstr("mode=0750,gid=video"));
}

TEST(VirtualMemory, IsSaidToExistForTheOlderFamilyOnly) {
    const Ended run = run_kt3("idle", {"vm", "clients"});
    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.err, HasSubstr("only the driver of the older family publishes dumps"));
}
