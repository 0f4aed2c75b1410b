// SPDX-License-Identifier: MIT
#include "runner/run.hpp"

#include "runner/environment.hpp"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace kt3::sim {
namespace {

namespace fs = std::filesystem;

constexpr int kForwarded[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// A fresh folder that goes with the object.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (fs::temp_directory_path() / "kt3-sim-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder: " + std::string(std::strerror(errno)));
        }
        path_ = pattern;
    }
    ~TemporaryFolder() {
        // Programs that outlive the command may still be adding files.
        std::error_code failed;
        for (int tries = 0; tries < 3 && fs::exists(path_, failed); ++tries) {
            fs::remove_all(path_, failed);
        }
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

// Signals that end a run are held back from the first file to the last, and handed on to the command.
class HeldSignals {
public:
    HeldSignals() {
        ::sigemptyset(&held_);
        for (const int signal : kForwarded) {
            ::sigaddset(&held_, signal);
        }
        ::sigaddset(&held_, SIGCHLD);
        ::sigprocmask(SIG_BLOCK, &held_, &before_);
    }
    ~HeldSignals() { release(); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    void release() const { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }
    [[nodiscard]] siginfo_t wait() const {
        siginfo_t info{};
        while (::sigwaitinfo(&held_, &info) < 0) {
        }
        return info;
    }

private:
    sigset_t held_{};
    sigset_t before_{};
};

[[noreturn]] void become(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    ::execvp(arguments[0], arguments.data());
    std::fprintf(stderr, "kt3-sim: %s: %s\n", arguments[0], std::strerror(errno));
    ::_exit(errno == ENOENT ? 127 : 126);
}

// A terminal sends its signals to the command as well; only those sent to the runner alone are handed on.
int wait_for(pid_t child, const HeldSignals& signals) {
    for (;;) {
        const siginfo_t info = signals.wait();
        if (info.si_signo != SIGCHLD) {
            if (info.si_code <= 0) {
                ::kill(child, info.si_signo);
            }
            continue;
        }
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child) {
            return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        }
    }
}

} // namespace

int run_machine(const std::function<void(const fs::path& folder)>& build, const std::vector<std::string>& command) {
    const Installation parts = find_installation();
    const HeldSignals signals;
    const TemporaryFolder folder;
    build(folder.path());
    provide_modules(folder.path(), parts);
    fs::create_directories(folder.path() / "run/kt3"); // where tools of a machine meet

    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("cannot start a process: " + std::string(std::strerror(errno)));
    }
    if (child == 0) {
        enter_machine(folder.path(), parts);
        signals.release();
        become(command);
    }
    return wait_for(child, signals);
}

} // namespace kt3::sim
