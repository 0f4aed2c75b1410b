// SPDX-License-Identifier: MIT
// Every call that takes a path sees the simulated machine, and nothing but it, below the GPU-related folders.

#include "support/fake_kernel.hpp"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

extern "C" {
int __open_2(const char*, int);
int __open64_2(const char*, int);
int __openat_2(int, const char*, int);
int __openat64_2(int, const char*, int);
char* __realpath_chk(const char*, char*, std::size_t);
ssize_t __readlink_chk(const char*, char*, std::size_t, std::size_t);
ssize_t __readlinkat_chk(int, const char*, char*, std::size_t, std::size_t);
}

namespace {

using namespace kt3::tests;
using ::testing::ElementsAre;

constexpr char kPage[] = "/sys/class/drm/page";

std::string read_and_close(int descriptor) {
    char text[64] = "";
    if (descriptor < 0) {
        return "not opened";
    }
    const ssize_t length = ::read(descriptor, text, sizeof text);
    ::close(descriptor);
    return {text, static_cast<std::size_t>(length < 0 ? 0 : length)};
}

std::string read_and_close(FILE* stream) {
    char text[64] = "";
    if (stream == nullptr) {
        return "not opened";
    }
    const std::size_t length = std::fread(text, 1, sizeof text, stream);
    std::fclose(stream);
    return {text, length};
}

TEST(OpenCalls, AllReadTheSimulatedFile) {
    FakeKernel kernel;
    kernel.file(kPage, "simulated");
    constexpr int flags = O_RDONLY | O_CLOEXEC;
    EXPECT_EQ(read_and_close(::open(kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::open64(kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::openat(AT_FDCWD, kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::openat64(0, kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::__open_2(kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::__open64_2(kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::__openat_2(AT_FDCWD, kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(::__openat64_2(AT_FDCWD, kPage, flags)), "simulated");
    EXPECT_EQ(read_and_close(std::fopen(kPage, "re")), "simulated");
    EXPECT_EQ(read_and_close(::fopen64(kPage, "re")), "simulated");
}

TEST(OpenCalls, OpenRelativeToASimulatedFolder) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).node("eclk", "800\n");
    const int folder = ::open("/sys/bus/pci/devices/0000:03:00.0/wy_info", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(folder, 0);
    EXPECT_EQ(read_and_close(::openat(folder, "eclk", O_RDONLY | O_CLOEXEC)), "800\n");
    ::close(folder);
}

TEST(OpenCalls, CreateWithTheModeAskedFor) {
    FakeKernel kernel;
    kernel.directory("/sys/class/drm");
    const mode_t before = ::umask(0);
    const int created = ::open("/sys/class/drm/new", O_WRONLY | O_CREAT | O_CLOEXEC, 0640);
    ::umask(before);
    ASSERT_GE(created, 0);
    ::close(created);
    struct stat status {};
    ASSERT_EQ(::stat("/sys/class/drm/new", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST(OpenCalls, ReportTheErrorOfTheMissingFile) {
    FakeKernel kernel;
    errno = 0;
    EXPECT_EQ(::open("/sys/class/drm/absent", O_RDONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(OpenCalls, LeaveErrnoAloneWhenTheySucceed) {
    FakeKernel kernel;
    kernel.file(kPage, "simulated").file("/proc/gpuinfo_0", "page");
    errno = EDOM;
    ::close(::open(kPage, O_RDONLY | O_CLOEXEC));
    ::close(::open("/proc/self/status", O_RDONLY | O_CLOEXEC));
    ::close(::open("/proc/gpuinfo_0", O_RDONLY | O_CLOEXEC));
    struct stat status {};
    ::stat(kPage, &status);
    EXPECT_EQ(errno, EDOM);
}

TEST(OpenCalls, ReachTheRealFileWithoutAMachine) {
    EXPECT_EQ(::open(kPage, O_RDONLY | O_CLOEXEC), -1);
    EXPECT_NE(read_and_close(::open("/proc/self/stat", O_RDONLY | O_CLOEXEC)), "not opened");
}

TEST(OpenCalls, LeaveFoldersAloneWhoseNamesOnlyBeginAlike) {
    FakeKernel kernel;
    EXPECT_EQ(::access("/dev/driver", F_OK), -1);
    kernel.file("/dev/driver", "simulated");
    EXPECT_EQ(::access("/dev/driver", F_OK), -1);
}

TEST(ProcFolder, ShowsSimulatedPagesAndKeepsTheRealOnes) {
    FakeKernel kernel;
    kernel.file("/proc/gpuinfo_0", "page").file("/proc/4000000/cmdline", "game");
    EXPECT_EQ(read_and_close(::open("/proc/gpuinfo_0", O_RDONLY | O_CLOEXEC)), "page");
    EXPECT_EQ(read_and_close(::open("/proc/4000000/cmdline", O_RDONLY | O_CLOEXEC)), "game");
    EXPECT_EQ(::access("/proc/self/maps", R_OK), 0);
    EXPECT_EQ(::access("/proc/gpuinfo_1", R_OK), -1);
}

TEST(ProcFolder, IsItselfNeverReplaced) {
    FakeKernel kernel;
    kernel.file("/proc/gpuinfo_0", "page");
    bool self = false;
    const std::unique_ptr<DIR, int (*)(DIR*)> proc(::opendir("/proc"), ::closedir);
    ASSERT_NE(proc, nullptr);
    while (const dirent* entry = ::readdir(proc.get())) {
        self = self || std::string(entry->d_name) == "self";
    }
    EXPECT_TRUE(self);
}

template<typename Stat>
void expect_render_node(int result, const Stat& status) {
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    EXPECT_EQ(major(status.st_rdev), 226u);
    EXPECT_EQ(minor(status.st_rdev), 128u);
}

TEST(StatusCalls, ReportADrmNodeAsACharacterDevice) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer);
    constexpr char node[] = "/dev/dri/renderD128";
    const int open_node = ::open(node, O_RDWR | O_CLOEXEC);
    const int folder = ::open("/dev/dri", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat narrow {};
    struct stat64 wide {};
    expect_render_node(::stat(node, &narrow), narrow);
    expect_render_node(::lstat(node, &narrow), narrow);
    expect_render_node(::fstat(open_node, &narrow), narrow);
    expect_render_node(::fstatat(AT_FDCWD, node, &narrow, 0), narrow);
    expect_render_node(::fstatat(folder, "renderD128", &narrow, 0), narrow);
    expect_render_node(::fstatat(open_node, "", &narrow, AT_EMPTY_PATH), narrow);
    expect_render_node(::stat64(node, &wide), wide);
    expect_render_node(::lstat64(node, &wide), wide);
    expect_render_node(::fstat64(open_node, &wide), wide);
    expect_render_node(::fstatat64(folder, "renderD128", &wide, 0), wide);
    struct statx extended {};
    EXPECT_EQ(::statx(AT_FDCWD, node, 0, STATX_BASIC_STATS, &extended), 0);
    EXPECT_TRUE(S_ISCHR(extended.stx_mode));
    EXPECT_EQ(extended.stx_rdev_major, 226u);
    EXPECT_EQ(extended.stx_rdev_minor, 128u);
    ::close(open_node);
    ::close(folder);
}

TEST(StatusCalls, ReportOtherFilesAsTheyAre) {
    FakeKernel kernel;
    kernel.file(kPage, "simulated").file("/dev/dri/notes", "").file("/dev/dri/card0x", "");
    struct stat status {};
    ASSERT_EQ(::stat(kPage, &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(status.st_size, 9);
    ASSERT_EQ(::stat("/dev/dri/notes", &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    ASSERT_EQ(::stat("/dev/dri/card0x", &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    ASSERT_EQ(::lstat(kernel.root().c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST(StatusCalls, CheckAccessToSimulatedFiles) {
    FakeKernel kernel;
    kernel.file(kPage, "simulated");
    EXPECT_EQ(::access(kPage, R_OK), 0);
    EXPECT_EQ(::faccessat(AT_FDCWD, kPage, R_OK, 0), 0);
    EXPECT_EQ(::eaccess(kPage, R_OK), 0);
    EXPECT_EQ(::euidaccess(kPage, R_OK), 0);
    EXPECT_EQ(::access("/sys/class/drm/absent", F_OK), -1);
}

TEST(LinkCalls, ReadLinksOfTheMachine) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer);
    constexpr char link[] = "/sys/dev/char/226:128";
    constexpr char target[] = "../../devices/pci0000:00/0000:03:00.0/drm/renderD128";
    char text[PATH_MAX];
    const auto answer = [&text](ssize_t length) { return std::string(text, length < 0 ? 0u : unsigned(length)); };
    EXPECT_EQ(answer(::readlink(link, text, sizeof text)), target);
    EXPECT_EQ(answer(::readlinkat(AT_FDCWD, link, text, sizeof text)), target);
    EXPECT_EQ(answer(::__readlink_chk(link, text, sizeof text, sizeof text)), target);
    EXPECT_EQ(answer(::__readlinkat_chk(AT_FDCWD, link, text, sizeof text, sizeof text)), target);
}

TEST(LinkCalls, ResolvePathsToSimulatedNames) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer);
    constexpr char path[] = "/sys/dev/char/226:0/device";
    constexpr char resolved[] = "/sys/devices/pci0000:00/0000:03:00.0";
    char text[PATH_MAX];
    EXPECT_STREQ(::realpath(path, text), resolved);
    EXPECT_STREQ(::__realpath_chk(path, text, sizeof text), resolved);
    const std::unique_ptr<char, void (*)(void*)> owned(::realpath(path, nullptr), std::free);
    EXPECT_STREQ(owned.get(), resolved);
    const std::unique_ptr<char, void (*)(void*)> canonical(::canonicalize_file_name(path), std::free);
    EXPECT_STREQ(canonical.get(), resolved);
    errno = 0;
    EXPECT_EQ(::realpath("/sys/dev/char/226:9", text), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST(LinkCalls, ResolveSimulatedNamesBelowALinkedFolder) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer);
    const std::string link = kernel.root().string() + "-link";
    std::filesystem::create_directory_symlink(kernel.root(), link);
    ::setenv("KT3_SIM_ROOT", link.c_str(), 1);
    char text[PATH_MAX];
    EXPECT_STREQ(::realpath("/sys/dev/char/226:0/device", text), "/sys/devices/pci0000:00/0000:03:00.0");
    const int node = ::open("/dev/dri/card0", O_RDWR | O_CLOEXEC);
    struct stat status {};
    EXPECT_EQ(::fstat(node, &status), 0);
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    ::close(node);
    std::filesystem::remove(link);
}

std::vector<std::string> names(DIR* folder) {
    std::vector<std::string> found;
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] != '.') {
            found.emplace_back(entry->d_name);
        }
    }
    return found;
}

TEST(Listings, ComeInNaturalOrder) {
    FakeKernel kernel;
    for (const char* name : {"10", "9", "1", "100", "2"}) {
        kernel.file(std::string("/sys/kernel/debug/dri/0/wy/allocations/") + name + "/info", "");
    }
    DIR* folder = ::opendir("/sys/kernel/debug/dri/0/wy/allocations");
    ASSERT_NE(folder, nullptr);
    EXPECT_THAT(names(folder), ElementsAre("1", "2", "9", "10", "100"));
    ::closedir(folder);
}

TEST(Listings, ComeInOrderThroughAnOpenDescriptorAndAgainFromTheStart) {
    FakeKernel kernel;
    kernel.adapter("0000:0a:00.0", Family::older, {.card = 10});
    kernel.adapter("0000:03:00.0", Family::newer, {.card = 9});
    DIR* folder = ::fdopendir(::open("/dev/dri", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_NE(folder, nullptr);
    EXPECT_THAT(names(folder), ElementsAre("card9", "card10", "renderD137", "renderD138"));
    EXPECT_TRUE(names(folder).empty());
    kernel.file("/dev/dri/card1", "");
    ::rewinddir(folder);
    EXPECT_THAT(names(folder), ElementsAre("card1", "card9", "card10", "renderD137", "renderD138"));
    ::closedir(folder);
}

TEST(Listings, ShowDrmNodesAsCharacterDevices) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer);
    DIR* folder = ::opendir("/dev/dri");
    while (const dirent64* entry = ::readdir64(folder)) {
        if (entry->d_name[0] != '.') {
            EXPECT_EQ(entry->d_type, DT_CHR) << entry->d_name;
        }
    }
    ::closedir(folder);
}

TEST(Listings, EndWithoutTouchingErrno) {
    FakeKernel kernel;
    kernel.directory("/sys/class/drm");
    DIR* folder = ::opendir("/sys/class/drm");
    errno = EDOM;
    EXPECT_TRUE(names(folder).empty());
    EXPECT_EQ(errno, EDOM);
    ::closedir(folder);
}

} // namespace
