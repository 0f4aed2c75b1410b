// SPDX-License-Identifier: MIT
// A save loses nothing: neither to a crash nor to a full disk, and the file stays the user's own.

#include "config/save_safety.hpp"

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kt3::tests;
using testing::AnyOf;
using testing::ElementsAre;

namespace {

enum class Traced { ended, killed, not_permitted };

// Runs `work` in a child and kills it right behind its `calls`th system call.
Traced kill_behind(int calls, const std::function<void()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            ::_exit(3);
        }
        ::raise(SIGSTOP);
        work();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) {
        return Traced::not_permitted;
    }
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int stops = 0; // two for each call: before it and behind it
    while (stops < 2 * calls) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            return Traced::ended;
        }
        stops += WIFSTOPPED(status) && WSTOPSIG(status) == (SIGTRAP | 0x80) ? 1 : 0;
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return Traced::killed;
}

bool manages_memory(std::uint64_t call) {
    constexpr std::uint64_t kMemory[] = {SYS_brk, SYS_mmap, SYS_munmap, SYS_mremap, SYS_madvise, SYS_mprotect};
    return std::find(std::begin(kMemory), std::end(kMemory), call) != std::end(kMemory);
}

// The numbers of the system calls that `work` makes in a child, without those of the allocator. Empty when tracing is
// not permitted.
std::optional<std::vector<std::uint64_t>> file_calls(const std::function<void()>& work) {
    std::vector<std::uint64_t> calls;
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            ::_exit(3);
        }
        ::raise(SIGSTOP);
        ::getppid(); // marks around the work: the stop, the end and what a sanitizer does there lie outside
        work();
        ::getppid();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) {
        return std::nullopt;
    }
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool marked = false;
    for (;;) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (!WIFSTOPPED(status)) {
            return calls;
        }
        __ptrace_syscall_info info{};
        ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
        if (info.op != PTRACE_SYSCALL_INFO_ENTRY) {
            continue;
        }
        if (info.entry.nr == SYS_getppid) {
            marked = !marked;
        } else if (marked && !manages_memory(info.entry.nr)) {
            calls.push_back(info.entry.nr);
        }
    }
}

} // namespace

TEST_F(SaveSafety, ACrashBehindAnySystemCallLeavesTheOldOrTheNewText) {
    fill(50);
    const std::string wanted = new_text();
    set_print_callback(nullptr);
    int calls = 1;
    for (;; ++calls) {
        clear_folder();
        home.write(kOld);
        const Traced end = kill_behind(calls, [&] { savefile_INI(home.file().c_str()); });
        if (end == Traced::not_permitted) {
            GTEST_SKIP() << "tracing a child is not permitted here";
        }
        ASSERT_THAT(home.text(), AnyOf(kOld, wanted)) << "behind system call " << calls;
        if (end == Traced::ended) {
            break;
        }
    }
    EXPECT_EQ(home.text(), wanted);
    EXPECT_GE(calls, 8) << "too few system calls seen";
}

TEST_F(SaveSafety, ACrashWhileCreatingTheFileLeavesNoneOrTheNewText) {
    const std::string wanted = new_text();
    set_print_callback(nullptr);
    for (int calls = 1;; ++calls) {
        clear_folder();
        const Traced end = kill_behind(calls, [&] { savefile_INI(home.file().c_str()); });
        if (end == Traced::not_permitted) {
            GTEST_SKIP() << "tracing a child is not permitted here";
        }
        if (home.has_file()) {
            ASSERT_EQ(home.text(), wanted) << "behind system call " << calls;
        }
        if (end == Traced::ended) {
            break;
        }
    }
    EXPECT_TRUE(home.has_file());
}

// Writing in place cannot be undone, but what was there is never simply gone: the text is the old one, with room behind
// it, or the new one, with the end of the old one still behind it.
TEST_F(SaveSafety, ACrashInPlaceNeverLeavesLessThanTheOldOrTheNewText) {
    for (const int entries : {0, 40}) {
        fill(entries);
        const std::string wanted = new_text();
        set_print_callback(nullptr);
        for (int calls = 1;; ++calls) {
            std::filesystem::remove_all(home.root() / "second name");
            home.write(kOld);
            std::filesystem::create_hard_link(home.file(), home.root() / "second name");
            const Traced end = kill_behind(calls, [&] { savefile_INI(home.file().c_str()); });
            if (end == Traced::not_permitted) {
                GTEST_SKIP() << "tracing a child is not permitted here";
            }
            const std::string text = home.text();
            ASSERT_TRUE(text.rfind(kOld, 0) == 0 || text.rfind(wanted, 0) == 0) << "behind system call " << calls;
            if (end == Traced::ended) {
                EXPECT_EQ(text, wanted);
                break;
            }
        }
    }
}

TEST_F(SaveSafety, AFullDiskKeepsTheOldTextAndLeavesNoOtherFile) {
    fill(50);
    home.write(kOld);
    for (const rlim_t room : {0, 1, 60, 4096}) {
        expect_clean_end(in_child([&] {
            limit_file_size(room);
            savefile_INI(home.file().c_str());
        }));
        EXPECT_EQ(home.text(), kOld) << room;
        EXPECT_THAT(files(), ElementsAre("tqm_gfx_util.ini")) << room;
    }
}

TEST_F(SaveSafety, AFullDiskDuringTheFirstSaveLeavesNoFile) {
    expect_clean_end(in_child([&] {
        limit_file_size(10);
        savefile_INI(home.file().c_str());
    }));
    EXPECT_THAT(files(), ElementsAre());
}

TEST_F(SaveSafety, AFullDiskKeepsTheOldTextOfAFileWithTwoNames) {
    fill(50);
    home.write(kOld);
    std::filesystem::create_hard_link(home.file(), home.root() / "second name");
    expect_clean_end(in_child([&] {
        limit_file_size(100);
        savefile_INI(home.file().c_str());
    }));
    EXPECT_EQ(home.text(), kOld);
}

TEST_F(SaveSafety, AFullDiskIsLoggedOnceAfterTheEntryLines) {
    home.write(kOld);
    expect_clean_end(in_child([&] {
        limit_file_size(10);
        savefile_INI(home.file().c_str());
        ::_exit(LogCapture::lines() == not_written_lines() ? 0 : 1);
    }));
}

TEST_F(SaveSafety, AFullDiskIsLoggedOnceAfterTheEntryLinesWhenTheFileIsWrittenInPlace) {
    home.write(kOld);
    std::filesystem::create_hard_link(home.file(), home.root() / "second name");
    expect_clean_end(in_child([&] {
        limit_file_size(10);
        savefile_INI(home.file().c_str());
        ::_exit(LogCapture::lines() == not_written_lines() ? 0 : 1);
    }));
}

TEST_F(SaveSafety, TheNewFileTakesThePlaceOfTheOldOne) {
    home.write(kOld);
    const ino_t before = inode(home.file());
    std::ifstream reader(home.file());
    savefile_INI(home.file().c_str());
    EXPECT_NE(inode(home.file()), before);
    // Whoever was reading keeps what was opened.
    const std::string read((std::istreambuf_iterator<char>(reader)), {});
    EXPECT_EQ(read, kOld);
    EXPECT_THAT(files(), ElementsAre("tqm_gfx_util.ini"));
}

TEST_F(SaveSafety, TheModeOfTheOldFileStays) {
    home.write(kOld);
    for (const mode_t kept : {0600, 0664, 0755}) {
        ::chmod(home.file().c_str(), kept);
        savefile_INI(home.file().c_str());
        EXPECT_EQ(mode(home.file()), kept);
    }
}

TEST_F(SaveSafety, ANewFileHasTheModeThatTheUmaskLeaves) {
    const mode_t before = ::umask(027);
    savefile_INI(home.file().c_str());
    ::umask(before);
    EXPECT_EQ(mode(home.file()), 0640U);
}

TEST_F(SaveSafety, TheOwnerOfTheOldFileStaysWhenRootSaves) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "needs root";
    }
    home.write(kOld);
    ASSERT_EQ(::chown(home.file().c_str(), kNobody, kNobody), 0);
    savefile_INI(home.file().c_str());
    struct stat status {};
    ASSERT_EQ(::stat(home.file().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, kNobody);
    EXPECT_EQ(status.st_gid, kNobody);
}

TEST_F(SaveSafety, ASymbolicLinkStaysAndItsTargetIsReplaced) {
    const auto real = home.root() / "real.ini";
    HomeFolder::write_to(real, kOld);
    const ino_t before = inode(real);
    std::filesystem::create_symlink("../../real.ini", home.folder() / "middle");
    std::filesystem::create_symlink(home.folder() / "middle", home.file());
    savefile_INI(home.file().c_str());
    EXPECT_TRUE(std::filesystem::is_symlink(home.file()));
    EXPECT_FALSE(std::filesystem::is_symlink(real));
    EXPECT_NE(inode(real), before);
    EXPECT_EQ(HomeFolder::text_of(real), new_text());
}

TEST_F(SaveSafety, ASymbolicLinkToNothingGetsItsTarget) {
    std::filesystem::create_symlink(home.root() / "later.ini", home.file());
    savefile_INI(home.file().c_str());
    EXPECT_TRUE(std::filesystem::is_symlink(home.file()));
    EXPECT_EQ(HomeFolder::text_of(home.root() / "later.ini"), new_text());
}

TEST_F(SaveSafety, SymbolicLinksInACircleCannotBeOpened) {
    std::filesystem::create_symlink(home.file(), home.folder() / "other");
    std::filesystem::create_symlink(home.folder() / "other", home.file());
    savefile_INI(home.file().c_str());
    EXPECT_THAT(LogCapture::lines(), ElementsAre("savefile_INI: can't open " + home.file() + " \n"));
}

TEST_F(SaveSafety, AFileWithTwoNamesIsWrittenInPlaceWhetherItGrowsOrShrinks) {
    home.write(kOld);
    std::filesystem::create_hard_link(home.file(), home.root() / "second name");
    for (const int entries : {30, 0, 1}) {
        fill(entries);
        savefile_INI(home.file().c_str());
        EXPECT_EQ(home.text(), new_text());
        EXPECT_EQ(inode(home.file()), inode(home.root() / "second name"));
    }
    EXPECT_THAT(files(), ElementsAre("tqm_gfx_util.ini"));
}

TEST_F(SaveSafety, AnOpenFileWhoseNameIsGoneIsWrittenInPlace) {
    home.write(
        "a longer text that the new one has to replace to its last byte, header and entry and all of it, so long "
        "that nothing can be left over behind it by accident or otherwise");
    const int file = ::open(home.file().c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(file, 0);
    std::filesystem::remove(home.file());
    savefile_INI(("/proc/self/fd/" + std::to_string(file)).c_str());
    char page[512] = {};
    const ssize_t got = ::pread(file, page, sizeof page, 0);
    ::close(file);
    EXPECT_EQ(std::string(page, got < 0 ? 0 : static_cast<std::size_t>(got)), new_text());
    EXPECT_TRUE(files().empty());
    EXPECT_EQ(LogCapture::lines()[0], "-------------------------\n");
}

TEST_F(SaveSafety, AFileInAReadOnlyFolderIsWrittenInPlace) {
    home.write(kOld);
    ::chmod(home.root().c_str(), 0755);
    ::chmod(home.file().c_str(), 0666);
    ::chmod(home.folder().c_str(), 0555);
    const ino_t before = inode(home.file());
    expect_clean_end(in_child([&] {
        become_ordinary();
        savefile_INI(home.file().c_str());
        ::_exit(LogCapture::lines().size() == 3 ? 0 : 1);
    }));
    EXPECT_EQ(inode(home.file()), before);
    EXPECT_EQ(home.text(), new_text());
    ::chmod(home.folder().c_str(), 0755);
}

TEST_F(SaveSafety, AFileWithoutTheRightToWriteCannotBeOpenedAlthoughItsFolderIsWritable) {
    home.write(kOld);
    ::chmod(home.root().c_str(), 0755);
    ::chmod(home.folder().c_str(), 0777);
    ::chmod(home.file().c_str(), 0444);
    expect_clean_end(in_child([&] {
        become_ordinary();
        savefile_INI(home.file().c_str());
        ::_exit(LogCapture::lines() == not_opened_lines() ? 0 : 1);
    }));
    EXPECT_EQ(home.text(), kOld);
    EXPECT_THAT(files(), ElementsAre("tqm_gfx_util.ini"));
}

TEST_F(SaveSafety, AMissingFileInAReadOnlyFolderCannotBeOpened) {
    ::chmod(home.root().c_str(), 0755);
    ::chmod(home.folder().c_str(), 0555);
    expect_clean_end(in_child([&] {
        become_ordinary();
        savefile_INI(home.file().c_str());
        ::_exit(LogCapture::lines() == not_opened_lines() ? 0 : 1);
    }));
    ::chmod(home.folder().c_str(), 0755);
}

TEST_F(SaveSafety, InPlaceASaveOfAnySizeTakesFiveSystemCallsAndOneWrite) {
    set_print_callback(nullptr);
    for (const int entries : {0, 20, 1000}) {
        fill(entries);
        home.write(kOld);
        std::filesystem::remove_all(home.root() / "second name");
        std::filesystem::create_hard_link(home.file(), home.root() / "second name");
        const auto calls = file_calls([&] { savefile_INI(home.file().c_str()); });
        if (!calls) {
            GTEST_SKIP() << "tracing a child is not permitted here";
        }
        EXPECT_LE(calls->size(), 5U) << entries << " entries: calls " << testing::PrintToString(*calls);
        EXPECT_EQ(std::count(calls->begin(), calls->end(), SYS_write), 1) << entries;
        EXPECT_EQ(home.text(), new_text());
    }
}
