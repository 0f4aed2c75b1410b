// SPDX-License-Identifier: MIT
// Named values, repeated looks, several adapters, and the habits of other tools.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

#include <gmock/gmock.h>

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

TEST(Query, PrintsTheNamedValuesOfEachAdapter) {
    EXPECT_EQ(run_kt3("demo", {"--query", "bdf,temperature_c,fb_used_mib"}).out,
              "bdf,temperature_c,fb_used_mib\n"
              "0000:03:00.0,41 C,288 MiB\n"
              "0000:05:00.0,48 C,256 MiB\n"
              "0000:08:00.0,[not_on_this_chip],[not_on_this_chip]\n");
}

TEST(Query, LeavesHeadingAndUnitsOut) {
    EXPECT_EQ(run_kt3("demo", {"--query", "slot,temperature_c", "--noheader", "--nounits", "-g", "0,2"}).out,
              "0,41\n2,\n");
}

TEST(Query, TakesTheNamesOfOtherTools) {
    EXPECT_EQ(run_kt3("idle", {"--query-gpu=index,name,memory.total", "--format=csv,noheader,nounits"}).out,
              "0,Gpu0:Vorla-55F0,8192\n");
}

TEST(Query, TellsSameNamesApartByTheirGroup) {
    EXPECT_EQ(run_kt3("idle", {"--query", "temperature_c,page.temperature_c,sensors.temperature_c", "--noheader"}).out,
              "41 C,41 C,41 C\n");
}

TEST(Query, NamesTheNearestFieldForAMistypedOne) {
    const Ended run = run_kt3("idle", {"--query", "temprature_c"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, AllOf(HasSubstr("no field 'temprature_c'; did you mean temperature_c"),
                               HasSubstr("kt3 --list-fields")));
}

TEST(Query, ListsAllFieldsWithTheirUnits) {
    const Ended run = run_kt3("no-gpu", {"--list-fields"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out,
                AllOf(HasSubstr("\ntemperature_c "), HasSubstr("\npage.temperature_c"), HasSubstr("\nframes_per_s"),
                      HasSubstr("\nbandwidth.word_0 "), HasSubstr("\nbusy.word_2 "), HasSubstr("  MHz  ")));
}

TEST(Query, HasNoJsonForm) {
    EXPECT_EQ(run_kt3("idle", {"--query", "bdf", "--json"}).status, 2);
    EXPECT_EQ(run_kt3("idle", {"--noheader"}).status, 2);
}

TEST(Adapters, AreNamedWithCommasOrByRepeatingTheOption) {
    const std::string both = run_kt3("demo", {"list", "-g", "0,1", "--csv"}).out;
    EXPECT_THAT(lines_of(both), SizeIs(3));
    EXPECT_EQ(run_kt3("demo", {"list", "-g", "0000:05:00.0", "-g", "0", "--csv"}).out, both);
    EXPECT_THAT(run_kt3("demo", {"list", "-g", "0,7"}).err, HasSubstr("no adapter '7'"));
}

TEST(Looks, AreRepeatedByEveryCommandThatReadsWhatMoves) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{}, {"process"}, {"alloc", "list"}, {"alloc", "summary"}, {"segment"}, {"metric"}}) {
        auto arguments = command;
        arguments.insert(arguments.end(), {"-w", "0", "-n", "2", "--json"});
        const auto lines = lines_of(run_kt3("idle", arguments).out);
        ASSERT_THAT(lines, SizeIs(2)) << ::testing::PrintToString(command);
        EXPECT_EQ(parse_json(lines[1])["sample"], 1);
    }
}

TEST(Looks, HaveOneHeadingInCsv) {
    const auto lines = lines_of(run_kt3("busy", {"process", "--csv", "--top", "1", "-w", "0", "-n", "3"}).out);
    ASSERT_THAT(lines, SizeIs(4));
    EXPECT_THAT(lines[0], StartsWith("slot,bdf,pid,"));
    EXPECT_EQ(lines[1], lines[3]);
}

TEST(Looks, GoIntoTheFileItselfSoThatOthersCanFollow) {
    const Scratch scratch;
    const Ended run =
        run_script("idle",
                   "\"$KT3\" metric --csv --no-rates -w 0 -n 100000 -o \"$HOME/log\" & "
                   "until test \"$(wc -l <\"$HOME/log\" 2>/dev/null || echo 0)\" -ge 3; do sleep 0.02; done; "
                   "kill $!; wait; head -n 1 \"$HOME/log\"; ls \"$HOME\" | grep -c log",
                   scratch);
    EXPECT_THAT(run.out, AllOf(StartsWith("time,sample,bdf,slot,clocks.engine_mhz,"), ::testing::EndsWith("\n1\n")));
}

TEST(Looks, OfKt3AloneStandAfterNoCommand) {
    const Ended run = run_kt3("idle", {"-w", "1", "list"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, HasSubstr("after its name"));
}

TEST(Metric, HasRatesInASingleSample) {
    const Scratch scratch;
    const Ended run = run_script(
        "idle", "echo 'clock step 200000000' >\"$KT3_SIM_ROOT/module-behaviour\"; exec \"$KT3\" metric --json",
        scratch);
    const json frames = parse_json(run.out)["adapters"][0]["frames"];
    EXPECT_TRUE(frames["frames_per_s"].is_number());
    EXPECT_TRUE(frames["interval_s"].is_number());
    const json none = parse_json(run_kt3("idle", {"metric", "--no-rates", "--json"}).out)["adapters"][0]["frames"];
    EXPECT_EQ(none["frames_per_s_reason"], "first_sample");
}

TEST(Metric, BeginsItsLinesWithTimeSampleAndBusId) {
    const auto lines = lines_of(run_kt3("idle", {"metric", "--csv", "--no-rates", "-w", "0", "-n", "2"}).out);
    EXPECT_THAT(lines.at(0), StartsWith("time,sample,bdf,slot,"));
    EXPECT_THAT(lines.at(2),
                ::testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\\.[0-9]{3}Z,1,0000:03:00\\.0,0,.*"));
}

TEST(Process, IsFilteredSortedAndCut) {
    const auto processes = [](std::vector<std::string> options) {
        options.insert(options.begin(), {"process", "--json"});
        std::vector<int> pids;
        const json document = parse_json(run_kt3("busy", options).out);
        for (const json& process : document["processes"]) {
            pids.push_back(process["pid"].is_null() ? 0 : process["pid"].get<int>());
        }
        return pids;
    };
    EXPECT_THAT(processes({"--pid", "41009"}), ElementsAre(41009));
    EXPECT_THAT(processes({"--name", "player", "--sort", "pid"}), ElementsAre(41006, 41007));
    EXPECT_THAT(processes({"--top", "1"}), ElementsAre(41005));
    EXPECT_THAT(processes({"--name", "browser", "--sort", "device"}), ElementsAre(41003, 41004));
    EXPECT_THAT(processes({"--name", "nobody"}), IsEmpty());
    EXPECT_THAT(run_kt3("busy", {"process", "--sort", "size"}).err, HasSubstr("total"));
    EXPECT_THAT(run_kt3("busy", {"process", "--top", "2"}).out, HasSubstr("11 more\n"));
}

TEST(Habits, OfOtherToolsWork) {
    EXPECT_EQ(run_kt3("demo", {"-L"}).out, run_kt3("demo", {"list"}).out);
    EXPECT_EQ(run_kt3("busy", {"ps", "--top", "3"}).out, run_kt3("busy", {"process", "--top", "3"}).out);
    EXPECT_EQ(run_kt3("demo", {"discovery", "-i", "1"}).out, run_kt3("demo", {"list", "-g", "1"}).out);
    EXPECT_EQ(run_kt3("demo", {"-q", "-i", "0"}).out, run_kt3("demo", {"info", "-g", "0"}).out);
    EXPECT_EQ(run_kt3("idle", {"help", "list"}).out, run_kt3("idle", {"list", "--help"}).out);
    EXPECT_EQ(run_kt3("idle", {"-V"}).out, run_kt3("idle", {"--version"}).out);
}

TEST(Habits, AreOnNoHelpPage) {
    const std::string help = run_kt3("idle", {"--help"}).out;
    for (const char* word : {"discovery", "dmon", "health", "--query-gpu", "-L"}) {
        EXPECT_THAT(help, ::testing::Not(HasSubstr(word)));
    }
}

TEST(Slips, GetTheNearestWordsNamed) {
    EXPECT_THAT(run_kt3("idle", {"lst"}).err, HasSubstr("unknown command 'lst'; did you mean list?"));
    EXPECT_THAT(run_kt3("idle", {"metric", "--jsn"}).err, HasSubstr("unknown option '--jsn'; did you mean --json?"));
    EXPECT_THAT(run_kt3("idle", {"prefer", "xyz"}).err,
                HasSubstr("unknown command 'xyz'; choose from list, get, set, remove"));
    EXPECT_THAT(run_kt3("idle", {"prefer"}).err, HasSubstr("kt3 prefer needs one of list, get, set, remove"));
}

TEST(Pipes, ThatAreClosedEndKt3AsTheyEndOtherTools) {
    const Scratch scratch;
    const Ended run =
        run_script("game",
                   "{ \"$KT3\" metric --no-rates -w 0 -n 1000000 2>\"$HOME/err\"; echo \"status $?\" >&2; } | "
                   "head -n 2 >/dev/null; cat \"$HOME/err\"; cat /sys/class/drm/card0/device/wy_info/enable_usage",
                   scratch);
    EXPECT_EQ(run.err, "status 141\n");
    EXPECT_EQ(run.out, "0") << "no message, and accounting is off again";
}

TEST(Differences, EndWithStatus1WhenAsked) {
    const Scratch scratch;
    const std::string old = scratch.folder / "old.json";
    EXPECT_EQ(run_kt3("busy", {"alloc", "list", "--json", "-o", old}, scratch).status, 0);
    EXPECT_EQ(run_kt3("no-gpu", {"alloc", "diff", old, old, "--exit-code"}, scratch).status, 0);
    EXPECT_EQ(run_kt3("leak", {"alloc", "diff", "-w", "0", "--exit-code"}, scratch).status, 1);
    EXPECT_EQ(run_kt3("leak", {"alloc", "diff", "-w", "0"}, scratch).status, 0);
    const std::string tables = scratch.folder / "tables.json";
    EXPECT_EQ(run_kt3("vm-small", {"vm", "pagetable", "--json", "-o", tables}, scratch).status, 0);
    EXPECT_EQ(run_kt3("no-gpu", {"vm", "diff", tables, tables, "--exit-code"}, scratch).status, 0);
}
