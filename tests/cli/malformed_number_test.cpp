// SPDX-License-Identifier: MIT
// A number that is none, met half-way: after a sample that was good, or at the second of several looks. Nodes that are
// pipes hold kt3 up while the driver changes its mind.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

// kt3 reads the video clock, the memory clock and the core clock of a sample in this order. The first and the last are
// pipes: each is closed before kt3 can come back to it, because the other one holds it up.
constexpr const char* kThreeSamples = R"(
nodes="$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0/wy_info"; cd "$HOME"
rm "$nodes/vclk" "$nodes/coreclk"; mkfifo "$nodes/vclk" "$nodes/coreclk"
"$KT3" metric -w 0 -n 3 $options >out & child=$!
sample() { exec 3>"$nodes/vclk"; echo $1 >"$nodes/mclk"; echo 250 >&3; exec 3>&-; echo 600 >"$nodes/coreclk"; }
sample 1600
sample junk
sample 1700
wait $child; status=$?
cat out
exit $status)";

// The second of three samples finds a memory clock that is no number.
Ended stream_with_a_bad_second_sample(const std::string& options) {
    const Scratch scratch;
    return run_script("idle", "options=" + options + '\n' + kThreeSamples, scratch);
}

// At the second look the pipe of the first allocation is closed, since the second allocation was read after it.
constexpr const char* kTwoLooks = R"(
driver="$KT3_SIM_ROOT/sys/kernel/debug/dri/0/wy"; cd "$HOME"
mkdir -p "$driver/allocations/1" "$driver/allocations/2" "$driver/devices"
mkfifo "$driver/allocations/1/info" "$driver/allocations/2/info"
"$KT3" $command >out & child=$!
page() { printf "handle=$2\ndevice=7\nsize=4096\n" >"$driver/allocations/$1/info"; }
page 1 1; page 2 2
page 1 $later
wait $child; status=$?
cat out
"$KT3_SIM" log >&2
exit $status)";

// Looks at an adapter with two allocations, whose pages are pipes. `later` is the handle that the first of them has at
// the second look.
Ended look_twice(const std::string& command, const std::string& later) {
    const Scratch scratch;
    return run_script("idle", "command='" + command + "' later=" + later + '\n' + kTwoLooks, scratch);
}

} // namespace

TEST(MalformedNumber, CostsAStreamThatOneValueAndNothingElse) {
    const Ended run = stream_with_a_bad_second_sample("--json");
    EXPECT_EQ(run.status, 0) << run.err;
    const auto lines = lines_of(run.out);
    ASSERT_THAT(lines, SizeIs(3));
    const json first = parse_json(lines[0])["adapters"][0]["clocks"];
    const json second = parse_json(lines[1])["adapters"][0]["clocks"];
    const json third = parse_json(lines[2])["adapters"][0]["clocks"];
    EXPECT_EQ(first["memory_mhz"], 1600);
    EXPECT_EQ(second["memory_mhz"], nullptr);
    EXPECT_EQ(second["memory_mhz_reason"], "parse_error");
    EXPECT_EQ(second["video_mhz"], 250);
    EXPECT_EQ(second["core_mhz"], 600);
    EXPECT_EQ(third["memory_mhz"], 1700);
    EXPECT_EQ(third["memory_mhz_reason"], nullptr);
}

TEST(MalformedNumber, LeavesAnEmptyFieldInAStreamOfCsv) {
    const Ended run = stream_with_a_bad_second_sample("--csv");
    EXPECT_EQ(run.status, 0) << run.err;
    const auto lines = lines_of(run.out);
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_THAT(
        lines[0],
        StartsWith("time,sample,bdf,slot,clocks.engine_mhz,clocks.video_mhz,clocks.memory_mhz,clocks.core_mhz,"));
    EXPECT_THAT(lines[1], HasSubstr("Z,0,0000:03:00.0,0,300,250,1600,600,"));
    EXPECT_THAT(lines[2], HasSubstr("Z,1,0000:03:00.0,0,300,250,,600,"));
    EXPECT_THAT(lines[3], HasSubstr("Z,2,0000:03:00.0,0,300,250,1700,600,"));
}

TEST(MalformedNumber, ThrownByTheLibraryIsAbsentFromTheSampleAndTheStreamGoesOn) {
    const Scratch scratch;
    const std::vector<std::string> command = {"metric", "--no-rates", "-w",        "0",
                                              "-n",     "3",          "--library", KT3_FALTERING_LIBRARY};
    const Ended text = run_kt3("idle", command, scratch);
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(lines_of(text.out), SizeIs(5)) << "the heading, three samples, and why the first has no values";
    EXPECT_THAT(text.err, HasSubstr("malformed number in what the module counts of GPU 0 (stoll)\n"));
    auto as_json = command;
    as_json.emplace_back("--json");
    const auto lines = lines_of(run_kt3("idle", as_json, scratch).out);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_THAT(parse_json(lines[0])["errors"], IsEmpty());
    for (const std::size_t sample : {1U, 2U}) {
        const json document = parse_json(lines[sample]);
        EXPECT_EQ(document["sample"], sample);
        EXPECT_EQ(document["errors"][0]["code"], "parse_error");
        EXPECT_EQ(document["adapters"][0]["frames"]["frames_per_s_reason"], "parse_error");
    }
}

TEST(MalformedNumber, AtALaterLookEndsLeakWithoutAVerdict) {
    for (const char* handle : {"zz", "80000000"}) {
        const Ended run = look_twice("leak -w 0 -n 3 --gate 1 --json", handle);
        EXPECT_EQ(run.status, 1) << run.err;
        const json document = parse_json(run.out);
        EXPECT_EQ(document["errors"][0]["code"], "parse_error");
        EXPECT_THAT(document["groups"], IsEmpty());
        EXPECT_THAT(run.err, HasSubstr("enable_usage\t\"0\"\n"));
    }
}

TEST(MalformedNumber, AtTheSecondLookLeavesAllocDiffNothingToCompare) {
    const Ended run = look_twice("alloc diff -w 0 --json", "zz");
    EXPECT_EQ(run.status, 1) << run.err;
    EXPECT_EQ(parse_json(run.out)["errors"][0]["code"], "parse_error");
    EXPECT_THAT(run.err, HasSubstr("enable_usage\t\"0\"\n"));
}
