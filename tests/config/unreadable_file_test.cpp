// SPDX-License-Identifier: MIT
// A preference file that is there and cannot be read: nobody knows what a save would write over, so there is none.

#include "config/save_safety.hpp"
#include "support/failing_calls.hpp"
#include "support/no_descriptors.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace kt3::tests;
using testing::ElementsAre;

namespace {

struct UnreadableFile : SaveSafety {
    UnreadableFile() {
        interface_config_list.clear();
        home.write(kOld);
    }

    static std::int32_t count() {
        std::int32_t number = -1;
        get_gpu_preference(nullptr, &number);
        return number;
    }
    static void set_and_remove() {
        const auto added = entry("added", "/bin/added");
        set_gpu_preference(&added);
        remove_gpu_preference(&added);
    }
    [[nodiscard]] std::string not_read() const { return "parseINI fail to open " + home.file() + "\n"; }
    [[nodiscard]] std::string not_opened() const { return not_opened_lines()[0]; }

    // Loads, sets and removes in a child in which the calls of that number fail as given while the file is loaded.
    void change_after_failing(long number, Failures failures, const std::vector<std::string>& expected) const {
        expect_clean_end(in_child([&] {
            if (!make_fail(number, failures)) {
                ::_exit(3);
            }
            set_and_remove();
            ::_exit(LogCapture::lines() == expected ? 0 : 1);
        }));
    }
};

// Each kind of name that is no file of text.
void make_fifo(const std::string& path) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0666), 0);
}

void make_socket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(socket);
}

void make_device_link(const std::string& path) {
    std::filesystem::create_symlink("/dev/zero", path);
}

void make_huge_file(const std::string& path) {
    HomeFolder::write_to(path, kOld);
    std::filesystem::resize_file(path, (64 << 20) + 1);
}

struct NoFileOfText : UnreadableFile, testing::WithParamInterface<void (*)(const std::string&)> {};

} // namespace

TEST_F(UnreadableFile, KeepsItsEntriesWhenNoDescriptorWasLeftToReadItWith) {
    {
        const NoDescriptors none;
        EXPECT_EQ(count(), 0);
    }
    set_and_remove();
    EXPECT_THAT(LogCapture::lines(), ElementsAre(not_read(), not_opened(), not_opened()));
    EXPECT_EQ(home.text(), kOld);
}

TEST_F(UnreadableFile, KeepsItsEntriesWhenItCannotBeOpened) {
    if (!calls_can_be_made_to_fail()) {
        GTEST_SKIP() << "the kernel does not let a process make its own calls fail";
    }
    for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EACCES}) {
        change_after_failing(SYS_openat, {.error = error, .times = 1}, {not_read(), not_opened(), not_opened()});
        EXPECT_EQ(home.text(), kOld) << error;
    }
}

TEST_F(UnreadableFile, KeepsItsEntriesWhenReadingFails) {
    if (!calls_can_be_made_to_fail()) {
        GTEST_SKIP() << "the kernel does not let a process make its own calls fail";
    }
    for (const int error : {EIO, ENOMEM, ESTALE}) {
        change_after_failing(SYS_read, {error}, {not_read(), not_opened(), not_opened()});
        EXPECT_EQ(home.text(), kOld) << error;
    }
}

TEST_F(UnreadableFile, AppendsNoEntryWhenReadingFailsAfterTheFirstPiece) {
    if (!calls_can_be_made_to_fail()) {
        GTEST_SKIP() << "the kernel does not let a process make its own calls fail";
    }
    expect_clean_end(in_child([&] {
        const bool prepared = make_fail(SYS_read, {.error = EIO, .passed = 1});
        ::_exit(prepared && parseINI(home.file().c_str()) == -1 && interface_config_list.empty() ? 0 : 1);
    }));
}

TEST_F(UnreadableFile, IsReadAgainWhenASignalInterruptsTheReading) {
    if (!calls_can_be_made_to_fail()) {
        GTEST_SKIP() << "the kernel does not let a process make its own calls fail";
    }
    for (const long number : {SYS_openat, SYS_read}) {
        expect_clean_end(in_child([&] {
            const bool prepared = make_fail(number, {.error = EINTR, .times = 2});
            ::_exit(prepared && count() == 1 ? 0 : 1);
        }));
    }
}

TEST_F(UnreadableFile, KeepsItsEntriesWhenItsOwnerMayOnlyWriteIt) {
    ::chmod(home.root().c_str(), 0755);
    ::chmod(home.folder().c_str(), 0777);
    ::chmod(home.file().c_str(), 0222);
    expect_clean_end(in_child([&] {
        become_ordinary();
        set_and_remove();
        const std::vector<std::string> expected{not_read(), not_opened(), not_opened()};
        ::_exit(LogCapture::lines() == expected ? 0 : 1);
    }));
    ::chmod(home.file().c_str(), 0644);
    EXPECT_EQ(home.text(), kOld);
}

TEST_F(UnreadableFile, IsSavedAgainOnceItHasBeenRead) {
    {
        const NoDescriptors none;
        EXPECT_EQ(count(), 0);
    }
    util_init_config_files();
    EXPECT_EQ(count(), 1);
    const auto added = entry("added", "/bin/added");
    set_gpu_preference(&added);
    EXPECT_NE(home.text().find("[old]"), std::string::npos);
    EXPECT_NE(home.text().find("[added]"), std::string::npos);
}

TEST_F(UnreadableFile, IsNotWhatAPathThroughAnotherFileNames) {
    std::filesystem::remove_all(home.folder());
    HomeFolder::write_to(home.folder(), "no folder");
    EXPECT_EQ(count(), 0);
    std::filesystem::remove(home.folder());
    std::filesystem::create_directories(home.folder());
    const auto added = entry("added", "/bin/added");
    set_gpu_preference(&added);
    EXPECT_NE(home.text().find("[added]"), std::string::npos);
}

TEST_F(UnreadableFile, DoesNotHinderTheSaveOfAnotherFile) {
    {
        const NoDescriptors none;
        EXPECT_EQ(count(), 0);
    }
    const std::string other = home.root() / "other.ini";
    savefile_INI(other.c_str());
    EXPECT_EQ(HomeFolder::text_of(other), "; tqm_gfx_util.ini\n\n");
}

TEST_P(NoFileOfText, IsNeitherReadNorWrittenNorWaitedFor) {
    std::filesystem::remove(home.file());
    GetParam()(home.file());
    struct stat before {};
    ::lstat(home.file().c_str(), &before);
    EXPECT_EQ(parseINI(home.file().c_str()), -1);
    savefile_INI(home.file().c_str());
    LogCapture::lines().clear();
    set_and_remove();
    EXPECT_THAT(LogCapture::lines(), ElementsAre(not_read(), not_opened(), not_opened()));
    struct stat after {};
    ::lstat(home.file().c_str(), &after);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_size, before.st_size);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

INSTANTIATE_TEST_SUITE_P(EachKind, NoFileOfText,
                         testing::Values(&make_fifo, &make_socket, &make_device_link, &make_huge_file));

TEST_F(UnreadableFile, AFifoThatSomebodyReadsGetsNothing) {
    std::filesystem::remove(home.file());
    make_fifo(home.file());
    const int reader = ::open(home.file().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    savefile_INI(home.file().c_str());
    char byte = 0;
    EXPECT_LE(::read(reader, &byte, 1), 0);
    ::close(reader);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(not_opened()));
}
