// SPDX-License-Identifier: MIT
#include "collect/collector.hpp"

#include "collect/blocked_file.hpp"
#include "observe/interrupt.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace kt3::collect {

using namespace observe;

Collector::~Collector() {
    try {
        leave();
    } catch (...) { // its processes end with it in any case
    }
}

// The answer to one request. Throws Failure when it is one, or when none comes in time.
Json Collector::ask_opened(WorkerProcess& worker, const Json& request, const char* answer, const std::string& what) {
    const auto deadline = Clock::now() + seconds_of(settings_.timeout);
    (void)worker.send(request);
    for (;;) {
        while (auto message = worker.next()) {
            if (message->contains("words")) {
                settings_.show(message->at("words").get<std::string>());
            } else if (message->contains("failure")) {
                throw from_wire<Failure>(message->at("failure"));
            } else if (message->contains(answer)) {
                return std::move(*message);
            }
        }
        const double left = std::chrono::duration<double>(deadline - Clock::now()).count();
        if (worker.ended()) {
            throw Failure{ExitStatus::driver, "reader_ended",
                          fmt::format("the process that reads {} ended ({})", what, worker.end())};
        }
        if (!wait_readable(worker.answers(), left)) {
            const std::string from = cause_of_waiting(worker.process()).value_or(what);
            throw Failure{ExitStatus::driver, "timeout",
                          fmt::format("no answer from {} for {:.1f} s", from, settings_.timeout),
                          "the driver hangs there; the kernel log may say why"};
        }
        worker.read_some();
    }
}

const MachineSeen& Collector::machine() {
    if (!machine_) {
        auto worker = ahead_ ? std::move(ahead_) : std::make_unique<WorkerProcess>("any", settings_.verbose);
        const Json seen = ask_opened(*worker, opening_request(settings_, true), "machine", "the adapters");
        machine_ = std::make_unique<MachineSeen>();
        from_wire(seen.at("machine"), machine_->facts);
        machine_->interface_version = seen.at("interface_version").get<std::int32_t>();
        machine_->library = seen.at("path").get<std::string>();
        first_ = std::move(worker);
    }
    return *machine_;
}

Supervisor& Collector::supervisor_of(const Adapter& adapter) {
    const auto found = std::find_if(supervisors_.begin(), supervisors_.end(),
                                    [&](const auto& entry) { return entry.first == adapter.slot; });
    if (found != supervisors_.end()) {
        return *found->second;
    }
    auto ready = adapter.family == nullptr ? nullptr : std::move(first_);
    supervisors_.emplace_back(adapter.slot, std::make_unique<Supervisor>(settings_, adapter, std::move(ready)));
    return *supervisors_.back().second;
}

std::vector<Observation> Collector::look(const std::vector<const Adapter*>& adapters, const Groups& wanted,
                                         Waiting waiting) {
    std::vector<Supervisor*> asked;
    for (const Adapter* adapter : adapters) {
        asked.push_back(&supervisor_of(*adapter));
        asked.back()->ask(wanted);
    }
    const bool to_the_end = waiting == Waiting::to_the_end;
    for (;;) {
        std::vector<int> descriptors;
        bool all = true;
        for (Supervisor* one : asked) {
            one->advance();
            one->add_descriptors(descriptors);
            all = all && one->finished(to_the_end);
        }
        if (all) {
            break;
        }
        (void)wait_readable(descriptors, kPatience);
    }
    std::vector<Observation> looks;
    looks.reserve(asked.size());
    for (Supervisor* one : asked) {
        looks.push_back(one->take());
    }
    return looks;
}

Observation Collector::look(const Adapter& adapter, const Groups& wanted) {
    return std::move(look(std::vector{&adapter}, wanted).front());
}

std::vector<DvfsChange> Collector::send(const Adapter& adapter, const std::vector<DvfsWish>& wishes) {
    return supervisor_of(adapter).send(wishes);
}

void Collector::add_check(const char* what, Findings& findings) {
    try {
        if (!first_) {
            first_ = std::make_unique<WorkerProcess>("any", settings_.verbose);
            if (machine_) {
                (void)ask_opened(*first_, opening_request(settings_, true), "machine", "the adapters");
            }
        }
        const Json answer = ask_opened(*first_, {{"check", what}}, "findings", what);
        const auto found = from_wire<Findings>(answer.at("findings"));
        findings.insert(findings.end(), found.begin(), found.end());
    } catch (const Failure& failure) { // the others follow in another process
        first_.reset();
        findings.push_back(
            {Level::problem, what, failure.message, failure.fix, failure.adapter, failure.status, failure.code});
    }
}

Findings Collector::check() {
    Findings findings;
    try {
        (void)machine();
        add_check("library", findings);
    } catch (const Failure& failure) {
        note_missing_library(failure, findings);
    }
    add_check("places", findings);
    if (machine_) {
        add_check("adapters", findings);
    }
    add_check("programs", findings);
    return findings;
}

void Collector::leave() {
    if (first_ && settings_.verbose) { // its last words are wanted
        first_->leave(settings_.timeout);
    }
    for (auto& [slot, supervisor] : supervisors_) {
        supervisor->begin_to_leave();
    }
    for (auto& [slot, supervisor] : supervisors_) {
        supervisor->leave();
    }
    supervisors_.clear();
    first_.reset();
}

} // namespace kt3::collect
