// SPDX-License-Identifier: MIT
#include "collect/supervisor.hpp"

#include "collect/blocked_file.hpp"
#include "collect/groups.hpp"
#include "observe/interrupt.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <poll.h>

namespace kt3::collect {
namespace {

using namespace observe;

constexpr double kNoProgress = 0.1;    // seconds of silence after which it is looked at what a process waits for
constexpr double kLongestWait = 60;    // seconds before something silent is tried again
constexpr double kTimeToLeave = 1;     // seconds, when the user does not wait any more
constexpr int kMostLeftBehind = 2;     // processes that cannot be ended
constexpr int kMostEnds = 4;           // of processes within one look
constexpr std::size_t kMostAside = 2;  // processes of one look that wait for a file while others go on
constexpr int kNoLook = 0;             // looks are counted from 1
constexpr int kLooksOfAProcess = 1000; // the library keeps a little more with each of them
constexpr std::int64_t kGrowthKb = 64 * 1024;

std::size_t at(Group group) {
    return static_cast<std::size_t>(group);
}

bool readable(int descriptor) {
    pollfd one{descriptor, POLLIN, 0};
    return ::poll(&one, 1, 0) > 0;
}

template<typename T>
Groups groups_from(const T& list) {
    Groups groups;
    for (std::size_t index = 0; index < kGroups; ++index) {
        if (list[index]) {
            groups.push_back(static_cast<Group>(index));
        }
    }
    return groups;
}

} // namespace

Json opening_request(const Settings& settings, bool enumerate) {
    return {{"open", {{"library", settings.library}, {"verbose", settings.verbose}, {"enumerate", enumerate}}}};
}

std::optional<Group> Supervisor::Attempt::in_flight() const {
    return !idle && answered < groups.size() ? std::optional(groups[answered]) : std::nullopt;
}

Supervisor::Supervisor(const Settings& settings, const Adapter& adapter, std::unique_ptr<WorkerProcess> ready)
    : settings_(settings), adapter_(adapter), bus_(bus_text(adapter.bus)) {
    if (ready) {
        current_ = std::make_unique<Attempt>();
        current_->worker = std::move(ready);
        current_->opened = true;
    }
}

// ---- a look begins --------------------------------------------------------------------------------------------------

void Supervisor::ask(const Groups& wanted) {
    if (going_on_) {
        return;
    }
    look_ = {};
    std::fill(wanted_.begin(), wanted_.end(), false);
    std::fill(answered_.begin(), answered_.end(), false);
    for (const Group group : wanted) {
        wanted_[at(group)] = true;
        wanted_[at(Group::bind)] = wanted_[at(Group::bind)] || row_of(group).needs_binding;
    }
    going_on_ = true;
    ++number_;
    ends_in_look_ = 0;
    deadline_ = Clock::now() + seconds_of(settings_.timeout);
    if (adapter_.family == nullptr) { // a GPU of another vendor, of which nothing is known
        refuse_open(Absence::not_on_this_chip,
                    {ExitStatus::not_found, "foreign_gpu", fmt::format("GPU {} is of another vendor", adapter_.slot)});
        return;
    }
    for (const std::string& name : not_yet_again(silent_groups_)) {
        for (const Group group : open_groups()) {
            if (row_of(group).name == name) {
                refuse(group, Absence::timeout, no_answer(row_of(group).words));
            }
        }
    }
    renew_when_worn();
    start_current();
}

// A process that has served for long hands over to a new one, once that has taken its first sample: rates go on without
// a gap. Looks for leaks stay with the process that began them.
void Supervisor::renew_when_worn() {
    watches_leaks_ = watches_leaks_ || wanted_[at(Group::leak_look)];
    if (watches_leaks_) {
        return;
    }
    if (successor_ && successor_->idle) {
        if (current_) {
            current_->worker->leave(settings_.timeout);
        }
        current_ = std::move(successor_);
        return;
    }
    const bool worn =
        current_ && current_->idle &&
        (current_->looks >= kLooksOfAProcess || current_->resident_kb - current_->first_resident_kb > kGrowthKb);
    if (worn && !successor_) {
        successor_ = std::make_unique<Attempt>(fresh_attempt());
        start(*successor_, wanted_[at(Group::counted)] ? Groups{Group::counted} : Groups{Group::bind});
        successor_->look = kNoLook;
    }
}

void Supervisor::start_current() {
    const Groups groups = open_groups();
    if (groups.empty()) {
        return;
    }
    if (!current_) {
        current_ = std::make_unique<Attempt>(fresh_attempt());
    }
    start(*current_, groups);
}

Supervisor::Attempt Supervisor::fresh_attempt() const {
    Attempt attempt;
    attempt.worker = std::make_unique<WorkerProcess>(bus_, settings_.verbose);
    (void)attempt.worker->send(opening_request(settings_, true));
    return attempt;
}

void Supervisor::start(Attempt& attempt, Groups groups) {
    const bool needs_binding =
        std::any_of(groups.begin(), groups.end(), [](Group group) { return row_of(group).needs_binding; });
    if (needs_binding && groups.front() != Group::bind) { // another process may have bound it before
        groups.insert(groups.begin(), Group::bind);
    }
    attempt.groups = std::move(groups);
    attempt.answered = 0;
    attempt.idle = false;
    attempt.look = number_;
    attempt.waits_for.clear();
    attempt.asked = attempt.progress = Clock::now();
    attempt.avoided = not_yet_again(silent_files_);
    Json numbers = Json::array();
    for (const Group group : attempt.groups) {
        numbers.push_back(static_cast<int>(group));
    }
    (void)attempt.worker->send({{"look", std::move(numbers)}, // one that has ended shows when its answer is read
                                {"bus", bus_},
                                {"avoid", attempt.avoided},
                                {"wake", settings_.wake}});
}

// ---- while it goes on -----------------------------------------------------------------------------------------------

void Supervisor::add_descriptors(std::vector<int>& descriptors) const {
    if (current_ && !current_->idle) {
        descriptors.push_back(current_->worker->answers());
    }
    for (const auto& attempt : aside_) {
        descriptors.push_back(attempt->worker->answers());
    }
    if (successor_ && !successor_->idle) {
        descriptors.push_back(successor_->worker->answers());
    }
}

void Supervisor::advance() {
    if (current_ && !current_->idle && readable(current_->worker->answers())) {
        receive(*current_, true);
    }
    for (auto& attempt : aside_) {
        if (readable(attempt->worker->answers())) {
            receive(*attempt, false);
        }
    }
    if (successor_ && !successor_->idle && readable(successor_->worker->answers())) {
        receive(*successor_, false);
        if (successor_->worker->ended()) {
            successor_.reset();
        }
    }
    // One that answered after all has nothing left to do, and its file may be read again.
    std::erase_if(aside_, [](const auto& attempt) { return attempt->idle || attempt->worker->ended(); });
    if (current_ && current_->worker->ended()) {
        current_ended();
    }
    watch_current();
    deadline_passed();
}

void Supervisor::receive(Attempt& attempt, bool current) {
    attempt.worker->read_some();
    try {
        while (const auto message = attempt.worker->next()) {
            attempt.progress = Clock::now();
            handle(attempt, *message, current);
        }
    } catch (const Json::exception&) { // what is no message comes from a process in ruins
        attempt.worker->end();
        attempt.worker->read_some();
    }
}

void Supervisor::handle(Attempt& attempt, const Json& message, bool current) {
    if (message.contains("words")) {
        settings_.show(message["words"].get<std::string>());
    } else if (message.contains("machine")) {
        attempt.opened = true;
    } else if (message.contains("group")) {
        const auto group = static_cast<Group>(message["group"].get<std::size_t>());
        ++attempt.answered;
        if (attempt.look != number_ || (answered_.at(at(group)) && current)) {
            return; // of a look that is over, or already there
        }
        answered_[at(group)] = true;
        if (message.contains("value")) {
            silent_groups_.erase(row_of(group).name);
            row_of(group).take(look_, message["value"]);
        } else {
            const auto failure = from_wire<Failure>(message.at("failure"));
            refuse(group, failure.code == "suspended" ? Absence::suspended : Absence::parse_error, failure);
        }
    } else if (message.contains("done")) {
        attempt.idle = true;
        ++attempt.looks;
        std::erase_if(silent_files_, [&](const auto& silent) { // read again, and it did answer
            return std::find(attempt.avoided.begin(), attempt.avoided.end(), silent.first) == attempt.avoided.end();
        });
        attempt.resident_kb = message.at("resident_kb").get<std::int64_t>();
        if (attempt.looks == 1) {
            attempt.first_resident_kb = attempt.resident_kb;
        }
    } else if (message.contains("failure")) {
        refuse_open(Absence::driver, from_wire<Failure>(message["failure"]));
        attempt.idle = true;
    }
}

// Blocked on one file all the time, not merely slow: another process takes over what is left.
void Supervisor::watch_current() {
    const auto now = Clock::now();
    const double patience = silent_files_.empty() ? kNoProgress : kPatience;
    const bool silent = going_on_ && current_ && current_->opened && current_->in_flight() &&
                        now - current_->progress >= seconds_of(patience);
    if (!silent) {
        return;
    }
    const std::string file = file_waited_for(current_->worker->process()).value_or("");
    if (file != current_->waits_for) {
        current_->waits_for = file;
        current_->waits_since = now;
    } else if (!file.empty() && now - current_->waits_since >= seconds_of(kPatience)) {
        set_aside(file);
    }
}

// The file is left out from now on; where the library reads it, the group is. When one file after the other is silent,
// so is the adapter.
void Supervisor::set_aside(const std::string& file) {
    const auto& avoided = current_->avoided;
    const Group group = *current_->in_flight();
    const bool the_library_waits = std::find(avoided.begin(), avoided.end(), file) != avoided.end();
    if (aside_of_this_look() >= kMostAside) {
        for (const Group open : open_groups()) {
            note_trouble(silent_groups_, row_of(open).name);
            refuse(open, Absence::timeout, no_answer(file));
        }
    } else if (the_library_waits || silent_groups_.contains(row_of(group).name)) {
        note_trouble(silent_groups_, row_of(group).name);
        refuse(group, Absence::timeout, no_answer(file));
    } else {
        note_trouble(silent_files_, file);
    }
    aside_.push_back(std::move(current_));
    start_current();
}

std::size_t Supervisor::aside_of_this_look() const {
    return static_cast<std::size_t>(
        std::count_if(aside_.begin(), aside_.end(), [&](const auto& attempt) { return attempt->look == number_; }));
}

// The first end may have had a passing cause; after that what was being read is left out.
void Supervisor::current_ended() {
    const std::optional<Group> group = current_->in_flight();
    const std::string how = current_->worker->end();
    ++ends_[how];
    left_counting_ = true;
    current_.reset();
    if (!going_on_) {
        return;
    }
    if (++ends_in_look_ >= kMostEnds || !group) {
        const Failure failure = reader_ended(how, "");
        failures_.push_back(failure);
        refuse_open(Absence::driver, failure);
        return;
    }
    if (ends_in_look_ > 1) {
        const Failure failure = reader_ended(how, row_of(*group).words);
        failures_.push_back(failure);
        refuse(*group, Absence::driver, failure);
    }
    start_current();
}

void Supervisor::deadline_passed() {
    const auto now = Clock::now();
    for (auto& attempt : aside_) {
        if (now - attempt->asked >= seconds_of(settings_.timeout) || (going_on_ && now >= deadline_)) {
            failures_.push_back(no_answer(attempt->waits_for));
            give_up(*attempt);
        }
    }
    std::erase_if(aside_, [](const auto& attempt) { return attempt->worker == nullptr; });
    if (!going_on_ || now < deadline_) {
        return;
    }
    if (current_ && !current_->idle) {
        const auto cause = cause_of_waiting(current_->worker->process());
        const auto group = current_->in_flight();
        const Failure failure = no_answer(cause ? *cause : group ? row_of(*group).words : "its driver");
        failures_.push_back(failure);
        if (group) {
            note_trouble(silent_groups_, row_of(*group).name);
        }
        give_up(*current_);
        current_.reset();
        refuse_open(Absence::timeout, failure);
    }
}

void Supervisor::give_up(Attempt& attempt) {
    attempt.worker->end();
    attempt.worker.reset();
    left_counting_ = true;
}

// ---- what is absent -------------------------------------------------------------------------------------------------

void Supervisor::refuse(Group group, Absence why, const Failure& failure) {
    answered_[at(group)] = true;
    row_of(group).refuse(look_, why, failure);
    if (why == Absence::parse_error && !row_of(group).whole) {
        look_.failures.push_back(failure);
    }
    if (group == Group::bind) {
        for (const Group other : open_groups()) {
            if (row_of(other).needs_binding) {
                refuse(other, why, failure);
            }
        }
    }
}

void Supervisor::refuse_open(Absence why, const Failure& failure) {
    for (const Group group : open_groups()) {
        refuse(group, why, failure);
    }
}

void Supervisor::note_trouble(std::map<std::string, Trouble>& troubles, const std::string& what) {
    const auto [entry, first] = troubles.try_emplace(what);
    Trouble& trouble = entry->second;
    trouble.wait = first ? 1 : std::min(2 * trouble.wait, kLongestWait);
    trouble.again = Clock::now() + seconds_of(settings_.timeout + trouble.wait);
}

// Nothing is tried again while too many processes hang that cannot be ended.
std::vector<std::string> Supervisor::not_yet_again(const std::map<std::string, Trouble>& troubles) const {
    const bool none = processes_left_behind() >= kMostLeftBehind;
    std::vector<std::string> names;
    for (const auto& [name, trouble] : troubles) {
        if (none || Clock::now() < trouble.again) {
            names.push_back(name);
        }
    }
    return names;
}

Failure Supervisor::reader_ended(const std::string& how, const std::string& while_reading) const {
    return {ExitStatus::driver, "reader_ended",
            fmt::format("{}: the process that reads it ended ({}){}", bus_, how,
                        while_reading.empty() ? "" : " while it read " + while_reading),
            "", adapter_.slot};
}

Failure Supervisor::no_answer(const std::string& from) const {
    return {ExitStatus::driver, "timeout",
            fmt::format("{}: no answer from {} for {:.1f} s", bus_, from, settings_.timeout),
            "the driver hangs there; the kernel log may say why", adapter_.slot};
}

// ---- the end of a look ----------------------------------------------------------------------------------------------

Groups Supervisor::open_groups() const {
    std::vector<bool> open(kGroups);
    for (std::size_t index = 0; index < kGroups; ++index) {
        open[index] = wanted_[index] && !answered_[index];
    }
    return groups_from(open);
}

bool Supervisor::finished(bool to_the_end) const {
    const bool busy = current_ && !current_->idle;
    return going_on_ && open_groups().empty() && !busy && (aside_.empty() || !to_the_end);
}

Observation Supervisor::take() {
    going_on_ = false;
    for (Failure& failure : failures_) {
        const bool told = std::any_of(look_.failures.begin(), look_.failures.end(),
                                      [&](const Failure& other) { return other.message == failure.message; });
        if (!told) { // two groups may wait for one file
            look_.failures.push_back(std::move(failure));
        }
    }
    failures_.clear();
    return std::move(look_);
}

// ---- changes and leaving --------------------------------------------------------------------------------------------

std::vector<DvfsChange> Supervisor::send(const std::vector<DvfsWish>& wishes) {
    if (!current_) {
        current_ = std::make_unique<Attempt>(fresh_attempt());
    }
    const auto deadline = Clock::now() + seconds_of(settings_.timeout);
    (void)current_->worker->send({{"send", to_wire(wishes)}, {"bus", bus_}});
    for (;;) {
        while (const auto message = current_->worker->next()) {
            if (message->contains("changes")) {
                return from_wire<std::vector<DvfsChange>>(message->at("changes"));
            }
            if (message->contains("failure")) {
                throw from_wire<Failure>(message->at("failure"));
            }
            handle(*current_, *message, true);
        }
        const double left = std::chrono::duration<double>(deadline - Clock::now()).count();
        if (current_->worker->ended() || !wait_readable(current_->worker->answers(), left)) {
            const auto file = cause_of_waiting(current_->worker->process());
            Failure failure = current_->worker->ended() ? reader_ended(current_->worker->end(), "")
                                                        : no_answer(file ? *file : "the driver");
            failure.message += "; what was sent may have arrived or not";
            failure.fix = "kt3 dvfs get shows what holds now";
            give_up(*current_);
            current_.reset();
            throw Failure(failure);
        }
        current_->worker->read_some();
    }
}

void Supervisor::begin_to_leave() {
    for (auto& attempt : aside_) {
        give_up(*attempt);
    }
    aside_.clear();
    if (successor_) {
        give_up(*successor_);
        successor_.reset();
    }
    if (current_ && !current_->idle && file_waited_for(current_->worker->process())) {
        give_up(*current_);
        current_.reset();
    }
    if (current_) {
        current_->worker->close_requests();
    }
}

// When a process was ended that had usage counted, another one switches counting off, if nobody else needs it.
void Supervisor::leave() {
    const double time = std::min(settings_.timeout, kTimeToLeave);
    const bool orderly = current_ && current_->worker->leave(time);
    left_counting_ = left_counting_ || (current_ && !orderly);
    current_.reset();
    if (!orderly && left_counting_) {
        Attempt attempt = fresh_attempt();
        start(attempt, {Group::bind});
        attempt.worker->leave(time);
    }
    left_counting_ = false;
}

} // namespace kt3::collect
