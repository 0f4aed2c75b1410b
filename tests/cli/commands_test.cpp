// SPDX-License-Identifier: MIT
// What each command says and how it ends, on whole simulated machines.

#include "cli/run_kt3.hpp"
#include "kt3/exit_status.hpp"

#include "cli/json.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

std::vector<std::string> messages_with_level(const json& document, const std::string& level) {
    std::vector<std::string> messages;
    for (const json& finding : document["findings"]) {
        if (finding["level"] == level) {
            messages.push_back(finding["message"]);
        }
    }
    return messages;
}

} // namespace

TEST(Kt3Help, ExplainsEveryExitStatus) {
    const Ended help = run_kt3("no-gpu", {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr(kt3::cli::kExitStatusHelp));
    for (const char* status : {"  0 ", "  1 ", "  2 ", "  3 ", "  4 ", "  5 ", "  6 ", "  130 "}) {
        EXPECT_THAT(help.out, HasSubstr(status));
    }
}

TEST(Kt3Help, ListsEveryCommand) {
    const Ended help = run_kt3("no-gpu", {"--help"});
    for (const char* command :
         {"list", "info", "metric", "dvfs", "alloc", "process", "segment", "leak", "prefer", "doctor", "version"}) {
        EXPECT_THAT(help.out, HasSubstr(std::string("\n  ") + command + " "));
        EXPECT_EQ(run_kt3("no-gpu", {command, "--help"}).status, 0);
    }
}

TEST(Kt3List, ShowsOneAdapterWithoutBindingIt) {
    const Scratch scratch;
    const Ended run =
        run_script("idle", "\"$KT3\" list -g 03:00.0 --json 2>/dev/null >/dev/null; \"$KT3_SIM\" log", scratch);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, Not(HasSubstr("enable_usage")));
}

TEST(Kt3List, WritesNothingToStandardErrorWhenAllIsWell) {
    EXPECT_THAT(run_kt3("idle", {"list"}).err, IsEmpty());
}

namespace {

constexpr const char* kLeftOut = "the library manages 3 adapters; 0000:0b:00.0 is left out";
constexpr const char* kLibrarysWord = "exceed  MAX_CHIP_NUM. ";

} // namespace

TEST(LeftOutAdapter, IsNamedOnceByList) {
    const Ended run = run_kt3("four-gpus", {"list", "--json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err,
              std::string("kt3: ") + kLeftOut + "\n     take out a graphics adapter that need not be managed\n");
    const json document = parse_json(run.out);
    EXPECT_EQ(document["adapters"].size(), 3U);
    ASSERT_EQ(document["errors"].size(), 1U);
    EXPECT_EQ(document["errors"][0]["code"], "left_out");
    EXPECT_EQ(document["errors"][0]["message"], kLeftOut);
    EXPECT_TRUE(document["errors"][0]["slot"].is_null());
}

TEST(LeftOutAdapter, CanBeOneOfAnotherVendor) {
    EXPECT_THAT(run_kt3("four-devices", {"list"}).err, HasSubstr("0000:08:00.0 is left out\n"));
}

TEST(LeftOutAdapter, StandsOnTheScreenOfKt3Alone) {
    const Ended run = run_kt3("four-gpus", {});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr(std::string("\n") + kLeftOut + '\n'));
    EXPECT_THAT(run.err, IsEmpty());
    const Ended rows = run_kt3("four-gpus", {"--csv", "-w", "0", "-n", "2"});
    EXPECT_EQ(rows.err.find(kLeftOut), rows.err.rfind(kLeftOut));
    EXPECT_THAT(rows.err, HasSubstr(kLeftOut));
}

TEST(LeftOutAdapter, IsANoteOfDoctor) {
    const Ended run = run_kt3("four-gpus", {"doctor"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr(std::string("note     adapters    ") + kLeftOut));
    EXPECT_EQ(run.out.find("0000:0b:00.0"), run.out.rfind("0000:0b:00.0"));
}

TEST(LeftOutAdapter, IsTheReasonWhenItIsAskedFor) {
    const Ended run = run_kt3("four-gpus", {"info", "-g", "0b:00.0"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr(kLeftOut));
}

TEST(LeftOutAdapter, IsNoneThatTheLibraryHasASlotForAndCannotOpen) {
    const Scratch scratch;
    const Ended run = run_script("two-families",
                                 "rm \"$KT3_SIM_ROOT\"/dev/dri/card1 \"$KT3_SIM_ROOT\"/dev/dri/renderD129; "
                                 "\"$KT3\" list --csv; \"$KT3\" doctor",
                                 scratch);
    EXPECT_THAT(run.out, HasSubstr("0000:05:00.0: has a driver, but the library does not list it"));
    EXPECT_THAT(run.out + run.err, Not(HasSubstr("left out")));
}

TEST(LeftOutAdapter, IsSaidInTheLibrarysWordsWhenTheyAreWanted) {
    EXPECT_THAT(run_kt3("four-gpus", {"info"}).err, Not(HasSubstr(kLibrarysWord)));
    EXPECT_THAT(run_kt3("four-gpus", {"info", "-v"}).err, HasSubstr(kLibrarysWord));
}

TEST(Kt3Info, SwitchesUsageAccountingOnAndOffAgain) {
    const Scratch scratch;
    const Ended run = run_script("idle", "\"$KT3\" info >/dev/null 2>&1; \"$KT3_SIM\" log", scratch);
    const auto on = run.out.find("enable_usage");
    ASSERT_NE(on, std::string::npos) << run.out;
    const auto off = run.out.find("enable_usage", on + 1);
    ASSERT_NE(off, std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("enable_usage", off + 1), std::string::npos) << run.out;
}

TEST(Kt3Info, NamesTheModuleThatWasBound) {
    const json newer = parse_json(run_kt3("idle", {"info", "--json"}).out);
    EXPECT_EQ(newer["adapters"][0]["driver"]["module"], "libvorlakeinterface_v2.so.0.0.0");
    const json older = parse_json(run_kt3("old-family", {"info", "--json"}).out);
    EXPECT_EQ(older["adapters"][0]["driver"]["module"], "libkt3keinterface_v2.so.0.0.0");
}

TEST(Kt3Info, SaysWhyAValueIsAbsent) {
    const json missing = parse_json(run_kt3("missing-nodes", {"info", "--json"}).out)["adapters"][0];
    EXPECT_EQ(missing["clocks"]["engine_mhz"], 300);
    EXPECT_EQ(missing["clocks"]["engine_mhz_reason"], nullptr);
    EXPECT_EQ(missing["clocks"]["memory_mhz"], nullptr);
    EXPECT_EQ(missing["clocks"]["memory_mhz_reason"], "no_node");
    const json refused = parse_json(run_kt3("no-rights", {"info", "--json"}).out)["adapters"][0];
    EXPECT_EQ(refused["clocks"]["engine_mhz_reason"], "permission");
    EXPECT_EQ(refused["sensors"]["temperature_c_reason"], "permission");
    EXPECT_EQ(refused["driver"]["debugfs_directory_reason"], "permission");
    const json foreign = parse_json(run_kt3("foreign-gpu", {"info", "-g", "2", "--json"}).out)["adapters"][0];
    EXPECT_EQ(foreign["sensors"]["temperature_c_reason"], "not_on_this_chip");
}

TEST(Kt3Info, TellsAZeroFromAnAbsentAndFromABrokenNode) {
    const Scratch scratch;
    const Ended run = run_script("idle",
                                 "cd \"$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0/wy_info\" && echo 0 >eclk && "
                                 "echo junk >vclk && rm mclk && exec \"$KT3\" info --json",
                                 scratch);
    const json clocks = parse_json(run.out)["adapters"][0]["clocks"];
    EXPECT_EQ(clocks["engine_mhz"], 0);
    EXPECT_EQ(clocks["video_mhz_reason"], "parse_error");
    EXPECT_EQ(clocks["memory_mhz_reason"], "no_node");
}

TEST(Kt3Info, EscapesWhatTheDriverPublishesOnScreenAndReplacesItInJson) {
    const Scratch scratch;
    const std::string publish =
        "printf 'a\\033[31mb\\377\\n' >"
        "\"$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0/wy_info/vbios_version\"; exec \"$KT3\" info ";
    const Ended screen = run_script("idle", publish, scratch);
    EXPECT_EQ(screen.status, 0);
    EXPECT_THAT(screen.out, HasSubstr("a\\x1b[31mb\xEF\xBF\xBD\n"));
    EXPECT_THAT(screen.out, Not(HasSubstr("\x1b")));
    const json document = parse_json(run_script("idle", publish + "--json", scratch).out);
    EXPECT_EQ(document["adapters"][0]["versions"]["vbios"], "a\x1b[31mb\xEF\xBF\xBD");
}

TEST(Kt3Doctor, EndsWith0OnAHealthyMachine) {
    const Ended run = run_kt3("idle", {"doctor", "--json"});
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(messages_with_level(parse_json(run.out), "problem"), IsEmpty());
}

TEST(Kt3Doctor, EndsWith4WhenRightsAreMissing) {
    const Ended run = run_kt3("no-rights", {"doctor", "--json"});
    EXPECT_EQ(run.status, 4) << run.out;
    const json document = parse_json(run.out);
    for (const json& finding : document["findings"]) {
        EXPECT_EQ(finding["level"] == "problem", !finding["fix"].is_null()) << finding;
    }
}

TEST(Kt3Doctor, EndsWith5AndNamesTheModuleFilesThatAreMissing) {
    const Ended newer = run_in_scene("idle", {"env", "-u", "LD_LIBRARY_PATH", KT3_PROGRAM, "doctor"}, Scratch{});
    EXPECT_EQ(newer.status, 5);
    EXPECT_THAT(newer.out, HasSubstr("libvorlakeinterface_v2.so.0.0.0: cannot open"));
    const Ended older = run_in_scene("old-family", {"env", "-u", "LD_LIBRARY_PATH", KT3_PROGRAM, "doctor"}, Scratch{});
    EXPECT_EQ(older.status, 5);
    EXPECT_THAT(older.out, AllOf(HasSubstr("libkt3keinterface_v2.so.0.0.0: "), HasSubstr("libdrm_kt3.so.0.0.0: ")));
}

TEST(Kt3Doctor, TellsWhatTheMemoryCommandsMiss) {
    const json poor = parse_json(run_kt3("idle", {"doctor", "--json"}).out);
    EXPECT_THAT(messages_with_level(poor, "note"),
                ::testing::Contains(HasSubstr("no /sys/kernel/debug/dri/0/wy/allocations, which kt3 alloc")));
    const json rich = parse_json(run_kt3("busy", {"doctor", "--json"}).out);
    EXPECT_THAT(messages_with_level(rich, "note"), IsEmpty());
}

TEST(Kt3Doctor, EndsWith3WithoutAnyAdapter) {
    EXPECT_EQ(run_kt3("no-gpu", {"doctor"}).status, 3);
}

TEST(Kt3Doctor, SaysThatDebugfsIsNotMounted) {
    const Scratch scratch;
    const Ended run = run_script("idle", "rm -r \"$KT3_SIM_ROOT\"/sys/kernel/debug/*; exec \"$KT3\" doctor", scratch);
    EXPECT_NE(run.status, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("not mounted"), HasSubstr("mount -t debugfs none /sys/kernel/debug")));
}

TEST(Kt3Doctor, SaysThatNoDriverServesAnAdapter) {
    const Scratch scratch;
    const Ended run =
        run_script("idle",
                   "rm -r \"$KT3_SIM_ROOT\"/dev/dri/* \"$KT3_SIM_ROOT\"/sys/bus/pci/devices/0000:03:00.0/drm; "
                   "exec \"$KT3\" doctor",
                   scratch);
    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.out, HasSubstr("0000:03:00.0: no driver serves it"));
}

TEST(Kt3Doctor, ChangesNothingAtTheDriver) {
    const Scratch scratch;
    const Ended run = run_script("idle", "\"$KT3\" doctor >/dev/null 2>&1; \"$KT3_SIM\" log", scratch);
    EXPECT_THAT(run.out, Not(HasSubstr("enable_usage")));
}

TEST(Kt3Version, EndsWith1WhenTheLibraryIsNotCompatible) {
    const Ended run = run_kt3("idle", {"version", "--library", KT3_THROWING_LIBRARY});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("100 (not compatible)"));
}

TEST(Kt3Verbose, ShowsTheMessagesOfTheLibraryOnStandardErrorOnly) {
    const Ended quiet = run_kt3("idle", {"list"});
    const Ended verbose = run_kt3("idle", {"list", "--verbose"});
    EXPECT_EQ(quiet.out, verbose.out);
    EXPECT_THAT(verbose.err, AllOf(StartsWith("init_100_priority, init print callback.\n"),
                                   HasSubstr("log: find chip vorla55F0\n"), HasSubstr("uninit_100_priority.\n")));
}

TEST(Kt3Color, IsUsedOnlyWhenAskedForWithoutATerminal) {
    EXPECT_THAT(run_kt3("idle", {"list"}).out, Not(HasSubstr("\x1b")));
    EXPECT_THAT(run_kt3("idle", {"list", "--color", "always"}).out, StartsWith("\x1b[1m"));
    EXPECT_THAT(run_kt3("idle", {"list", "--color", "never"}).out, Not(HasSubstr("\x1b")));
}

TEST(Kt3Color, IsOffOnATerminalWhenTheEnvironmentSaysSo) {
    const Scratch scratch;
    const std::string on_terminal = "script -qec '\"$KT3\" list' /dev/null";
    if (run_process({"sh", "-c", "command -v script"}, scratch).status != 0) {
        GTEST_SKIP() << "no script(1) to make a terminal with";
    }
    EXPECT_THAT(run_script("idle", "export TERM=xterm; " + on_terminal, scratch).out, HasSubstr("\x1b[1m"));
    EXPECT_THAT(run_script("idle", "export TERM=xterm NO_COLOR=1; " + on_terminal, scratch).out,
                Not(HasSubstr("\x1b")));
}

TEST(Kt3Output, GoesIntoTheFileAndLeavesStandardOutputEmpty) {
    const Scratch scratch;
    const auto file = scratch.folder / "out.json";
    const Ended run = run_kt3("idle", {"list", "--json", "-o", file}, scratch);
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_EQ(parse_json(file_text(file))["adapters"].size(), 1U);
}

TEST(Kt3Output, LeavesTheOlderFileWhenThereIsNothingToShow) {
    const Scratch scratch;
    const auto file = scratch.folder / "out.csv";
    std::ofstream(file) << "older";
    EXPECT_EQ(run_kt3("idle", {"list", "-g", "9", "--csv", "-o", file}, scratch).status, 3);
    EXPECT_EQ(file_text(file), "older");
}

TEST(Kt3Output, FailsWhenTheFileCannotBeMade) {
    const Ended run = run_kt3("idle", {"list", "-o", "/nonexistent/out"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("/nonexistent/out: No such file or directory"));
    EXPECT_THAT(run.out, IsEmpty());
}

TEST(Kt3Output, FailsWhenStandardOutputTakesNoData) {
    const Scratch scratch;
    EXPECT_EQ(run_script("idle", "\"$KT3\" list >/dev/full", scratch).status, 1);
    EXPECT_EQ(run_script("idle", "\"$KT3\" list >&-", scratch).status, 1);
}

TEST(Kt3Output, ReachesStandardOutputByItsName) {
    const Scratch scratch;
    const Ended plain = run_kt3("idle", {"list", "--csv"});
    const Ended named = run_script("idle", "echo first; exec \"$KT3\" list --csv -o /dev/stdout", scratch);
    EXPECT_EQ(named.status, 0);
    EXPECT_EQ(named.out, "first\n" + plain.out);
    EXPECT_EQ(named.err, plain.err);
    EXPECT_EQ(run_kt3("idle", {"list", "--csv", "-o", "-"}).out, plain.out);
}
