// SPDX-License-Identifier: MIT
#pragma once
// Watches over the processes that read one adapter. When a file does not answer, a second process goes on with
// everything else while the first one waits for it; when the time of a look is over, what still waits is ended and
// named. What ended by itself is started again.

#include "collect/observation.hpp"
#include "collect/settings.hpp"
#include "collect/worker_process.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kt3::collect {

// What a request to open the library says.
[[nodiscard]] Json opening_request(const Settings& settings, bool enumerate);

class Supervisor {
public:
    // `ready` has opened the library for this adapter; null when a process is to be started.
    Supervisor(const Settings& settings, const observe::Adapter& adapter, std::unique_ptr<WorkerProcess> ready);

    // Begins a look, unless one is still going on.
    void ask(const Groups& wanted);

    // Takes what has arrived and does what has become due. Call it again when one of the descriptors can be read, or
    // after kPatience.
    void advance();
    void add_descriptors(std::vector<int>& descriptors) const;

    // Whether all that was asked for is there. A file that still may answer is waited for only when `to_the_end`.
    [[nodiscard]] bool finished(bool to_the_end) const;
    [[nodiscard]] Observation take();

    // Sends registers to the driver. Never twice: when it does not answer, nobody knows what it has taken.
    [[nodiscard]] std::vector<observe::DvfsChange> send(const std::vector<observe::DvfsWish>& wishes);

    // Lets go of the adapter; what does not leave in time is ended.
    void begin_to_leave();
    void leave();

    // How often a process ended by itself, by how it ended: "SIGSEGV".
    [[nodiscard]] const std::map<std::string, int>& ends() const { return ends_; }

private:
    // A process, and the look that it was asked for.
    struct Attempt {
        std::unique_ptr<WorkerProcess> worker;
        bool opened = false;
        Groups groups;
        std::size_t answered = 0; // of the groups
        bool idle = true;
        Clock::time_point asked;    // when it was asked
        Clock::time_point progress; // when it said something last
        std::vector<std::string> avoided;
        std::string waits_for; // the file that it was last seen blocked on
        Clock::time_point waits_since;
        int look = 0; // its number
        int looks = 0;
        std::int64_t first_resident_kb = 0, resident_kb = 0;

        [[nodiscard]] std::optional<Group> in_flight() const;
    };

    // What did not answer, and when it is worth trying again.
    struct Trouble {
        Clock::time_point again;
        double wait = 1; // seconds
    };

    [[nodiscard]] Attempt fresh_attempt() const;
    void start(Attempt& attempt, Groups groups);
    void start_current();
    void renew_when_worn();
    void receive(Attempt& attempt, bool current);
    void handle(Attempt& attempt, const Json& message, bool current);
    void watch_current();
    void set_aside(const std::string& file);
    [[nodiscard]] std::size_t aside_of_this_look() const;
    void current_ended();
    void deadline_passed();
    void give_up(Attempt& attempt);
    void refuse(Group group, observe::Absence why, const observe::Failure& failure);
    void refuse_open(observe::Absence why, const observe::Failure& failure);
    void note_trouble(std::map<std::string, Trouble>& troubles, const std::string& what);
    [[nodiscard]] std::vector<std::string> not_yet_again(const std::map<std::string, Trouble>& troubles) const;
    [[nodiscard]] observe::Failure reader_ended(const std::string& how, const std::string& while_reading) const;
    [[nodiscard]] observe::Failure no_answer(const std::string& from) const;
    [[nodiscard]] Groups open_groups() const;

    const Settings& settings_;
    const observe::Adapter& adapter_;
    std::string bus_;
    std::unique_ptr<Attempt> current_;
    bool watches_leaks_ = false;
    std::unique_ptr<Attempt> successor_;           // takes over when it is ready
    std::vector<std::unique_ptr<Attempt>> aside_;  // wait for a file
    std::map<std::string, Trouble> silent_files_;  // by their tails
    std::map<std::string, Trouble> silent_groups_; // by their names
    std::map<std::string, int> ends_;

    // The look that is going on.
    Observation look_;
    std::vector<bool> wanted_ = std::vector<bool>(kGroups), answered_ = std::vector<bool>(kGroups);
    bool going_on_ = false;
    int number_ = 0;
    int ends_in_look_ = 0;
    Clock::time_point deadline_;
    std::vector<observe::Failure> failures_; // for the next look that is taken
    bool left_counting_ = false;             // a process was ended that had usage counted
};

// How often advance() is to be called at least while a look goes on, in seconds.
inline constexpr double kPatience = 0.03;

} // namespace kt3::collect
