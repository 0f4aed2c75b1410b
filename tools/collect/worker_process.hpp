// SPDX-License-Identifier: MIT
#pragma once
// A process that reads in our place, started afresh from this program: what hangs or ends there does so without us.

#include "collect/frames.hpp"
#include "support/owned.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>

namespace kt3::collect {

using Clock = std::chrono::steady_clock;

[[nodiscard]] inline Clock::duration seconds_of(double seconds) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

class WorkerProcess {
public:
    // `subject` is for those who look at the list of processes: a bus id, "any" or "vm". Throws Failure when no
    // process can be started. Without `verbose` what it prints goes nowhere.
    WorkerProcess(const std::string& subject, bool verbose);

    // Ends it and what it has started. One that hangs in the kernel is left behind.
    ~WorkerProcess();
    WorkerProcess(const WorkerProcess&) = delete;
    WorkerProcess& operator=(const WorkerProcess&) = delete;

    // False when it has ended.
    [[nodiscard]] bool send(const Json& message) const { return send_message(requests_.get(), message); }

    // What it sends; readable when there is something, or when it has ended.
    [[nodiscard]] int answers() const { return answers_.get(); }

    // Takes what can be read without waiting, after answers() became readable.
    void read_some() { ended_ = !reader_.read_some(answers_.get()) || ended_; }
    [[nodiscard]] std::optional<Json> next() { return reader_.next(); }
    [[nodiscard]] bool ended() const { return ended_; } // nothing more comes

    [[nodiscard]] pid_t process() const { return process_; }

    // Asks it to leave orderly.
    void close_requests() { requests_.reset(); }

    // The same, and waits for that, at most so long. False when it did not.
    bool leave(double seconds);

    // Ends it at once. Returns words for how it ended: "SIGSEGV", "exit status 1"; empty when it cannot be ended.
    std::string end();

private:
    void kill_group() const;
    bool reap(Clock::duration patience);

    support::Fd requests_, answers_;
    MessageReader reader_;
    pid_t process_ = -1;
    std::optional<int> status_; // as waitpid tells it
    bool ended_ = false;
};

// Processes that were left behind because they could not be ended, as many as still exist.
[[nodiscard]] int processes_left_behind();

// The worker's ends of the two pipes.
inline constexpr int kRequestsDescriptor = 3;
inline constexpr int kAnswersDescriptor = 4;

} // namespace kt3::collect
