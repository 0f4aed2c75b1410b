// SPDX-License-Identifier: MIT
// A command that is interrupted while it waits for the driver. The driver is a pipe: opening it for writing returns
// once kt3 reads from it, so the signal always finds kt3 waiting.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::HasSubstr;

namespace {

// `signal` without SIG. A shell starts background commands with SIGINT ignored, hence env.
std::string interrupted_info(const std::string& signal, const std::string& options) {
    return "node=\"$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0/wy_info/vclk\"; rm \"$node\"; mkfifo \"$node\"\n"
           "env --default-signal=" +
           signal + " \"$KT3\" info " + options +
           " >out & child=$!\n"
           "exec 3>\"$node\"\n"
           "kill -" +
           signal +
           " $child\n"
           "exec 3>&-\n"
           "wait $child; echo \"status $?\"; cat out; \"$KT3_SIM\" log";
}

Ended run_interrupted(const std::string& signal, const std::string& options = "") {
    const Scratch scratch;
    return run_script("idle", "cd \"$HOME\"\n" + interrupted_info(signal, options), scratch);
}

// Accounting was switched on, and the last word to the driver is that it is off.
void expect_accounting_off(const std::string& out) {
    const auto last = out.rfind("enable_usage");
    ASSERT_NE(last, std::string::npos) << out;
    EXPECT_NE(out.find("enable_usage"), last) << out;
    const std::string line = out.substr(last, out.find('\n', last) - last);
    EXPECT_THAT(line, HasSubstr("0")) << out;
    EXPECT_THAT(line, ::testing::Not(HasSubstr("1"))) << out;
}

} // namespace

TEST(InterruptedKt3, EndsWith130AndSwitchesAccountingOffAfterSigint) {
    const Ended run = run_interrupted("INT");
    EXPECT_THAT(run.out, HasSubstr("status 130\n"));
    expect_accounting_off(run.out);
}

TEST(InterruptedKt3, EndsWith130AndSwitchesAccountingOffAfterSigterm) {
    const Ended run = run_interrupted("TERM");
    EXPECT_THAT(run.out, HasSubstr("status 130\n"));
    expect_accounting_off(run.out);
}

TEST(InterruptedKt3, EndsWith130AndSwitchesAccountingOffAfterSighup) {
    const Ended run = run_interrupted("HUP");
    EXPECT_THAT(run.out, HasSubstr("status 130\n"));
    expect_accounting_off(run.out);
}

TEST(InterruptedKt3, StillPrintsADocumentAsJson) {
    const Ended run = run_interrupted("TERM", "--json");
    const auto begin = run.out.find('{');
    ASSERT_NE(begin, std::string::npos) << run.out;
    const auto end = run.out.find("\n}\n", begin);
    const auto document = parse_json(run.out.substr(begin, end + 2 - begin));
    EXPECT_EQ(document["errors"][0]["code"], "interrupted");
}
