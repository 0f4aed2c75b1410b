// SPDX-License-Identifier: MIT
// Saves in which one system call fails, as on a broken disk, on an unusual file system or under a sandbox. None ends
// without a line in the log or the new text in the file.

#include "config/save_safety.hpp"
#include "support/failing_calls.hpp"

#include <gmock/gmock.h>

using namespace kt3::tests;
using testing::ElementsAre;

namespace {

struct SaveFaults : SaveSafety {
    void SetUp() override {
        if (!calls_can_be_made_to_fail()) {
            GTEST_SKIP() << "the kernel does not let a process make its own calls fail";
        }
        home.write(kOld);
    }

    // Saves in a child in which the calls of that number fail as given; the log must be `expected`.
    void save_while_failing(long number, Failures failures, const std::vector<std::string>& expected) const {
        expect_clean_end(in_child([&] {
            if (!make_fail(number, failures)) {
                ::_exit(3);
            }
            LogCapture::lines().clear();
            savefile_INI(home.file().c_str());
            ::_exit(LogCapture::lines() == expected ? 0 : 1);
        }));
        EXPECT_THAT(files(), ElementsAre("tqm_gfx_util.ini")) << "call " << number << ", error " << failures.error;
    }
};

} // namespace

TEST_F(SaveFaults, AModeThatCannotBeGivenToAnotherFileIsKeptByWritingInPlace) {
    ::chmod(home.file().c_str(), 0640);
    for (const int error : {EPERM, ENOSYS, EACCES}) {
        home.write(kOld);
        const ino_t before = inode(home.file());
        save_while_failing(SYS_fchmod, {error}, saved_lines());
        EXPECT_EQ(home.text(), new_text()) << error;
        EXPECT_EQ(inode(home.file()), before) << error;
        EXPECT_EQ(mode(home.file()), 0640U) << error;
    }
}

TEST_F(SaveFaults, ACallThatIsRefusedWhereThereIsNothingToChangeHindersNothing) {
    ::chmod(home.file().c_str(), 0600);
    for (const long number : {SYS_fchmod, SYS_fchown}) {
        const ino_t before = inode(home.file());
        save_while_failing(number, {EPERM}, saved_lines());
        EXPECT_NE(inode(home.file()), before);
        EXPECT_EQ(home.text(), new_text());
    }
}

TEST_F(SaveFaults, AFlushThatASignalInterruptsIsRepeated) {
    const ino_t before = inode(home.file());
    save_while_failing(SYS_fsync, {.error = EINTR, .times = 3}, saved_lines());
    EXPECT_EQ(home.text(), new_text());
    EXPECT_NE(inode(home.file()), before);
}

TEST_F(SaveFaults, AFlushThatFailsKeepsTheOldTextAndIsLoggedAfterTheEntryLines) {
    for (const int error : {EIO, ENOSPC, EDQUOT}) {
        save_while_failing(SYS_fsync, {error}, not_written_lines());
        EXPECT_EQ(home.text(), kOld) << error;
    }
}

TEST_F(SaveFaults, AFileSystemThatHasNothingToFlushSavesAsAnyOther) {
    for (const int error : {EINVAL, ENOSYS, ENOTSUP, EROFS}) {
        home.write(kOld);
        save_while_failing(SYS_fsync, {error}, saved_lines());
        EXPECT_EQ(home.text(), new_text()) << error;
    }
}

TEST_F(SaveFaults, AWriteThatFailsKeepsTheOldTextAndIsLoggedAfterTheEntryLines) {
    for (const int error : {EIO, ENOSPC}) {
        save_while_failing(SYS_write, {error}, not_written_lines());
        EXPECT_EQ(home.text(), kOld) << error;
    }
}

TEST_F(SaveFaults, AWriteThatASignalInterruptsIsRepeated) {
    save_while_failing(SYS_write, {.error = EINTR, .times = 2}, saved_lines());
    EXPECT_EQ(home.text(), new_text());
}

TEST_F(SaveFaults, AFileWhoseNameCannotBeTakenIsWrittenInPlace) {
    for (const int error : {EBUSY, EPERM, EXDEV}) {
        home.write(kOld);
        const ino_t before = inode(home.file());
        save_while_failing(SYS_rename, {error}, saved_lines());
        EXPECT_EQ(home.text(), new_text()) << error;
        EXPECT_EQ(inode(home.file()), before) << error;
    }
}

TEST_F(SaveFaults, AnOpenThatASignalInterruptsIsRepeated) {
    save_while_failing(SYS_openat, {.error = EINTR, .times = 2}, saved_lines());
    EXPECT_EQ(home.text(), new_text());
}

TEST_F(SaveFaults, AFileThatCannotBeOpenedForWritingIsLoggedInsteadOfTheEntryLines) {
    for (const int error : {EMFILE, EIO, EACCES, EROFS}) {
        save_while_failing(SYS_openat, {error}, not_opened_lines());
        EXPECT_EQ(home.text(), kOld) << error;
    }
}

// Reserving space makes the file longer; the bytes that were not filled would read as zeros.
TEST_F(SaveFaults, AWriteThatFailsInPlaceLeavesNoZeroBytesAtTheEnd) {
    const auto second_name = home.root() / "second name";
    std::filesystem::create_hard_link(home.file(), second_name);
    save_while_failing(SYS_write, {EIO}, not_written_lines());
    EXPECT_EQ(home.text(), kOld);
}

TEST_F(SaveFaults, AFileSystemThatCannotReserveSpaceIsWrittenInPlaceAllTheSame) {
    std::filesystem::create_hard_link(home.file(), home.root() / "second name");
    for (const int error : {EOPNOTSUPP, ENOSYS, EPERM}) {
        home.write(kOld);
        save_while_failing(SYS_fallocate, {error}, saved_lines());
        EXPECT_EQ(home.text(), new_text()) << error;
    }
}

TEST_F(SaveFaults, SpaceThatCannotBeReservedKeepsTheOldText) {
    std::filesystem::create_hard_link(home.file(), home.root() / "second name");
    for (const int error : {ENOSPC, EDQUOT, EFBIG}) {
        save_while_failing(SYS_fallocate, {error}, not_written_lines());
        EXPECT_EQ(home.text(), kOld) << error;
    }
}

TEST_F(SaveFaults, AnEndThatCannotBeCutIsLoggedAfterTheEntryLines) {
    const std::string longer(2000, 'x');
    home.write(longer);
    std::filesystem::create_hard_link(home.file(), home.root() / "second name");
    save_while_failing(SYS_ftruncate, {EIO}, not_written_lines());
    home.write(longer);
    save_while_failing(SYS_ftruncate, {.error = EINTR, .times = 2}, saved_lines());
    EXPECT_EQ(home.text(), new_text());
}

TEST_F(SaveFaults, AWriteThatFailsWhileAFileIsMadeLeavesNone) {
    std::filesystem::remove(home.file());
    // No name beside the longest one is short enough for another file.
    for (const std::string& path : {home.file(), (home.folder() / std::string(255, 'n')).string()}) {
        expect_clean_end(in_child([&] {
            if (!make_fail(SYS_write, {EIO})) {
                ::_exit(3);
            }
            LogCapture::lines().clear();
            savefile_INI(path.c_str());
            ::_exit(LogCapture::lines().size() == 4 ? 0 : 1);
        }));
        EXPECT_THAT(files(), ElementsAre());
        savefile_INI(path.c_str());
        EXPECT_EQ(HomeFolder::text_of(path), new_text());
        std::filesystem::remove(path);
    }
}

TEST_F(SaveFaults, AChangeThatCannotBeSavedIsStillAnsweredWithZero) {
    EXPECT_EQ(in_child([&] {
                  const auto added = entry("added", "/bin/added");
                  const bool answered = make_fail(SYS_write, {EIO}) && set_gpu_preference(&added) == 0 &&
                                        remove_gpu_preference(&added) == 0;
                  ::_exit(answered ? 0 : 1);
              }),
              0);
    EXPECT_EQ(home.text(), kOld);
}
