// SPDX-License-Identifier: MIT
#include "collect/worker_process.hpp"

#include "observe/failure.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

extern char** environ; // NOLINT(readability-redundant-declaration): POSIX leaves declaring it to the program

namespace kt3::collect {
namespace {

constexpr int kPipeBytes = 1 << 20;
constexpr auto kReapTime = std::chrono::milliseconds(100);
constexpr long kFirstStep = 30'000; // nanoseconds; the next one is twice as long
constexpr long kLongestStep = 5'000'000;

std::vector<pid_t>& left_behind() {
    static auto& processes = *new std::vector<pid_t>;
    return processes;
}

struct PipeEnds {
    support::Fd reading, writing;
};

[[noreturn]] void no_process(int error) {
    throw observe::Failure{observe::ExitStatus::failure, "process",
                           fmt::format("no process to read with: {}", std::strerror(error))};
}

PipeEnds make_pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        no_process(errno);
    }
    ::fcntl(ends[0], F_SETPIPE_SZ, kPipeBytes); // dumps are long; refused beyond the user's share
    return {support::Fd(ends[0]), support::Fd(ends[1])};
}

// What the new process starts with: its ends of the pipes, no input, its own group and the usual signals.
class Start {
public:
    Start(int requests, int answers, bool verbose) {
        ::posix_spawn_file_actions_init(&files_);
        ::posix_spawnattr_init(&attributes_);
        ::posix_spawn_file_actions_addopen(&files_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        if (verbose) {
            ::posix_spawn_file_actions_adddup2(&files_, STDERR_FILENO, STDOUT_FILENO);
        } else {
            ::posix_spawn_file_actions_addopen(&files_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
            ::posix_spawn_file_actions_adddup2(&files_, STDOUT_FILENO, STDERR_FILENO);
        }
        ::posix_spawn_file_actions_adddup2(&files_, requests, kRequestsDescriptor);
        ::posix_spawn_file_actions_adddup2(&files_, answers, kAnswersDescriptor);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        sigset_t usual;
        ::sigemptyset(&usual);
        ::sigaddset(&usual, SIGPIPE);
        ::posix_spawnattr_setsigdefault(&attributes_, &usual);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    }
    ~Start() {
        ::posix_spawn_file_actions_destroy(&files_);
        ::posix_spawnattr_destroy(&attributes_);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    int run(pid_t& process, const char* subject) {
        const char* arguments[] = {"kt3", "--worker", subject, nullptr};
        return ::posix_spawn(&process, "/proc/self/exe", &files_, &attributes_, const_cast<char**>(arguments), environ);
    }

private:
    posix_spawn_file_actions_t files_{};
    posix_spawnattr_t attributes_{};
};

// Above the descriptors that the worker gets them as, so that putting one in its place never covers the other.
support::Fd moved_up(support::Fd end) {
    support::Fd moved(::fcntl(end.get(), F_DUPFD_CLOEXEC, kAnswersDescriptor + 1));
    return moved ? std::move(moved) : std::move(end);
}

std::string words_for(int status) {
    if (WIFSIGNALED(status)) {
        const char* name = ::sigabbrev_np(WTERMSIG(status));
        return name == nullptr ? fmt::format("signal {}", WTERMSIG(status)) : fmt::format("SIG{}", name);
    }
    return fmt::format("exit status {}", WEXITSTATUS(status));
}

} // namespace

WorkerProcess::WorkerProcess(const std::string& subject, bool verbose) {
    PipeEnds requests = make_pipe();
    PipeEnds answers = make_pipe();
    const support::Fd its_requests = moved_up(std::move(requests.reading));
    const support::Fd its_answers = moved_up(std::move(answers.writing));
    std::fflush(nullptr);
    if (const int error = Start(its_requests.get(), its_answers.get(), verbose).run(process_, subject.c_str())) {
        no_process(error);
    }
    requests_ = std::move(requests.writing);
    answers_ = std::move(answers.reading);
}

WorkerProcess::~WorkerProcess() {
    if (!status_) {
        kill_group();
        if (!reap(Clock::duration::zero())) {
            left_behind().push_back(process_); // until it is looked at again
        }
    }
}

bool WorkerProcess::leave(double seconds) {
    requests_.reset();
    const auto deadline = Clock::now() + seconds_of(seconds);
    while (!ended_) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd answers{answers_.get(), POLLIN, 0};
        if (left <= 0 || (::poll(&answers, 1, static_cast<int>(left)) <= 0 && errno != EINTR)) {
            break;
        }
        if (answers.revents != 0) {
            read_some();
        }
    }
    return ended_ && reap(kReapTime) && *status_ == 0;
}

std::string WorkerProcess::end() {
    if (!status_) {
        kill_group();
        if (!reap(kReapTime)) {
            left_behind().push_back(process_);
            status_ = 0;
            return "";
        }
    }
    return words_for(*status_);
}

// The group: a program that it waits for holds its pipes, too. The process itself, before it has a group.
void WorkerProcess::kill_group() const {
    ::kill(-process_, SIGKILL);
    ::kill(process_, SIGKILL);
}

bool WorkerProcess::reap(Clock::duration patience) {
    const auto deadline = Clock::now() + patience;
    for (timespec step{0, kFirstStep};; step.tv_nsec = std::min(2 * step.tv_nsec, kLongestStep)) {
        int status = 0;
        const pid_t reaped = ::waitpid(process_, &status, WNOHANG);
        if (reaped == process_ || (reaped < 0 && errno == ECHILD)) {
            status_ = status;
            return true;
        }
        if (Clock::now() >= deadline) {
            return false;
        }
        ::nanosleep(&step, nullptr);
    }
}

int processes_left_behind() {
    std::erase_if(left_behind(), [](pid_t process) { return ::waitpid(process, nullptr, WNOHANG) != 0; });
    return static_cast<int>(left_behind().size());
}

} // namespace kt3::collect
