// SPDX-License-Identifier: MIT
// kt3 vm: dumps that are broken, huge, changing or never end.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

nlohmann::json json_of(const Ended& run) {
    return parse_json(run.out);
}

std::vector<std::string> codes_of(const nlohmann::json& document, const std::string& entry) {
    std::vector<std::string> codes;
    for (const auto& finding : document["findings"]) {
        if (finding["entry"] == entry) {
            codes.push_back(finding["code"]);
        }
    }
    return codes;
}

// A machine's driver directory, for scripts.
constexpr const char* kInDriver = "cd \"$KT3_SIM_ROOT/sys/kernel/debug/dri/0/qn\"\n";

} // namespace

// ---- broken dumps ---------------------------------------------------------------------------------------------------

TEST(VmPagetable, NamesClientAndLineOfEveryOverLongField) {
    const auto document = json_of(run_kt3("vm-broken", {"vm", "pagetable", "--client", "00000023", "--json"}));
    ASSERT_EQ(document["findings"].size(), 3u);
    for (int at = 0; at < 3; ++at) {
        EXPECT_EQ(document["findings"][at]["code"], "over_long_field");
        EXPECT_EQ(document["findings"][at]["line"], at + 2);
        EXPECT_EQ(document["findings"][at]["file"], "/sys/kernel/debug/dri/0/qn/devices/00000023/vm_info");
    }
    EXPECT_EQ(document["clients"][0]["read"], false);
    EXPECT_EQ(document["clients"][0]["rows"].size(), 0u);
}

TEST(VmPagetable, EndsWithOneAndNeverByASignalOnBrokenDumps) {
    const Ended run = run_kt3("vm-broken", {"vm", "pagetable"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("Findings\n"));
    EXPECT_EQ(run.err, "");
}

TEST(VmPagetable, ShowsTheClientsBesideABrokenOne) {
    const Ended run = run_kt3("vm-broken", {"vm", "pagetable"});
    EXPECT_THAT(run.out, AllOf(HasSubstr("00000012  pid 4711  game  4 table entries, 10 sub-table entries"),
                               HasSubstr("0000002a  pid 998  desktop  3 table entries, 3 sub-table entries")));
}

TEST(VmClients, TellsEveryKindOfFaultByItsCode) {
    const Ended run = run_kt3("vm-broken", {"vm", "clients", "--json"});
    EXPECT_EQ(run.status, 1);
    const auto document = json_of(run);
    EXPECT_THAT(codes_of(document, "00000012"), IsEmpty());
    EXPECT_THAT(codes_of(document, "00000021"), ElementsAre("bad_number", "bad_number", "bad_number", "bad_number"));
    EXPECT_THAT(codes_of(document, "00000022"), ElementsAre("missing_key", "missing_key"));
    EXPECT_THAT(codes_of(document, "00000024"), ElementsAre("big_address"));
    EXPECT_THAT(codes_of(document, "00000025"), ElementsAre("missing_key"));
    EXPECT_THAT(codes_of(document, "00000026"), ElementsAre("over_long_field"));
    EXPECT_THAT(codes_of(document, "00000027"), ElementsAre("over_long_field"));
    EXPECT_THAT(codes_of(document, "00000028"), ElementsAre("missing_key"));
    EXPECT_THAT(codes_of(document, "00000029"), ElementsAre("permission"));
    EXPECT_EQ(document["clients"].size(), 11u);
}

TEST(VmClients, CountTheLinesThatTheLibraryDropsInOneFinding) {
    const Ended run = run_kt3("vm-deep", {"vm", "clients", "--json"});
    EXPECT_EQ(run.status, 1);
    const auto document = json_of(run);
    ASSERT_EQ(document["findings"].size(), 2U);
    const auto& early = document["findings"][0];
    EXPECT_EQ(early["entry"], "00000031");
    EXPECT_EQ(early["code"], "dropped_lines");
    EXPECT_EQ(early["line"], 1);
    EXPECT_EQ(early["count"], 3);
    EXPECT_EQ(early["message"],
              "the library leaves out 3 of 12 entries, the first because the table above it is missing");
    const auto& late = document["findings"][1];
    EXPECT_EQ(late["line"], 11);
    EXPECT_EQ(late["message"], "the library leaves out 1 of 19 entries, the first because its level is not 0, 1 or 2");
}

TEST(VmClients, TellAFaultOfManyLinesOnce) {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 std::string(kInDriver) + "seq -f '0:%g Snoop:1 Segment:1 Addr:0x9fffffff' 412 "
                                                          ">>devices/00000012/vm_info\n"
                                                          "\"$KT3\" vm clients; \"$KT3\" vm clients --json",
                                 scratch);
    const auto json = run.out.find('{');
    EXPECT_THAT(run.out.substr(0, json), HasSubstr("client 00000012, vm_info line 16 and 411 more lines: the address"));
    const auto document = parse_json(run.out.substr(json));
    ASSERT_EQ(document["findings"].size(), 1U);
    EXPECT_EQ(document["findings"][0]["line"], 16);
    EXPECT_EQ(document["findings"][0]["count"], 412);
}

TEST(VmClients, NameAnEntryOfNoKnownKind) {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 std::string(kInDriver) + "echo '  1:7: addr:0x1000' >>devices/00000012/vm_info\n"
                                                          "\"$KT3\" vm pagetable --csv",
                                 scratch);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("leaves out 1 of 15 entries, the first because it has neither 'entry' nor 'Snoop'"));
}

TEST(VmClients, HaveNoFindingForLinesThatAreNoEntries) {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 std::string(kInDriver) + "for line in '' 'no tables' ' 12' '3:' ': 4' 'at 1:2'; do\n"
                                                          "echo \"$line\" >>devices/00000012/vm_info; done\n"
                                                          "\"$KT3\" vm clients",
                                 scratch);
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_THAT(run.out, Not(HasSubstr("Findings")));
}

TEST(VmClients, PutsFindingsOnStandardErrorBesideCsv) {
    const Ended run = run_kt3("vm-broken", {"vm", "clients", "--csv", "--client", "00000023"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, Not(HasSubstr("line")));
    EXPECT_THAT(run.err, HasSubstr("kt3: client 00000023, vm_info line 2: the address has 60 characters"));
}

TEST(VmClients, ShowsTheLibrarysOwnWordsWhenVerbose) {
    const Ended run = run_kt3("vm-broken", {"vm", "clients", "-v", "--client", "00000023"});
    EXPECT_THAT(run.err, HasSubstr("does not fit its field of 47"));
}

TEST(VmClients, FindsTheLineOfAFieldBehindMoreThan511Characters) {
    const Scratch scratch;
    const Ended run =
        run_script("vm-small",
                   std::string(kInDriver) + "{ printf '%600s\\n' x; printf '0:0: entry addr:%060d, buffer:x\\n' 1; } "
                                            ">devices/00000012/vm_info\n\"$KT3\" vm clients --client 4711",
                   scratch);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("client 00000012, vm_info line 2: the address has 60 characters"));
}

TEST(VmClients, LeavesOutAClientWhoseProcessIdIsZero) {
    const Scratch scratch;
    const Ended run = run_script(
        "vm-small", std::string(kInDriver) + "echo 'pid = 0' >devices/00000012/info; \"$KT3\" vm clients --csv",
        scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, AllOf(Not(HasSubstr("00000012")), HasSubstr("0000002a")));
}

TEST(VmClients, DoesNotStartAShellOnTheWordOfAProcess) {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 std::string(kInDriver) + "echo 'name = pid = 1;>\"$HOME/made\"' "
                                                          ">devices/00000012/info\n\"$KT3\" vm clients; "
                                                          "test -e \"$HOME/made\" && echo made",
                                 scratch);
    EXPECT_THAT(run.out, Not(HasSubstr("made\n")));
    EXPECT_FALSE(std::filesystem::exists(scratch.folder / "made"));
}

TEST(VmClients, SaysThatThereAreNone) {
    const Scratch scratch;
    const Ended run =
        run_script("vm-small", std::string(kInDriver) + "rm -r devices/0*; \"$KT3\" vm pagetable", scratch);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "no clients\n");
}

TEST(VmClients, NamesTheFolderThatIsMissing) {
    const Ended run = run_kt3("no-gpu", {"vm", "clients"});
    EXPECT_EQ(run.status, 5);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, HasSubstr("kt3: cannot list /sys/kernel/debug/dri/0/qn/devices: No such file or directory"));
}

TEST(VmClients, TellsMissingRightsFromAMissingDriver) {
    EXPECT_EQ(run_kt3("no-rights", {"vm", "clients"}).status, 4);
    EXPECT_EQ(run_kt3("no-rights", {"vm", "nodes"}).status, 4);
}

TEST(VmNodes, KeepsTheGoodNodesAndNamesTheLineOfTheOthers) {
    const auto document = json_of(run_kt3("vm-broken", {"vm", "nodes", "--json"}));
    EXPECT_EQ(document["nodes"].size(), 2u);
    EXPECT_THAT(codes_of(document, "1f41"), ElementsAre("missing_key", "bad_number", "bad_number"));
    EXPECT_EQ(document["findings"][1]["line"], 9);
    EXPECT_THAT(codes_of(document, "1f42"), ElementsAre("bad_number"));
}

// ---- clients that never end -----------------------------------------------------------------------------------------

namespace {

// A ps that hangs for the game, after it told its own id; `gone` waits until that process is over.
constexpr const char* kHangingPs =
    "mkdir -p \"$HOME/bin\"; mkfifo \"$HOME/started\"\n"
    "real=$(command -v ps)\n"
    "cat >\"$HOME/bin/ps\" <<END\n"
    "#!/bin/sh\n"
    "test \"\\$2\" = 4711 || exec \"$real\" \"\\$@\"\n"
    "echo \\$\\$ >\"$HOME/started\"\n"
    "exec sleep 100000\n"
    "END\n"
    "chmod +x \"$HOME/bin/ps\"; PATH=\"$HOME/bin:$PATH\"\n"
    "gone() { while grep -qs '^State:.[^Z]' /proc/$1/status; do sleep 0.01; done; echo gone; }\n";

} // namespace

TEST(VmTimeout, ReportsAStuckProcessAndEndsIt) {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 std::string(kHangingPs) +
                                     "\"$KT3\" vm clients --timeout 1 & child=$!\n"
                                     "read -r ps <\"$HOME/started\"; wait $child; echo \"status $?\"; gone \"$ps\"",
                                 scratch);
    EXPECT_THAT(run.out, AllOf(HasSubstr("client 00000012: timed out after 1 s reading ps\n"), HasSubstr("status 1\n"),
                               HasSubstr("gone\n")));
}

TEST(VmTimeout, LetsAnInterruptThroughAndLeavesNoProcessBehind) {
    const Scratch scratch;
    const Ended run =
        run_script("vm-small",
                   std::string(kHangingPs) + "\"$KT3\" vm clients --timeout 80000 & child=$!\n"
                                             "read -r ps <\"$HOME/started\"; kill -TERM $child; wait $child\n"
                                             "echo \"status $?\"; gone \"$ps\"",
                   scratch);
    EXPECT_THAT(run.out, AllOf(HasSubstr("status 130\n"), HasSubstr("gone\n")));
}

TEST(VmTimeout, IsADeadlineForADumpThatDoesNotEnd) {
    const Scratch scratch;
    const Ended run =
        run_script("vm-small",
                   std::string(kInDriver) + "rm allocations/1f40/vm_info; mkfifo allocations/1f40/vm_info\n"
                                            "\"$KT3\" vm nodes --timeout 0.5 --client 998",
                   scratch);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("allocation 1f40, vm_info: timed out after 0.5 s reading vm_info"));
}

// ---- usage ----------------------------------------------------------------------------------------------------------

TEST(VmUsage, RefusesWrongArgumentsWithTwo) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"vm"},
                                                      {"vm", "no-such"},
                                                      {"vm", "clients", "--timeout", "0"},
                                                      {"vm", "clients", "--timeout", "-1"},
                                                      {"vm", "clients", "--timeout", "soon"},
                                                      {"vm", "clients", "--timeout", "nan"},
                                                      {"vm", "clients", "--client", ""},
                                                      {"vm", "map", "--svg", ""},
                                                      {"vm", "clients", "--csv", "--color", "sometimes"},
                                                      {"vm", "nodes", "--svg", "x"},
                                                      {"vm", "map", "-g", "0"},
                                                      {"vm", "diff", "one"}}) {
        const Ended run = run_kt3("vm-small", arguments);
        EXPECT_EQ(run.status, 2) << arguments.back();
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, HasSubstr("see kt3 vm"));
    }
}

TEST(VmUsage, SelectsAClientByDirectoryOrProcess) {
    for (const char* command : {"clients", "pagetable", "nodes", "map"}) {
        for (const char* name : {"0000002a", "998"}) {
            const Ended run = run_kt3("vm-small", {"vm", command, "--client", name});
            EXPECT_EQ(run.status, 0) << command << ' ' << name;
            EXPECT_THAT(run.out, AllOf(HasSubstr("desktop"), Not(HasSubstr("game")))) << command << ' ' << name;
        }
        const Ended run = run_kt3("vm-small", {"vm", command, "--client", "5"});
        EXPECT_EQ(run.status, 1) << command;
        EXPECT_THAT(run.err, HasSubstr("no client '5'")) << command;
    }
}

TEST(VmUsage, DescribesAClientAlikeInEveryCommand) {
    for (const char* command : {"clients", "pagetable", "nodes", "map"}) {
        EXPECT_THAT(run_kt3("no-gpu", {"vm", command, "--help"}).out,
                    HasSubstr("Only this client: its directory or its process id"))
            << command;
    }
}

TEST(VmUsage, DoesNotCallAClientWithoutNodesUnknown) {
    const Scratch scratch;
    const Ended run = run_script(
        "vm-small", std::string(kInDriver) + "rm -r allocations/*; \"$KT3\" vm nodes --client 00000012", scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "no nodes\n");
}

TEST(VmUsage, TakesNoContextOfTheDriverAndNoPathForAClient) {
    for (const char* name : {"00000000", "02000000", "../devices/00000012", "."}) {
        EXPECT_THAT(run_kt3("vm-small", {"vm", "nodes", "--client", name}).err, HasSubstr("no client '")) << name;
    }
}

TEST(VmUsage, SaysWhyAClientHasNoProcess) {
    const Ended run = run_kt3("vm-broken", {"vm", "map", "--client", "00000028"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("client '00000028' names no process"));
    const Scratch scratch;
    const Ended stuck = run_script("vm-small",
                                   std::string(kInDriver) + "rm devices/00000012/info; mkfifo devices/00000012/info\n"
                                                            "\"$KT3\" vm nodes --timeout 0.5 --client 00000012",
                                   scratch);
    EXPECT_EQ(stuck.status, 1);
    EXPECT_THAT(stuck.err, HasSubstr("devices/00000012/info: timed out after 0.5 s reading info"));
}

TEST(VmUsage, NamesWhatAnOlderLibraryLacks) {
    const Ended run = run_kt3("vm-small", {"vm", "clients", "--library", KT3_THROWING_LIBRARY});
    EXPECT_EQ(run.status, 5);
    EXPECT_THAT(run.err, HasSubstr("get_Pid_info"));
}

// ---- map ------------------------------------------------------------------------------------------------------------

TEST(VmMap, PutsThePictureIntoAFileAndTheTextOnStandardOutput) {
    const Scratch scratch;
    const std::string file = (scratch.folder / "map.svg").string();
    const Ended run = run_kt3("vm-small", {"vm", "map", "--svg", file}, scratch);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, file_text(std::filesystem::path(KT3_GOLDEN_FOLDER) / "vm_map_small.txt"));
    EXPECT_EQ(file_text(file), file_text(std::filesystem::path(KT3_GOLDEN_FOLDER) / "vm_map_small.svg"));
}

TEST(VmMap, PutsThePictureOnStandardOutputWhenThatIsNamed) {
    const Ended run = run_kt3("vm-small", {"vm", "map", "--csv", "--svg", "-"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out.find("<svg"), 0U);
    EXPECT_THAT(run.out, HasSubstr("</svg>\npid,kind,"));
}

TEST(VmMap, SaysWhenThePictureCannotBeWritten) {
    const Ended run = run_kt3("vm-small", {"vm", "map", "--svg", "/no/such/folder/map.svg"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("cannot write /no/such/folder/map.svg"));
}

// ---- diff -----------------------------------------------------------------------------------------------------------

namespace {

// Saves the dumps, changes the machine and compares.
std::string difference(const std::string& what, const std::string& change, const std::string& options = "") {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 "\"$KT3\" vm " + what + " --json -o \"$HOME/before\"\n" + kInDriver + change +
                                     "\n\"$KT3\" vm " + what +
                                     " --json -o \"$HOME/after\"\n"
                                     "\"$KT3\" vm diff \"$HOME/before\" \"$HOME/after\" " +
                                     options,
                                 scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    return run.out;
}

} // namespace

TEST(VmDiff, SaysThatNothingChanged) {
    EXPECT_EQ(difference("pagetable", "true"), "no differences\n");
    EXPECT_EQ(difference("nodes", "true"), "no differences\n");
}

TEST(VmDiff, FindsChangedAddedAndRemovedRows) {
    const std::string out = difference("pagetable", "sed -i -e 's/0x2001/0x2ff1/' -e '/2:9 Snoop/d' -e "
                                                    "'$a\\    1:6 Snoop:0 Segment:2 Addr:0x8400' "
                                                    "devices/00000012/vm_info");
    EXPECT_EQ(out, "~ client 00000012 pid 4711 game  0:0/1:0/2:0 sub 2:1: address 0x2001, snoop 1, segment 1, "
                   "large_page 0 -> address 0x2ff1, snoop 1, segment 1, large_page 0\n"
                   "- client 00000012 pid 4711 game  0:0/1:0/2:0 sub 2:9: address 0x5001, snoop 0, segment 2, "
                   "large_page 0\n"
                   "+ client 00000012 pid 4711 game  0:0/1:1 sub 1:6: address 0x8400, snoop 0, segment 2, "
                   "large_page 0\n"
                   "1 added, 1 removed, 1 changed\n");
}

TEST(VmDiff, TellsAClientThatCameOrWentInOneLine) {
    EXPECT_EQ(difference("pagetable", "mv devices/00000012 devices/00000013"),
              "- client 00000012 pid 4711 game: 14 rows\n+ client 00000013 pid 4711 game: 14 rows\n"
              "1 added, 1 removed, 0 changed\n");
}

TEST(VmDiff, FindsNodesThatGrewOrWent) {
    EXPECT_EQ(difference("nodes", "sed -i s/0x1000$/0x3000/ allocations/1f44/vm_info; rm -r allocations/1f43"),
              "- pid 4711 game handle 1f43 address 0x7f0000000000: 2.0 MiB\n"
              "~ pid 998 desktop handle 1f44 address 0x14000: 4.0 KiB -> 12.0 KiB\n"
              "0 added, 1 removed, 1 changed\n");
}

TEST(VmDiff, HasCsvAndJsonForms) {
    EXPECT_EQ(difference("nodes", "rm -r allocations/1f43", "--csv"),
              "change,what,where,before,after\n"
              "removed,node,pid 4711 game handle 1f43 address 0x7f0000000000,2.0 MiB,\n");
    const auto document = parse_json(difference("nodes", "rm -r allocations/1f43", "--json"));
    EXPECT_EQ(document["command"], "vm diff");
    EXPECT_EQ(document["differences"][0]["before"]["size_bytes"], 0x200000);
    EXPECT_EQ(document["differences"][0]["after"], nullptr);
}

TEST(VmDiff, RefusesFilesThatAreNoDumps) {
    const Scratch scratch;
    const auto run = [&](const std::string& script) { return run_script("vm-small", script, scratch); };
    EXPECT_THAT(run("\"$KT3\" vm diff first second").err, HasSubstr("cannot read first: "));
    const std::string save = "cd \"$HOME\"; \"$KT3\" vm nodes --json -o nodes; \"$KT3\" vm clients --json -o clients; "
                             "\"$KT3\" vm pagetable --json -o tables\n";
    EXPECT_THAT(run(save + "\"$KT3\" vm diff nodes absent").err, HasSubstr("absent: No such file or directory"));
    EXPECT_THAT(run(save + "\"$KT3\" vm diff nodes clients").err, HasSubstr("clients: not written by"));
    EXPECT_THAT(run(save + "echo '{' >bad; \"$KT3\" vm diff bad nodes").err, HasSubstr("bad: not written by"));
    EXPECT_THAT(run(save + "\"$KT3\" vm diff nodes tables").err, HasSubstr("one file holds page tables"));
    EXPECT_THAT(run(save + "sed 's/\"gpu_va\"/\"other\"/' nodes >cut; \"$KT3\" vm diff nodes cut").err,
                HasSubstr("a file is damaged"));
    EXPECT_EQ(run(save + "\"$KT3\" vm diff nodes absent").status, 1);
}

TEST(VmDiff, ComparesBothFormsOfRows) {
    const Scratch scratch;
    const Ended run = run_script("vm-small",
                                 "cd \"$HOME\"; \"$KT3\" vm pagetable --json -o arrays; "
                                 "\"$KT3\" vm pagetable --json --rows -o objects; \"$KT3\" vm diff arrays objects; "
                                 "test $(($(wc -c <arrays) * 2)) -lt $(wc -c <objects) && echo smaller",
                                 scratch);
    EXPECT_EQ(run.out, "no differences\nsmaller\n") << run.err;
}

TEST(VmDiff, RefusesTheDocumentOfAFailedCommand) {
    const Scratch scratch;
    const Ended run = run_script(
        "no-gpu", "cd \"$HOME\"; \"$KT3\" vm nodes --json -o failed; \"$KT3\" vm diff failed failed", scratch);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr("failed: the command that wrote it failed"));
}
