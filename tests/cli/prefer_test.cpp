// SPDX-License-Identifier: MIT
// kt3 prefer: what stands in the file afterwards.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

struct Prefer : ::testing::Test {
    Prefer() { std::filesystem::create_directories(scratch.preferences().parent_path()); }

    Ended run(std::vector<std::string> arguments, const std::string& scene = "idle") const {
        arguments.insert(arguments.begin(), "prefer");
        return run_kt3(scene, std::move(arguments), scratch);
    }
    [[nodiscard]] std::string stored() const { return file_text(scratch.preferences()); }

    Scratch scratch;
};

} // namespace

TEST_F(Prefer, StoresTheNameAndTheBusIdOfTheChosenAdapter) {
    EXPECT_EQ(run({"set", "/usr/bin/app", "-g", "1", "--value", "2"}, "two-families").status, 0);
    EXPECT_EQ(stored(), "; tqm_gfx_util.ini\n\n[app]\nFullPath = /usr/bin/app\nPreferGpuName = Gpu1:QN R-4480\n"
                        "PreferGpuBusID = 0000:05:00.0\nGpuPrefer = 2\n\n\n");
}

TEST_F(Prefer, KeepsTheOtherEntriesWhenOneIsRemoved) {
    ASSERT_EQ(run({"set", "/a/one", "--value", "1"}).status, 0);
    ASSERT_EQ(run({"set", "/a/two", "--value", "2"}).status, 0);
    ASSERT_EQ(run({"set", "/a/three", "--value", "3"}).status, 0);
    EXPECT_EQ(run({"remove", "two"}).status, 0);
    EXPECT_THAT(stored(), AllOf(HasSubstr("[one]"), Not(HasSubstr("[two]")), HasSubstr("[three]")));
}

TEST_F(Prefer, LeavesTheFileAloneWhenThereIsNothingToRemove) {
    scratch.write_preferences("[one]\nFullPath=/a/one\n");
    EXPECT_EQ(run({"remove", "absent"}).status, 1);
    EXPECT_EQ(stored(), "[one]\nFullPath=/a/one\n");
}

TEST_F(Prefer, LeavesTheFileAloneWhenNothingChanges) {
    scratch.write_preferences("[one]\nFullPath=/a/one\nGpuPrefer=4\n");
    const Ended kept = run({"set", "/a/one", "--value", "4", "--json"});
    EXPECT_EQ(kept.status, 0);
    EXPECT_EQ(parse_json(kept.out)["change"], "kept");
    EXPECT_EQ(stored(), "[one]\nFullPath=/a/one\nGpuPrefer=4\n");
}

TEST_F(Prefer, ReportsOldAndNewOfAChange) {
    scratch.write_preferences("[one]\nFullPath=/a/one\nGpuPrefer=4\n");
    const json document = parse_json(run({"set", "/b/one", "--value", "5", "--json"}).out);
    EXPECT_EQ(document["change"], "changed");
    EXPECT_EQ(document["before"]["path"], "/a/one");
    EXPECT_EQ(document["after"]["path"], "/b/one");
    EXPECT_EQ(document["after"]["value"], 5);
}

TEST_F(Prefer, RefusesWhatTheFileCannotCarryBackAndLeavesItAlone) {
    scratch.write_preferences("[one]\n");
    for (const char* path : {"/a;b", "/a]", "/a\nb", " /a", "/a ", ""}) {
        const Ended refused = run({"set", path, "--value", "1"});
        EXPECT_EQ(refused.status, 2) << path;
        EXPECT_THAT(refused.err, HasSubstr("kt3: the ")) << path;
    }
    EXPECT_EQ(run({"set", "/" + std::string(64, 'n'), "--value", "1"}).status, 2);
    EXPECT_EQ(run({"set", std::string(512, 'p'), "--value", "1"}).status, 2);
    EXPECT_EQ(stored(), "[one]\n");
}

TEST_F(Prefer, CarriesTheLongestNameAndPathBack) {
    const std::string name(63, 'n');
    const std::string path = "/" + std::string(446, 'p') + "/" + name;
    ASSERT_EQ(path.size(), 511U);
    EXPECT_EQ(run({"set", path, "--value", "1"}).status, 0);
    const json stored_entry = parse_json(run({"get", path, "--json"}).out)["preferences"][0];
    EXPECT_EQ(stored_entry["path"], path);
    EXPECT_EQ(stored_entry["name"], name);
}

TEST_F(Prefer, ReplacesBrokenTextOfTheFileInEveryFormat) {
    scratch.write_preferences("[app\xFF]\nFullPath = /x\x1b[2J\xC3(\nGpuPrefer = 1\n");
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"list"}, {"list", "--csv"}, {"list", "--json"}}) {
        const Ended listed = run(arguments);
        EXPECT_EQ(listed.status, 0) << listed.err;
        EXPECT_THAT(listed.out,
                    AllOf(HasSubstr("app\xEF\xBF\xBD"), HasSubstr("\xEF\xBF\xBD("), Not(HasSubstr("\x1b"))));
    }
}

TEST_F(Prefer, FindsAnEntryByItsPathToo) {
    scratch.write_preferences("[game.exe]\nFullPath = C:\\apps\\game.exe\n");
    EXPECT_EQ(run({"get", "C:\\apps\\game.exe"}).status, 0);
    EXPECT_EQ(run({"get", "game.exe"}).status, 0);
    EXPECT_EQ(run({"get", "GAME.EXE"}).status, 1);
}

TEST_F(Prefer, NeverBindsAnAdapter) {
    const Ended log = run_script("idle",
                                 "\"$KT3\" prefer set /a/b -g 0 >/dev/null && \"$KT3\" prefer remove b >/dev/null; "
                                 "\"$KT3_SIM\" log",
                                 scratch);
    EXPECT_THAT(log.out, Not(HasSubstr("enable_usage")));
}

TEST_F(Prefer, MakesAMissingFolder) {
    std::filesystem::remove_all(scratch.folder / ".local");
    EXPECT_EQ(run({"set", "/a/b", "--value", "1"}).status, 0);
    EXPECT_THAT(run({"get", "b"}).out, HasSubstr("/a/b"));
}

TEST_F(Prefer, SaysWhenItsFolderCannotBeMade) {
    std::filesystem::remove_all(scratch.folder / ".local");
    std::ofstream(scratch.folder / ".local") << "a file";
    const Ended refused = run({"set", "/a/b", "--value", "1"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("Not a directory"));
}

TEST_F(Prefer, NeedsAHome) {
    const Ended refused = run_in_scene("idle", {"env", "-u", "HOME", KT3_PROGRAM, "prefer", "list"}, scratch);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("HOME is not set"));
}

TEST_F(Prefer, DoesNotWriteOverAFileItCannotRead) {
    std::filesystem::create_symlink(scratch.preferences(), scratch.preferences()); // not even root can open that
    const Ended refused = run({"set", "/a/b", "--value", "1"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("cannot read "), HasSubstr("Too many levels of symbolic links")));
    EXPECT_TRUE(std::filesystem::is_symlink(scratch.preferences()));
}

TEST_F(Prefer, SaysThatTheDiskMayBeFullWhenASaveFails) {
    std::string text;
    for (int application = 0; application < 40; ++application) {
        text += "[app" + std::to_string(application) + "]\nFullPath=/a/app" + std::to_string(application) + "\n";
    }
    scratch.write_preferences(text);
    // No file may grow beyond one block.
    const Ended failed = run_script("idle", "trap '' XFSZ; ulimit -f 1; \"$KT3\" prefer set /a/b --value 1", scratch);
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.err, HasSubstr("does not show the change"));
    EXPECT_EQ(stored(), text);
}

TEST_F(Prefer, NeedsOneAdapterAndSomethingToStore) {
    EXPECT_EQ(run({"set", "/a/b"}).status, 2);
    EXPECT_EQ(run({"set", "/a/b", "-g", "all"}, "two-families").status, 2);
    EXPECT_EQ(run({"set", "/a/b", "--bus", "nonsense"}).status, 2);
    EXPECT_THAT(stored(), IsEmpty());
}
