// SPDX-License-Identifier: MIT
// Every way to fail: the exit status, and standard output carrying data alone.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

struct ErrorCase {
    const char* name; // a sentence
    const char* scene;
    std::vector<std::string> arguments;
    int status;
    const char* code; // in JSON
};

// What gtest prints of a case.
std::ostream& operator<<(std::ostream& out, const ErrorCase& one) {
    return out << one.name;
}

class Kt3Error : public ::testing::TestWithParam<ErrorCase> {};

// clang-format off
const ErrorCase kErrors[] = {
    {"AnUnknownCommandIsWrongUsage",          "idle",   {"no-such-command"},                2, "usage"},
    {"AnUnknownOptionIsWrongUsage",           "idle",   {"list", "--no-such-option"},       2, "usage"},
    {"AnOptionWithoutItsValueIsWrongUsage",   "idle",   {"list", "-g"},                     2, "usage"},
    {"AnUnknownColorModeIsWrongUsage",        "idle",   {"list", "--color", "sometimes"},   2, "usage"},
    {"CsvOfACommandWithoutRowsIsWrongUsage",  "idle",   {"info", "--csv"},                  2, "usage"},
    {"APreferCommandAloneIsWrongUsage",       "idle",   {"prefer"},                         2, "usage"},
    {"ANonNumberAsValueIsWrongUsage",         "idle",   {"prefer", "set", "/x", "--value", "many"}, 2, "usage"},
    {"AWaitThatIsNoNumberIsWrongUsage",       "idle",   {"metric", "-n", "2", "-w", "nan"}, 2, "usage"},
    {"AWaitWithoutEndIsWrongUsage",           "leak",   {"leak", "-w", "1e300"},            2, "usage"},
    {"ALookEveryNanSecondsIsWrongUsage",      "leak",   {"alloc", "diff", "-w", "nan"},     2, "usage"},
    {"AnOctalCountWithAWrongDigitIsANumber",  "no-gpu", {"metric", "-w", "0", "-n", "08"},  3, "no_adapter"},
    {"AnEmptyAdapterIsWrongUsage",            "idle",   {"list", "-g", ""},                 2, "usage"},
    {"AnEmptyOutputFileIsWrongUsage",         "idle",   {"list", "-o", ""},                 2, "usage"},
    {"AnEmptyLibraryIsWrongUsage",            "idle",   {"list", "--library", ""},          2, "usage"},
    {"AnAdapterOfNoInterestIsWrongUsage",     "idle",   {"-g", "0", "prefer", "list"},      2, "usage"},
    {"ARegisterGivenTwiceIsWrongUsage",       "idle",   {"dvfs", "set", "gfx_voltage=901", "gfx_voltage=902", "--yes"}, 2, "bad_value"},
    {"RegistersOfAForeignGpuAreNotFound",     "demo",   {"dvfs", "set", "gfx_voltage=901", "--yes", "-g", "2"}, 3, "foreign_gpu"},
    {"AFolderHoldsNoSavedRegisters",          "idle",   {"dvfs", "restore", "/"},           1, "input"},
    {"AFolderHoldsNoSavedAllocations",        "idle",   {"alloc", "diff", "/", "/"},        1, "input"},
    {"AFolderHoldsNoSavedDump",               "idle",   {"vm", "diff", "/", "/"},           1, "input"},
    {"AnEmptyFileHoldsNoSavedAllocations",    "idle",   {"alloc", "diff", "/dev/null", "/dev/null"}, 1, "input"},
    {"AnUnknownSlotIsNotFound",               "idle",   {"list", "-g", "1"},                3, "no_such_adapter"},
    {"AnUnknownBusIdIsNotFound",              "idle",   {"info", "-g", "0000:ff:00.0"},     3, "no_such_adapter"},
    {"AMachineWithoutAdapterIsNotFound",      "no-gpu", {"list"},                           3, "no_adapter"},
    {"ASummaryWithoutAdapterIsNotFound",      "no-gpu", {},                                 3, "no_adapter"},
    {"ALibraryThatIsAbsentIsMissing",         "idle",   {"list", "--library", "/nonexistent.so"}, 5, "library_missing"},
    {"ALibraryWithoutEntryPointsIsMissing",   "idle",   {"list", "--library", KT3_PARTIAL_LIBRARY}, 5, "symbol_missing"},
    {"APreferenceThatIsAbsentIsAFailure",     "idle",   {"prefer", "get", "absent"},        1, "no_preference"},
    {"APathThatCannotBeStoredIsWrongUsage",   "idle",   {"prefer", "set", "/a;b", "--value", "1"}, 2, "not_storable"},
};
// clang-format on

} // namespace

TEST_P(Kt3Error, KeepsStandardOutputEmptyAsText) {
    const Ended run = run_kt3(GetParam().scene, GetParam().arguments);
    EXPECT_EQ(run.status, GetParam().status) << run.err;
    EXPECT_THAT(run.out, IsEmpty());
    EXPECT_THAT(run.err, HasSubstr("kt3: "));
}

TEST_P(Kt3Error, IsADocumentAsJson) {
    auto arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), "--json");
    const Ended run = run_kt3(GetParam().scene, arguments);
    EXPECT_EQ(run.status, GetParam().status) << run.err;
    const json document = parse_json(run.out);
    ASSERT_EQ(document["errors"].size(), 1U) << run.out;
    EXPECT_EQ(document["errors"][0]["code"], GetParam().code);
}

INSTANTIATE_TEST_SUITE_P(Cases, Kt3Error, ::testing::ValuesIn(kErrors),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(Kt3ErrorText, NamesEveryMissingEntryPoint) {
    const Ended run = run_kt3("idle", {"list", "--library", KT3_PARTIAL_LIBRARY});
    EXPECT_THAT(run.err, AllOf(HasSubstr("'gfx_find_adapter'"), HasSubstr("'gfx_global_exit'"),
                               Not(HasSubstr("'get_interface_version'"))));
}

TEST(Kt3ErrorText, ListsTheValidAdaptersForAnUnknownOne) {
    const Ended run = run_kt3("two-families", {"list", "-g", "7"});
    EXPECT_THAT(run.err, AllOf(HasSubstr("0 (0000:03:00.0, "), HasSubstr("1 (0000:05:00.0, "), HasSubstr(", all\n")));
}

TEST(Kt3ErrorText, StatesTheRangeOfANumber) {
    EXPECT_THAT(run_kt3("leak", {"leak", "--gate", "0"}).err,
                HasSubstr("'0': expected a whole number between 1 and 999999\n"));
    EXPECT_THAT(run_kt3("leak", {"leak", "-w", "-1"}).err, HasSubstr("'-1': expected seconds between 0 and 86400\n"));
}

TEST(Kt3ErrorText, BlamesTheFirstFileThatCannotBeRead) {
    EXPECT_THAT(run_kt3("idle", {"alloc", "diff", "/absent/a", "/absent/b"}).err,
                HasSubstr("kt3: cannot read /absent/a: No such file or directory\n"));
    EXPECT_THAT(run_kt3("idle", {"alloc", "diff", "/", "/"}).err, HasSubstr("kt3: cannot read /: Is a directory\n"));
}

TEST(Kt3ErrorText, HasNoControlBytesOfTheUser) {
    const Ended run = run_kt3("idle", {"list", "-g", "\x1b[2J"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, AllOf(HasSubstr("\\x1b[2J"), Not(HasSubstr("\x1b"))));
}

TEST(Kt3Error, LetsGoOfTheAdapterWhenTheLibraryThrows) {
    const Ended run = run_kt3("idle", {"info", "--verbose", "--library", KT3_THROWING_LIBRARY});
    EXPECT_THAT(run.err, AllOf(HasSubstr("malformed number in the summary of GPU 0 (stoi)"), HasSubstr("let go\n")));
}

TEST(Kt3Error, LeavesOutWhatTheLibraryThrewAtAndShowsTheRest) {
    const Ended run = run_kt3("idle", {"info", "--json", "--library", KT3_THROWING_LIBRARY});
    EXPECT_EQ(run.status, 1);
    const json document = parse_json(run.out);
    EXPECT_EQ(document["errors"][0]["code"], "parse_error");
    EXPECT_EQ(document["adapters"][0]["summary"]["memory_type_reason"], "parse_error");
    EXPECT_EQ(document["adapters"][0]["name"], "Gpu0:Vorla-55F0");
}

TEST(Kt3Error, IsAMatterOfRightsWhenDeviceNodesMayNotBeOpened) {
    const Ended run = run_kt3("no-device-rights", {"list"});
    EXPECT_EQ(run.status, 4) << run.err;
    EXPECT_THAT(run.err, AllOf(HasSubstr("cannot open /dev/dri/"), HasSubstr("video and render")));
}
