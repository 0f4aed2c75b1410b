// A preference file that is there and cannot be read: nobody knows what a save would write over, so there is none.

#include "config/save_safety.hpp"
#include "support/failing_calls.hpp"
#include "support/no_descriptors.hpp"

#include <gmock/gmock.h>
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
