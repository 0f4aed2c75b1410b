// SPDX-License-Identifier: MIT
// Text at terminals of different widths.

#include "cli/terminal.hpp"

#include <gmock/gmock.h>
#include <regex>

using namespace kt3::tests;
using ::testing::HasSubstr;
using ::testing::Le;
using ::testing::Not;

namespace {

// What a terminal of that width shows of a command.
std::string screen_of(const std::string& scene, std::vector<std::string> arguments, unsigned short columns,
                      const Environment& environment = {}, const char* color = "never") {
    const Scratch scratch;
    arguments.insert(arguments.begin(), KT3_PROGRAM);
    arguments.insert(arguments.end(), {"--color", color});
    const auto command = in_scene(scene, arguments, scratch);
    Terminal terminal(columns);
    const pid_t child = ::fork();
    if (child == 0) {
        terminal.take();
        ::dup2(0, 1);
        become(command, scratch, environment);
    }
    terminal.leave_to_child();
    terminal.read_to_end();
    status_of(child);
    return terminal.screen;
}

std::size_t characters(const std::string& line) {
    std::size_t count = 0;
    for (const char c : line) {
        count += (static_cast<unsigned char>(c) & 0xC0) != 0x80 ? 1 : 0;
    }
    return count;
}

struct Shown {
    const char* name;
    const char* scene;
    std::vector<std::string> arguments;
};
std::ostream& operator<<(std::ostream& out, const Shown& one) {
    return out << one.name;
}

class Screens : public ::testing::TestWithParam<Shown> {};

// clang-format off
const Shown kShown[] = {
    {"Kt3",          "demo",      {}},
    {"List",         "demo",      {"list"}},
    {"Info",         "demo",      {"info"}},
    {"Metric",       "demo",      {"metric"}},
    {"Dvfs",         "demo",      {"dvfs", "get"}},
    {"Process",      "busy",      {"process"}},
    {"ProcessInContainers", "containers", {"process"}},
    {"ProcessStuck", "orphans",   {"process"}},
    {"ProcessHidden", "in-container", {"process"}},
    {"ProcessByUnit", "containers", {"process", "--by", "unit"}},
    {"ProcessByContainer", "containers", {"process", "--by", "container"}},
    {"ProcessByPod", "containers", {"process", "--by", "pod"}},
    {"AllocList",    "busy",      {"alloc", "list"}},
    {"AllocSummaryByContainer", "containers", {"alloc", "summary", "--by", "container"}},
    {"AllocSummary", "busy",      {"alloc", "summary"}},
    {"AllocDiff",    "leak",      {"alloc", "diff", "-w", "0"}},
    {"Segment",      "demo",      {"segment"}},
    {"Leak",         "leak",      {"leak", "-w", "0"}},
    {"VmClients",    "vm-small",  {"vm", "clients"}},
    {"VmPagetable",  "vm-deep",   {"vm", "pagetable"}},
    {"VmFindings",   "vm-broken", {"vm", "pagetable"}},
    {"VmNodes",      "vm-small",  {"vm", "nodes"}},
    {"VmMap",        "vm-small",  {"vm", "map"}},
    {"Doctor",       "no-rights", {"doctor"}},
    {"Prefer",       "demo",      {"prefer", "list"}},
    {"Fields",       "demo",      {"--list-fields"}},
};
// clang-format on

} // namespace

TEST_P(Screens, FitEightyColumns) {
    const std::string screen = screen_of(GetParam().scene, GetParam().arguments, 80);
    EXPECT_THAT(screen, Not(::testing::IsEmpty()));
    for (const std::string& line : lines_of(screen)) {
        EXPECT_THAT(characters(line), Le(80U)) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, Screens, ::testing::ValuesIn(kShown),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(NarrowScreens, SayWhichColumnsTheyLeaveOut) {
    const std::string screen = screen_of("busy", {"process"}, 60);
    EXPECT_THAT(screen, HasSubstr("not shown for want of width: "));
    EXPECT_THAT(screen, HasSubstr("PROCESS"));
    EXPECT_THAT(screen, HasSubstr("TOTAL"));
}

TEST(NarrowScreens, KeepTheOwnersAndGiveUpTheSegments) {
    const std::string screen = screen_of("containers", {"process"}, 80);
    EXPECT_THAT(screen, HasSubstr("OWNER"));
    EXPECT_THAT(screen, HasSubstr("USER"));
    EXPECT_THAT(screen, HasSubstr("pod 0a1b2c3d"));
    EXPECT_THAT(screen, HasSubstr("want of width: SEGMENT 0,"));
    EXPECT_THAT(screen_of("orphans", {"process"}, 60), HasSubstr("(stuck)"));
}

TEST(NarrowScreens, AreWhatColumnsSays) {
    for (const std::string& line : lines_of(screen_of("busy", {"alloc", "list"}, 200, {{"COLUMNS", "40"}}))) {
        EXPECT_THAT(characters(line), Le(40U)) << line;
    }
}

TEST(Bars, ArePaintedOnTerminalsAndTakeNoMoreWidthForThat) {
    const Environment terminal = {{"TERM", "xterm"}};
    const std::string painted = screen_of("segment-node", {"segment"}, 100, terminal, "auto");
    EXPECT_THAT(painted, HasSubstr("  \x1b[32m[###.................]\x1b[0m  with all later ones\n"));
    EXPECT_THAT(painted, HasSubstr("  \x1b[33m[###############.....]\x1b[0m\n"));
    const std::string plain = screen_of("segment-node", {"segment"}, 100, terminal);
    EXPECT_THAT(plain, HasSubstr("[###############.....]\n"));
    EXPECT_EQ(std::regex_replace(painted, std::regex("\x1b\\[[0-9]*m"), ""), plain);
}

TEST(Pipes, HaveNoBarsAndNoColours) {
    const Scratch scratch;
    EXPECT_THAT(run_kt3("segment-node", {"segment"}, scratch, {{"TERM", "xterm"}}).out,
                ::testing::AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("[#"))));
}

TEST(Pipes, AreNeverCut) {
    const Scratch scratch;
    const std::string out = run_kt3("busy", {"process"}, scratch, {{"COLUMNS", "40"}}).out;
    EXPECT_THAT(out, HasSubstr("render-farm-worker-process"));
    EXPECT_THAT(out, Not(HasSubstr("not shown")));
}
