// SPDX-License-Identifier: MIT
#include "collect/blocked_file.hpp"

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kt3::collect;

namespace {

// A process that does one thing, which does not end.
class Blocked {
public:
    explicit Blocked(void (*wait)(const std::string& folder)) {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-blocked-XXXXXX").string();
        EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        std::filesystem::create_directory(folder_ + "/wy_info");
        EXPECT_EQ(::mkfifo((folder_ + "/wy_info/coreclk").c_str(), 0600), 0);
        process_ = ::fork();
        if (process_ == 0) {
            wait(folder_);
            ::_exit(0);
        }
    }
    ~Blocked() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        std::filesystem::remove_all(folder_);
    }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

    // What is said about it once it stands still; it takes its time until it does.
    [[nodiscard]] std::string file() const {
        for (;;) {
            std::ifstream status("/proc/" + std::to_string(process_) + "/stat");
            std::string text((std::istreambuf_iterator<char>(status)), {});
            if (text.find(") S") != std::string::npos) {
                return file_waited_for(process_).value_or("nothing");
            }
            ::usleep(1000);
        }
    }

private:
    std::string folder_;
    pid_t process_ = -1;
};

void open_by_path(const std::string& folder) {
    (void)::open((folder + "/wy_info/coreclk").c_str(), O_RDONLY);
}
void open_below_a_descriptor(const std::string& folder) {
    const int directory = ::open((folder + "/wy_info").c_str(), O_RDONLY | O_DIRECTORY);
    (void)::openat(directory, "coreclk", O_RDONLY);
}
void read_what_is_open(const std::string& folder) {
    const int fifo = ::open((folder + "/wy_info/coreclk").c_str(), O_RDWR);
    char byte;
    (void)!::read(fifo, &byte, 1);
}
void wait_for_a_signal(const std::string&) {
    ::pause();
}
void read_a_pipe(const std::string&) {
    int ends[2];
    char byte;
    (void)!::pipe(ends);
    (void)!::read(ends[0], &byte, 1);
}

} // namespace

TEST(FileWaitedFor, IsTheOneThatIsOpenedByItsPath) {
    EXPECT_EQ(Blocked(open_by_path).file(), "wy_info/coreclk");
}

TEST(FileWaitedFor, IsTheOneThatIsOpenedBelowADescriptor) {
    EXPECT_EQ(Blocked(open_below_a_descriptor).file(), "wy_info/coreclk");
}

TEST(FileWaitedFor, IsTheOneThatIsRead) {
    EXPECT_EQ(Blocked(read_what_is_open).file(), "wy_info/coreclk");
}

TEST(FileWaitedFor, IsNoneForOtherWaits) {
    EXPECT_EQ(Blocked(wait_for_a_signal).file(), "nothing");
    EXPECT_EQ(Blocked(read_a_pipe).file(), "nothing");
}

TEST(FileWaitedFor, IsNoneForAProcessThatIsGone) {
    EXPECT_EQ(file_waited_for(999'999'999), std::nullopt);
}

TEST(Tail, IsTheLastTwoPartsOfAPath) {
    EXPECT_EQ(tail_of("/sys/bus/pci/devices/0000:03:00.0/wy_info/coreclk"), "wy_info/coreclk");
    EXPECT_EQ(tail_of("/coreclk"), "/coreclk");
    EXPECT_EQ(tail_of("coreclk"), "coreclk");
    EXPECT_EQ(tail_of("a/b"), "a/b");
    EXPECT_EQ(tail_of(""), "");
}
