// SPDX-License-Identifier: MIT
// Registers are read before they are set, nothing is sent without consent, and only what changes is sent.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr const char* kNodes = "/sys/bus/pci/devices/0000:03:00.0/wy_info/";

std::string logged(const char* node, const char* text) {
    return kNodes + std::string(node) + "\t\"" + text + "\"\n";
}

// What `script` leaves in the driver's log, after its own output.
Ended with_log(const std::string& scene, const std::string& script) {
    const Scratch scratch;
    return run_script(scene, "cd \"$HOME\"; " + script + "; s=$?; \"$KT3_SIM\" log; exit $s", scratch);
}

// A driver that goes on telling 980 mV whatever it is sent.
constexpr const char* kKeepsItsVoltage =
    "printf "
    "'/sys/bus/pci/devices/0000:03:00.0/wy_info/dvfs_clk_voltage\\tgfx_voltage:\\ttriangle\\t980\\t980\\t1000\\n' "
    ">>\"$KT3_SIM_ROOT/moving-nodes\"; ";

// A node that everybody may read and nobody may write.
constexpr const char* kReadOnlyVoltage =
    "chmod a-w \"$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0/wy_info/dvfs_clk_voltage\"; ";

} // namespace

TEST(Kt3Dvfs, SendsExactlyTheChangeBetweenTheUsageSwitches) {
    const Ended run = with_log("idle", "\"$KT3\" dvfs set gfx_voltage=900 --yes");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "gfx_voltage: 750 -> 900\n" + logged("enable_usage", "1") +
                           logged("dvfs_clk_voltage", "v 0 900\\n") + logged("enable_usage", "0"));
}

TEST(Kt3Dvfs, ReportsTheValuesReadBack) {
    const Ended run = run_kt3("idle", {"dvfs", "set", "pg_3d=-1", "dvfs_level=performance", "-y", "--json"});
    const json changes = parse_json(run.out)["adapters"][0]["changes"];
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_EQ(changes[0]["command"], "0 0 ffffffff");
    EXPECT_EQ(changes[0]["before"], 16);
    EXPECT_EQ(changes[0]["after"], -1);
    EXPECT_EQ(changes[1]["command"], "performance");
    EXPECT_EQ(changes[1]["after"], 2);
}

TEST(Kt3Dvfs, ADryRunSendsNothing) {
    const Ended run = with_log("idle", "\"$KT3\" dvfs set gfx_voltage=0x384 --dry-run");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, std::string(kNodes) + "dvfs_clk_voltage: v 0 900\n");
}

TEST(Kt3Dvfs, AValueThatIsThereAlreadyIsNotSent) {
    const Ended run = with_log("idle", "\"$KT3\" dvfs set gfx_voltage=750 --yes");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "nothing to change\n");
}

TEST(Kt3Dvfs, AsksForYesWithoutATerminal) {
    for (const char* input : {"</dev/null", "<&-"}) {
        const Ended run = with_log("idle", std::string("\"$KT3\" dvfs set gfx_voltage=900 ") + input);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.out, IsEmpty());
        EXPECT_THAT(run.err, HasSubstr("--yes"));
    }
}

TEST(Kt3Dvfs, NeverWritesWhatCouldNotBeRead) {
    const Ended missing = with_log("missing-nodes", "\"$KT3\" dvfs set gfx_voltage=900 --yes");
    EXPECT_EQ(missing.status, 5);
    EXPECT_THAT(missing.out, IsEmpty());
    const Ended refused = with_log("no-rights", "\"$KT3\" dvfs set gfx_voltage=900 --yes");
    EXPECT_EQ(refused.status, 4);
    EXPECT_THAT(refused.out, IsEmpty());
    const Ended broken = with_log("idle", "echo junk >\"$KT3_SIM_ROOT/sys/bus/pci/devices/0000:03:00.0/wy_info/"
                                          "dvfs_clk_voltage\"; \"$KT3\" dvfs set gfx_voltage=900 --yes");
    EXPECT_EQ(broken.status, 5);
    EXPECT_THAT(broken.out, Not(HasSubstr("v 0 900")));
}

TEST(Kt3Dvfs, SaysWhatADriverThatDidNotTakeAValueKept) {
    const Ended run = with_log("game", std::string(kKeepsItsVoltage) + "\"$KT3\" dvfs set gfx_voltage=900 --yes");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "gfx_voltage: 980 -> 900 rejected by the driver, still 980\n" + logged("enable_usage", "1") +
                           logged("dvfs_clk_voltage", "v 0 900\\n") + logged("enable_usage", "0"));
    EXPECT_THAT(run.err, HasSubstr("kt3: gfx_voltage is 980 after 900 was sent to dvfs_clk_voltage\n"
                                   "     the driver decides what it takes; its log may say why\n"));
}

TEST(Kt3Dvfs, TellsTakenFromNotTakenInOneDocument) {
    const Scratch scratch;
    const Ended run = run_script("game",
                                 std::string(kKeepsItsVoltage) +
                                     "exec \"$KT3\" dvfs set gfx_voltage=900 gfx_clock=1000 power_mode=1 --yes --json",
                                 scratch);
    EXPECT_EQ(run.status, 1);
    const json document = parse_json(run.out);
    ASSERT_EQ(document["errors"].size(), 1U);
    EXPECT_EQ(document["errors"][0]["code"], "not_taken");
    const json changes = document["adapters"][0]["changes"];
    ASSERT_EQ(changes.size(), 3U);
    for (const json& change : changes) {
        EXPECT_EQ(change["after"], change["register"] == "gfx_voltage" ? change["before"] : change["wanted"]) << change;
    }
}

TEST(Kt3Dvfs, IsAMatterOfRightsWhenANodeCanBeReadButNotWritten) {
    const Ended run = with_log("idle", std::string(kReadOnlyVoltage) + "\"$KT3\" dvfs set gfx_voltage=900 --yes");
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.out, "gfx_voltage: 750 -> 900 rejected by the driver, still 750\n" + logged("enable_usage", "1") +
                           logged("enable_usage", "0"));
    EXPECT_THAT(run.err, HasSubstr("kt3: dvfs_clk_voltage may not be written; gfx_voltage is 750\n"));
    const Scratch scratch;
    const Ended as_json = run_script(
        "idle", std::string(kReadOnlyVoltage) + "exec \"$KT3\" dvfs set gfx_voltage=900 --yes --json", scratch);
    EXPECT_EQ(as_json.status, 4);
    const json document = parse_json(as_json.out);
    EXPECT_EQ(document["errors"][0]["code"], "permission");
    EXPECT_EQ(document["adapters"][0]["changes"][0]["after"], 750);
}

TEST(Kt3Dvfs, ReadsANodeThatMayNotBeWritten) {
    const Ended run = with_log("idle", std::string(kReadOnlyVoltage) + "\"$KT3\" dvfs get");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("gfx_voltage             750 mV\n"));
}

TEST(Kt3Dvfs, GivesReasonsForWhatIsNotTold) {
    const json missing = parse_json(run_kt3("missing-nodes", {"dvfs", "get", "--json"}).out)["adapters"][0];
    EXPECT_EQ(missing["registers"]["pg_3d"], nullptr);
    EXPECT_EQ(missing["registers"]["pg_3d_reason"], "no_node");
    const json refused = parse_json(run_kt3("no-rights", {"dvfs", "get", "--json"}).out)["adapters"][0];
    EXPECT_EQ(refused["registers"]["mclk_reason"], "permission");
    const json foreign = parse_json(run_kt3("foreign-gpu", {"dvfs", "get", "-g", "2", "--json"}).out)["adapters"][0];
    EXPECT_EQ(foreign["registers"]["gfx_clock_reason"], "not_on_this_chip");
}

TEST(Kt3Dvfs, RefusesAClockOrVoltageThatNoChipWorksWithUnlessForced) {
    for (const char* wrong :
         {"gfx_clock=0", "gfx_clock=-5", "gfx_clock=99999999", "gfx_voltage=99", "gfx_voltage=2001"}) {
        const Ended run = with_log("idle", std::string("\"$KT3\" dvfs set --yes -- ") + wrong);
        EXPECT_EQ(run.status, 2) << wrong;
        EXPECT_THAT(run.out, IsEmpty()) << "nothing is sent for " << wrong;
        EXPECT_THAT(run.err, HasSubstr("--force")) << wrong;
    }
    EXPECT_EQ(run_kt3("idle", {"dvfs", "set", "gfx_clock=0", "--yes", "--force"}).status, 0);
    EXPECT_EQ(run_kt3("idle", {"dvfs", "set", "pg_3d=0", "--yes"}).status, 0) << "a wait count may be 0";
}

TEST(Kt3Dvfs, ShowsTheUnitsOfClocksAndVoltage) {
    const std::string page = run_kt3("idle", {"dvfs", "get"}).out;
    EXPECT_THAT(page, HasSubstr("300 MHz\n"));
    EXPECT_THAT(page, HasSubstr("750 mV\n"));
}

TEST(Kt3Dvfs, RefusesWhatARegisterCannotHold) {
    for (const char* wrong :
         {"pg_3d=65536", "pg_3d=-32769", "power_mode=-1", "power_mode=0x100000000", "dvfs_level=3",
          "gfx_clock=2147483648", "gfx_clock=1x", "gfx_clock=", "vclk=1", "reserved_76=1", "pg_3d"}) {
        const Ended run = with_log("idle", std::string("\"$KT3\" dvfs set --yes -- ") + wrong);
        EXPECT_EQ(run.status, 2) << wrong;
        EXPECT_THAT(run.out, IsEmpty()) << wrong;
    }
}

TEST(Kt3Dvfs, RestoresWhatWasSaved) {
    const Ended run = with_log("idle", "\"$KT3\" dvfs save kept.json && \"$KT3\" dvfs set gfx_clock=1 cg_vpp=2 -y && "
                                       "\"$KT3\" dvfs restore kept.json -y");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(HasSubstr("23 registers saved to kept.json\n"), HasSubstr("gfx_clock: 1 -> 300\n"),
                               HasSubstr("cg_vpp: 0x2 -> 0x60\n"), HasSubstr(logged("pwm_wait_count", "1 2 60\\n"))));
}

TEST(Kt3Dvfs, RestoresNoFileOfAnotherChipUnlessForced) {
    const std::string save = "echo '{\"format\":\"kt3 dvfs registers\",\"version\":1,\"chip_id\":1,"
                             "\"registers\":{\"gfx_clock\":400}}' >kept.json; \"$KT3\" dvfs restore kept.json -y";
    const Ended refused = with_log("idle", save);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.out, IsEmpty());
    EXPECT_THAT(with_log("idle", save + " --force").out, HasSubstr("gfx_clock: 300 -> 400\n"));
}

TEST(Kt3Dvfs, RestoresNoFileOfAnotherForm) {
    for (const char* text : {"", "[]", "{}", "{\"format\":\"kt3 dvfs registers\",\"version\":2,\"registers\":{}}",
                             "{\"format\":\"kt3 dvfs registers\",\"version\":1,\"chip_id\":23566,"
                             "\"registers\":{\"gfx_clock\":\"fast\"}}"}) {
        const Ended run =
            with_log("idle", std::string("echo '") + text + "' >kept.json; \"$KT3\" dvfs restore kept.json -y");
        EXPECT_EQ(run.status, 1) << text;
        EXPECT_THAT(run.out, IsEmpty()) << text;
    }
}

TEST(Kt3Dvfs, WantsOneAdapter) {
    EXPECT_EQ(run_kt3("two-families", {"dvfs", "set", "gfx_clock=1", "-y"}).status, 2);
    EXPECT_EQ(run_kt3("two-families", {"dvfs", "set", "gfx_clock=1", "-y", "-g", "1"}).status, 0);
    EXPECT_EQ(run_kt3("foreign-gpu", {"dvfs", "set", "gfx_clock=1", "-y"}).status, 0);
    EXPECT_EQ(run_kt3("foreign-gpu", {"dvfs", "set", "gfx_clock=1", "-y", "-g", "2"}).status, 3);
}
