// SPDX-License-Identifier: MIT
// The question that kt3 dvfs asks before it sends anything: what is shown, which answers send, and that every other way
// to end it leaves the driver alone.

#include "cli/json.hpp"
#include "cli/terminal.hpp"

#include <gmock/gmock.h>

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr std::string_view kQuestion = "[y/N] ";

// Typing an answer to `kt3 dvfs set ...`; `out` ends with what the driver was sent. The interrupt key reaches the whole
// foreground, and the script lives on to tell.
Ended answered(std::string_view answer, const std::string& command = "dvfs set gfx_voltage=900") {
    const Scratch scratch;
    return run_script_on_terminal("idle",
                                  "trap : INT; \"$KT3\" " + command + "; s=$?; \"$KT3_SIM\" log; trap - INT; exit $s",
                                  kQuestion, answer, scratch);
}

} // namespace

TEST(Kt3DvfsQuestion, ShowsWhatWouldBeSentAndToWhichAdapter) {
    const Ended run = answered("n\n", "dvfs set gfx_voltage=900 dvfs_level=lowpower");
    EXPECT_THAT(run.err, HasSubstr("dvfs_level: balance -> lowpower\ngfx_voltage: 750 -> 900\n"
                                   "Send this to GPU 0, Gpu0:Vorla-55F0? [y/N] "));
}

TEST(Kt3DvfsQuestion, SendsTheChangeOnY) {
    for (const char* yes : {"y\n", "Y\n", "yes\n"}) {
        const Ended run = answered(yes);
        EXPECT_EQ(run.status, 0) << yes << run.err;
        EXPECT_THAT(run.out, AllOf(HasSubstr("gfx_voltage: 750 -> 900\n"), HasSubstr("\"v 0 900\\n\""))) << yes;
    }
}

TEST(Kt3DvfsQuestion, SendsNothingOnAnyOtherAnswer) {
    for (const char* no : {"n\n", "N\n", "\n", "no\n", " y\n", "yn\n", "ny\n"}) {
        const Ended run = answered(no);
        EXPECT_EQ(run.status, 1) << no;
        EXPECT_THAT(run.out, IsEmpty()) << no;
        EXPECT_THAT(run.err, HasSubstr("kt3: not confirmed; nothing was sent\n")) << no;
    }
}

TEST(Kt3DvfsQuestion, TakesTheEndOfInputForANo) {
    const Ended run = answered(kEndOfInput);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, EndsWith("[y/N] \nkt3: not confirmed; nothing was sent\n"));
}

TEST(Kt3DvfsQuestion, EndsWith130AndSendsNothingAtTheInterruptKey) {
    const Ended run = answered(kInterruptKey);
    EXPECT_EQ(run.status, 130);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, EndsWith("[y/N] \nkt3: interrupted\n"));
}

TEST(Kt3DvfsQuestion, LeavesStandardOutputToTheDocument) {
    const Ended run = answered("n\n", "dvfs set gfx_voltage=900 --json");
    EXPECT_EQ(run.status, 1);
    const json document = parse_json(run.out);
    ASSERT_EQ(document["errors"].size(), 1U);
    EXPECT_EQ(document["errors"][0]["code"], "not_confirmed");
    EXPECT_THAT(document["adapters"], IsEmpty());
}

TEST(Kt3DvfsQuestion, IsAskedBeforeARestoreAsWell) {
    const std::string restore = "dvfs save \"$HOME/kept\" >&2 && \"$KT3\" dvfs set gfx_voltage=900 --yes >&2 && "
                                "\"$KT3\" dvfs restore \"$HOME/kept\"";
    EXPECT_THAT(answered("n\n", restore).out, Not(HasSubstr("v 0 750")));
    EXPECT_THAT(answered("y\n", restore).out, HasSubstr("gfx_voltage: 900 -> 750\n"));
}

TEST(Kt3DvfsQuestion, IsNotAskedWhenThereIsNothingToChange) {
    const Ended run = answered("n\n", "dvfs set gfx_voltage=750");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "nothing to change\n");
    EXPECT_THAT(run.err, IsEmpty());
}

TEST(Kt3DvfsQuestion, IsNotAskedOnATerminalWithYesOrADryRun) {
    for (const char* option : {"--yes", "--dry-run"}) {
        const Ended run = answered("n\n", std::string("dvfs set gfx_voltage=900 ") + option);
        EXPECT_EQ(run.status, 0) << option;
        EXPECT_THAT(run.err, Not(HasSubstr(std::string(kQuestion)))) << option;
        EXPECT_THAT(run.out, HasSubstr("900")) << option;
    }
}

TEST(Kt3DvfsQuestion, TakesNoAnswerFromAPipe) {
    const Scratch scratch;
    const Ended run =
        run_script("idle", "echo y | \"$KT3\" dvfs set gfx_voltage=900; s=$?; \"$KT3_SIM\" log; exit $s", scratch);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, AllOf(HasSubstr("needs --yes"), Not(HasSubstr(std::string(kQuestion)))));
}
