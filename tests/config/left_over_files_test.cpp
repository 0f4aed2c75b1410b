// SPDX-License-Identifier: MIT
// What a save leaves in the folder of the file: nothing of its own, nothing that a killed one left long ago, and
// everything else.

#include "config/save_safety.hpp"

#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace kt3::tests;
using testing::UnorderedElementsAre;

namespace {

struct LeftOverFiles : SaveSafety {
    LeftOverFiles() { home.write(kOld); }

    [[nodiscard]] std::string beside(const std::string& name) const { return home.folder() / name; }

    void make_old(const std::string& name, int seconds) const {
        const timespec then{std::time(nullptr) - seconds, 0};
        const timespec times[] = {then, then};
        ::utimensat(AT_FDCWD, beside(name).c_str(), times, AT_SYMLINK_NOFOLLOW);
    }
    void leave(const std::string& name, int seconds) const {
        HomeFolder::write_to(beside(name), "left");
        make_old(name, seconds);
    }
};

constexpr int kTwoHours = 7200;
constexpr const char* kLeft = "tqm_gfx_util.ini.abc012.tmp";

} // namespace

TEST_F(LeftOverFiles, OneThatIsOlderThanAnHourIsRemovedByTheNextSave) {
    leave(kLeft, kTwoHours);
    savefile_INI(home.file().c_str());
    EXPECT_THAT(files(), UnorderedElementsAre("tqm_gfx_util.ini"));
    EXPECT_EQ(home.text(), new_text());
}

TEST_F(LeftOverFiles, OneThatIsOlderThanAnHourIsRemovedWhenTheFileIsNew) {
    std::filesystem::remove(home.file());
    leave(kLeft, kTwoHours);
    savefile_INI(home.file().c_str());
    EXPECT_THAT(files(), UnorderedElementsAre("tqm_gfx_util.ini"));
}

TEST_F(LeftOverFiles, OneOfTheLastHourMayBeInUseAndStays) {
    leave(kLeft, 3000);
    savefile_INI(home.file().c_str());
    EXPECT_THAT(files(), UnorderedElementsAre("tqm_gfx_util.ini", kLeft));
}

TEST_F(LeftOverFiles, FilesOfOtherNamesStay) {
    const std::vector<std::string> names{"tqm_gfx_util.ini.abc01.tmp",   "tqm_gfx_util.ini.abc0123.tmp",
                                         "tqm_gfx_util.ini.ABC012.tmp",  "tqm_gfx_util.ini.abc012.bak",
                                         "tqm_gfx_util.ini-abc012.tmp",  "tqm_gfx_util.ink.abc012.tmp",
                                         "xtqm_gfx_util.ini.abc012.tmp", "tqm_gfx_util.ini.1234.tmp"};
    for (const std::string& name : names) {
        leave(name, kTwoHours);
    }
    savefile_INI(home.file().c_str());
    EXPECT_EQ(files().size(), names.size() + 1);
}

TEST_F(LeftOverFiles, WhatIsNoFileOfOneNameStays) {
    std::filesystem::create_directory(beside("tqm_gfx_util.ini.folder.tmp"));
    make_old("tqm_gfx_util.ini.folder.tmp", kTwoHours);
    std::filesystem::create_symlink(home.file(), beside("tqm_gfx_util.ini.linked.tmp"));
    make_old("tqm_gfx_util.ini.linked.tmp", kTwoHours);
    leave("tqm_gfx_util.ini.second.tmp", kTwoHours);
    std::filesystem::create_hard_link(beside("tqm_gfx_util.ini.second.tmp"), beside("first"));
    savefile_INI(home.file().c_str());
    EXPECT_EQ(files().size(), 5U);
}

TEST_F(LeftOverFiles, OneOfAThirdOwnerStays) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    leave(kLeft, kTwoHours);
    ASSERT_EQ(::chown(beside(kLeft).c_str(), kNobody, kNobody), 0);
    savefile_INI(home.file().c_str());
    EXPECT_EQ(files().size(), 2U);
    ASSERT_EQ(::chown(home.file().c_str(), kNobody, kNobody), 0);
    savefile_INI(home.file().c_str());
    EXPECT_THAT(files(), UnorderedElementsAre("tqm_gfx_util.ini"));
}

// Programs in two containers may share a home and have the same process id.
TEST_F(LeftOverFiles, TheFileThatAnotherProgramOfTheSameProcessIdWritesIsInNobodysWay) {
    const std::string other = "tqm_gfx_util.ini." + std::to_string(::getpid()) + ".tmp";
    leave(other, 0);
    savefile_INI(home.file().c_str());
    EXPECT_EQ(home.text(), new_text());
    EXPECT_EQ(HomeFolder::text_of(beside(other)), "left");
}
