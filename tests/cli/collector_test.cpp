// SPDX-License-Identifier: MIT
// Drivers that hang, readers that end, and tools that run side by side.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

constexpr const char* kHangs = "0000:03:00.0: no answer from wy_info/coreclk for 1.0 s\n";

// The reader process of the kt3 that runs as $child, once there is one.
constexpr const char* kReader = "reader() { r=; while test -z \"$r\"; do read -r r rest "
                                "</proc/$child/task/$child/children || :; done; echo $r; }\n";

} // namespace

// ---- one file that does not answer ----------------------------------------------------------------------------------

TEST(HungNode, IsNamedAndTheOtherValuesAreThere) {
    const Ended run = run_kt3("hung-node", {"info", "--json", "--timeout", "1"});
    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.err, HasSubstr(kHangs));
    const json document = parse_json(run.out);
    const json& adapter = document["adapters"][0];
    EXPECT_EQ(adapter["clocks"]["core_mhz"], nullptr);
    EXPECT_EQ(adapter["clocks"]["core_mhz_reason"], "timeout");
    EXPECT_EQ(adapter["clocks"]["engine_mhz"], 300);
    EXPECT_EQ(adapter["sensors"]["temperature_c"], 41);
    EXPECT_EQ(adapter["link"]["link_width"], 16);
    EXPECT_EQ(document["errors"], json::array({{{"code", "timeout"},
                                                {"message", "0000:03:00.0: no answer from wy_info/coreclk for 1.0 s"},
                                                {"fix", "the driver hangs there; the kernel log may say why"},
                                                {"slot", 0}}}));
}

TEST(HungNode, CostsAStreamOneValueAndNoSample) {
    const Ended run = run_kt3("hung-node", {"metric", "-w", "0", "-n", "20", "--json", "--timeout", "1"});
    const auto lines = lines_of(run.out);
    ASSERT_THAT(lines, SizeIs(20));
    for (const std::string& line : lines) {
        const json adapter = parse_json(line)["adapters"][0];
        EXPECT_EQ(adapter["clocks"]["core_mhz_reason"], "timeout");
        EXPECT_EQ(adapter["clocks"]["engine_mhz"], 300);
        EXPECT_EQ(adapter["usage"]["engine_3d_percent_reason"], nullptr);
    }
}

TEST(HungNode, EndsEveryCommandThatReadsIt) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{"--timeout", "1"},
                                                    {"metric", "--timeout", "1"},
                                                    {"--query", "core_mhz,engine_mhz", "--timeout", "1"}}) {
        const Ended run = run_kt3("hung-node", command);
        EXPECT_EQ(run.status, 5) << command[0];
        EXPECT_THAT(run.err, HasSubstr(kHangs)) << command[0];
        EXPECT_THAT(run.out, HasSubstr("300")) << command[0];
    }
}

TEST(HungNode, IsNoConcernOfCommandsThatDoNotReadIt) {
    for (const char* command : {"list", "process", "segment", "doctor"}) {
        const Ended run = run_kt3("hung-node", {command});
        EXPECT_EQ(run.status, 0) << command << run.err;
    }
}

TEST(SlowNode, IsWaitedFor) {
    const Scratch scratch;
    const Ended run =
        run_script("idle",
                   "printf '/sys/bus/pci/devices/0000:03:00.0/wy_info/coreclk\\t600\\n' >$KT3_SIM_ROOT/slow-nodes\n"
                   "env -u LD_PRELOAD \"$KT3_SIM\" run \"$KT3_SIM_ROOT/\" -- \"$KT3\" --query core_mhz,engine_mhz "
                   "--noheader --timeout 60",
                   scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "600 MHz,300 MHz\n");
}

TEST(HungDebugfs, EndsWhatReadsAllocationsAndNamesTheFile) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{"alloc", "list"},
                                                    {"alloc", "summary"},
                                                    {"process"},
                                                    {"leak", "-n", "2", "-w", "0"},
                                                    {"alloc", "diff", "-w", "0"}}) {
        std::vector<std::string> whole = command;
        whole.insert(whole.end(), {"--timeout", "1"});
        const Ended run = run_kt3("hung-debugfs", whole);
        EXPECT_EQ(run.status, 5) << command[0];
        EXPECT_THAT(run.err, HasSubstr("0000:03:00.0: no answer from 1002/info for 1.0 s\n")) << command[0];
    }
    EXPECT_EQ(run_kt3("hung-debugfs", {"info"}).status, 0);
}

TEST(LostAdapter, LosesValuesWithAReasonAndNeverHangs) {
    const Ended run = run_kt3("lost-adapter", {"metric", "-w", "0", "-n", "12", "--json"});
    const auto lines = lines_of(run.out);
    ASSERT_THAT(lines, SizeIs(12));
    EXPECT_EQ(parse_json(lines.front())["adapters"][0]["clocks"]["engine_mhz_reason"], nullptr);
    EXPECT_EQ(parse_json(lines.back())["adapters"][0]["clocks"]["engine_mhz_reason"], "driver");
}

TEST(HungNode, LetsAnInterruptThrough) {
    const Scratch scratch;
    const Ended run = run_script("hung-node",
                                 std::string(kReader) + "\"$KT3\" info --timeout 80000 >/dev/null 2>&1 & child=$!\n"
                                                        "reader >/dev/null; kill -TERM $child; wait $child; echo $?\n"
                                                        "echo $(cat /sys/class/drm/card0/device/wy_info/enable_usage)",
                                 scratch);
    EXPECT_EQ(run.out, "130\n0\n");
}

// ---- several adapters -----------------------------------------------------------------------------------------------

TEST(ThreeAdapters, HaveRatesInOneStream) {
    const auto lines = lines_of(run_kt3("three-gpus", {"metric", "-g", "all", "-w", "0.05", "-n", "3", "--json"}).out);
    ASSERT_THAT(lines, SizeIs(3));
    const json last = parse_json(lines.back());
    for (const json& adapter : last["adapters"]) {
        EXPECT_TRUE(adapter["frames"]["frames_per_s"].is_number()) << adapter;
    }
}

TEST(ThreeAdapters, GoOnWhenOneOfThemHangs) {
    const Scratch scratch;
    const Ended run =
        run_script("three-gpus",
                   "printf '/sys/bus/pci/devices/0000:05:00.0/qn_info/\\tforever\\n' >$KT3_SIM_ROOT/slow-nodes\n"
                   "exec env -u LD_PRELOAD \"$KT3_SIM\" run \"$KT3_SIM_ROOT/\" -- \"$KT3\" metric -w 0.02 -n 30 --json "
                   "--timeout 3 --no-rates",
                   scratch);
    const auto lines = lines_of(run.out);
    ASSERT_THAT(lines, SizeIs(30));
    for (const std::string& line : lines) {
        const json adapters = parse_json(line)["adapters"];
        EXPECT_TRUE(adapters[0]["clocks"]["engine_mhz"].is_number());
        EXPECT_TRUE(adapters[2]["clocks"]["engine_mhz"].is_number());
        EXPECT_EQ(adapters[1]["clocks"]["engine_mhz_reason"], "timeout");
    }
}

// ---- readers that end -----------------------------------------------------------------------------------------------

class ReaderThatEnds : public ::testing::TestWithParam<const char*> {};

// The signal comes while the stream waits between two samples, or within one.
TEST_P(ReaderThatEnds, IsStartedAgainForTheNextSample) {
    const Scratch scratch;
    const Ended run =
        run_script("idle",
                   std::string(kReader) +
                       "mkfifo $HOME/lines; \"$KT3\" metric -w 0.05 -n 12 --json --timeout 2 >$HOME/lines & child=$!\n"
                       "exec 3<$HOME/lines; read -r line <&3; kill -" +
                       GetParam() + " $(reader); cat <&3; wait $child; echo \"status $?\"",
                   scratch);
    const auto lines = lines_of(run.out);
    ASSERT_THAT(lines, SizeIs(12)) << run.err;
    EXPECT_TRUE(parse_json(lines[10])["adapters"][0]["clocks"]["engine_mhz"].is_number()) << lines[10];
}

INSTANTIATE_TEST_SUITE_P(Signals, ReaderThatEnds, ::testing::Values("SEGV", "KILL", "STOP"),
                         [](const auto& one) { return std::string(one.param); });

TEST(Reader, LeavesWithAccountingOffWhenTheOneThatAskedIsKilled) {
    const Scratch scratch;
    const Ended run =
        run_script("idle",
                   std::string(kReader) +
                       "mkfifo $HOME/lines; \"$KT3\" metric -w 60 --json >$HOME/lines & child=$!\n"
                       "exec 3<$HOME/lines; read -r line <&3; r=$(reader); kill -KILL $child; wait $child 2>/dev/null\n"
                       "while test -d /proc/$r && ! grep -qs '^State:.Z' /proc/$r/status; do sleep 0.01; done\n"
                       "echo $(cat /sys/class/drm/card0/device/wy_info/enable_usage)",
                   scratch);
    EXPECT_EQ(run.out, "0\n") << run.err;
}

TEST(Reader, ThatCannotBeEndedDoesNotHoldUpTheCommand) {
    const Scratch scratch;
    const Ended run = run_script("hung-node",
                                 "cd \"$HOME\"; mkfifo go\n" + std::string(kReader) +
                                     "\"$KT3\" info --timeout 3 >/dev/null 2>err & child=$!\n"
                                     "r=$(reader)\n" KT3_TRACER " $r <go & tracer=$!\n"
                                     "exec 4>go; wait $child; echo \"status $?\"; cat err\n"
                                     "test -d /proc/$r && echo still there; exec 4>&-; wait $tracer",
                                 scratch);
    EXPECT_THAT(run.out, AllOf(HasSubstr("status 5\n"), HasSubstr("still there\n")));
}

// ---- two tools at the same time -------------------------------------------------------------------------------------

class TwoTools : public ::testing::TestWithParam<const char*> {};

TEST_P(TwoTools, LeaveEachOtherTheAccounting) {
    const Scratch scratch;
    const Ended run =
        run_script("game",
                   std::string("mkfifo $HOME/lines; \"$KT3\" metric -g 0 -w 0.05 --json >$HOME/lines & child=$!\n"
                               "exec 3<$HOME/lines; read -r line <&3\n"
                               "\"$KT3\" ") +
                       GetParam() +
                       " >/dev/null; node=/sys/class/drm/card0/device/wy_info/enable_usage; echo $(cat $node)\n"
                       "read -r line <&3; kill -TERM $child; cat <&3 >/dev/null; wait $child; echo $(cat $node)",
                   scratch);
    EXPECT_EQ(run.out, "1\n0\n") << run.err;
}

INSTANTIATE_TEST_SUITE_P(Commands, TwoTools, ::testing::Values("info", "metric", "process", "segment"),
                         [](const auto& one) { return std::string(one.param); });

TEST(Accounting, IsSwitchedOnAgainWhenAToolThatKnowsOfNoOthersSwitchedItOff) {
    const Scratch scratch;
    const Ended run = run_script("game",
                                 "node=/sys/class/drm/card0/device/wy_info/enable_usage\n"
                                 "mkfifo $HOME/lines; \"$KT3\" metric -g 0 -w 0.05 --json >$HOME/lines & child=$!\n"
                                 "exec 3<$HOME/lines; read -r line <&3; echo 0 >$node\n"
                                 "read -r line <&3; read -r line <&3; read -r line <&3; echo $(cat $node)\n"
                                 "kill -TERM $child; cat <&3 >/dev/null; wait $child; echo $(cat $node)",
                                 scratch);
    EXPECT_EQ(run.out, "1\n0\n") << run.err;
}

// ---- sleeping adapters ----------------------------------------------------------------------------------------------

TEST(SuspendedAdapter, IsLeftAloneAndSaysSo) {
    const Scratch scratch;
    const Ended run = run_script("suspended", "\"$KT3\" info --json; \"$KT3_SIM\" log >&2", scratch);
    EXPECT_EQ(run.status, 0);
    const json adapters = parse_json(run.out)["adapters"];
    EXPECT_EQ(adapters[1]["clocks"]["engine_mhz_reason"], "suspended");
    EXPECT_EQ(adapters[1]["summary"]["memory_type_reason"], "suspended");
    EXPECT_TRUE(adapters[0]["clocks"]["engine_mhz"].is_number());
    EXPECT_THAT(run.err, Not(HasSubstr("0000:07:00.0")));
}

TEST(SuspendedAdapter, IsReadWhenItMayBeWoken) {
    const json adapters = parse_json(run_kt3("suspended", {"info", "--json", "--wake"}).out)["adapters"];
    EXPECT_TRUE(adapters[1]["clocks"]["engine_mhz"].is_number());
}

TEST(SuspendedAdapter, IsNamedByCommandsThatReadMemory) {
    const Ended run = run_kt3("suspended", {"process", "-g", "1"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("kt3: GPU 1 is suspended and was left alone\n     --wake reads it nevertheless\n"));
}

// ---- long runs ------------------------------------------------------------------------------------------------------

TEST(Stream, KeepsItsDescriptors) {
    const Scratch scratch;
    const Ended run = run_script("idle",
                                 "mkfifo $HOME/lines; \"$KT3\" metric -w 0 -n 400 --json >$HOME/lines & child=$!\n"
                                 "exec 3<$HOME/lines; for i in 1 2 3 4 5 6 7 8 9 10; do read -r line <&3; done\n"
                                 "ls /proc/$child/fd | wc -l; for i in $(seq 380); do read -r line <&3; done\n"
                                 "ls /proc/$child/fd | wc -l; cat <&3 >/dev/null; wait $child",
                                 scratch);
    const auto counts = lines_of(run.out);
    ASSERT_THAT(counts, SizeIs(2)) << run.err;
    EXPECT_EQ(counts[0], counts[1]);
}

TEST(Trace, HasEveryMessageAsALineOfJson) {
    const Scratch scratch;
    const Ended run =
        run_script("idle", "KT3_WORKER_TRACE=$HOME/trace \"$KT3\" list >/dev/null; cat $HOME/trace", scratch);
    const auto lines = lines_of(run.out);
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(parse_json(lines[0])["message"].contains("open"));
    EXPECT_EQ(parse_json(lines[0])["direction"], "->");
}
