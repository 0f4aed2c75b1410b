// SPDX-License-Identifier: MIT
#include "collect/worker.hpp"

#include "collect/groups.hpp"
#include "collect/worker_process.hpp"
#include "observe/adapter/avoided.hpp"
#include "observe/adapter/nodes.hpp"
#include "observe/library/log_capture.hpp"
#include "observe/machine_checks.hpp"
#include "observe/vm/dump_work.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <sys/prctl.h>
#include <sys/resource.h>

namespace kt3::collect {
namespace {

using namespace observe;

constexpr unsigned kSecondsToLeave = 2;

// ---- the process ----------------------------------------------------------------------------------------------------

// Who asks is gone: leave soon, so that counting is switched off, but not if the driver does not answer.
extern "C" void kt3_hurry(int) {
    ::alarm(kSecondsToLeave);
}

void become_worker() {
    ::fcntl(kRequestsDescriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(kAnswersDescriptor, F_SETFD, FD_CLOEXEC);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) { // they are for the one that asks
        ::signal(signal, SIG_IGN);
    }
    ::signal(SIGUSR1, kt3_hurry);
    ::prctl(PR_SET_PDEATHSIG, SIGUSR1);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

void send(const Json& message) {
    if (!send_message(kAnswersDescriptor, message)) {
        throw ReaderLeft{};
    }
}

std::int64_t resident_kilobytes() {
    std::ifstream file("/proc/self/statm");
    std::int64_t size = 0;
    std::int64_t resident = 0;
    file >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// ---- the machine ----------------------------------------------------------------------------------------------------

class Worker {
public:
    void answer(const Json& request) {
        if (request.contains("open")) {
            open(request["open"]);
        } else if (request.contains("look")) {
            look(request);
        } else if (request.contains("send")) {
            change(request);
        } else if (request.contains("check")) {
            check(request["check"].get<std::string>());
        } else if (request.contains("walk")) {
            walk(request);
        }
    }

private:
    void open(const Json& how) {
        try {
            const Words words{how.at("verbose").get<bool>(), [](const std::string& line) {
                                  (void)send_message(kAnswersDescriptor, {{"words", line}});
                              }};
            library_ = std::make_unique<Library>(open_library(how.at("library").get<std::string>(), words));
            capture_log(*library_);
            if (how.at("enumerate").get<bool>()) {
                enumerate(*library_, machine_);
            }
            send({{"machine", to_wire(facts_for_others())},
                  {"interface_version", library_->calls.get_interface_version()},
                  {"path", library_->path}});
        } catch (const Failure& failure) {
            send({{"failure", to_wire(failure)}});
        }
    }

    // Descriptors mean something in this process only.
    [[nodiscard]] MachineFacts facts_for_others() const {
        MachineFacts facts = machine_;
        for (Adapter& adapter : facts.adapters) {
            adapter.info_fd = adapter.hwmon_fd = adapter.sysfs_fd = -1;
        }
        return facts;
    }

    // One adapter for the life of the process.
    Subject& subject_at(const std::string& bus) {
        if (!subject_) {
            const auto adapter = std::find_if(machine_.adapters.begin(), machine_.adapters.end(),
                                              [&](const Adapter& one) { return bus_text(one.bus) == bus; });
            if (adapter == machine_.adapters.end()) {
                throw Failure{ExitStatus::not_found, "no_such_adapter", fmt::format("{} is gone", bus)};
            }
            subject_ = std::make_unique<Subject>(Subject{*library_, machine_, *adapter, {}, {}, {}, 0});
        }
        return *subject_;
    }

    // Reading one of its nodes would wake it.
    static bool sleeps(const Adapter& adapter) {
        const std::string path = fmt::format("/sys/bus/pci/devices/{}/power/runtime_status", bus_text(adapter.bus));
        const Reading<std::string> status = read_page(AT_FDCWD, path.c_str());
        return status.present() && status.value().starts_with("suspended");
    }

    static void leave_sleepers_alone(const Subject& subject, bool wake) {
        const Adapter& adapter = subject.adapter;
        if (!subject.binding && !wake && sleeps(adapter)) {
            throw Failure{ExitStatus::ok, "suspended",
                          fmt::format("GPU {} is suspended and was left alone", adapter.slot),
                          "--wake reads it nevertheless", adapter.slot};
        }
    }

    void look(const Json& request) {
        avoid_files(request.at("avoid").get<std::vector<std::string>>());
        for (const Json& group : request.at("look")) {
            Json answer = {{"group", group}};
            try {
                Subject& subject = subject_at(request.at("bus").get<std::string>());
                leave_sleepers_alone(subject, request.at("wake").get<bool>());
                answer["value"] = read(row_of(static_cast<Group>(group.get<int>())), subject);
            } catch (const Failure& failure) {
                answer["failure"] = to_wire(failure);
            }
            send(answer);
        }
        send({{"done", true}, {"resident_kb", resident_kilobytes()}});
    }

    static Json read(const GroupRow& row, Subject& subject) {
        try {
            return row.read(subject);
        } catch (Failure& failure) {
            failure.adapter = subject.adapter.slot;
            throw;
        } catch (const std::logic_error& error) { // what the library throws at a number that is none
            const Failure failure =
                malformed_number(fmt::format("{} of GPU {}", row.words, subject.adapter.slot), error);
            throw Failure{failure.status, failure.code, failure.message, failure.fix, subject.adapter.slot};
        }
    }

    void change(const Json& request) {
        try {
            Subject& subject = subject_at(request.at("bus").get<std::string>());
            if (!subject.binding) {
                subject.binding = std::make_unique<Binding>(*library_, machine_, subject.adapter);
            }
            const auto wishes = from_wire<std::vector<DvfsWish>>(request.at("send"));
            send({{"changes", to_wire(send_changes(*library_, machine_, subject.adapter, wishes))}});
        } catch (const Failure& failure) {
            send({{"failure", to_wire(failure)}});
        }
    }

    void check(const std::string& what) {
        Findings findings;
        if (what == "library") {
            check_library(*library_, findings);
        } else if (what == "places") {
            check_driver_places(findings);
        } else if (what == "adapters") {
            check_adapters(machine_, findings);
        } else {
            check_programs(findings);
        }
        send({{"findings", to_wire(findings)}});
    }

    void walk(const Json& request) {
        Sender sender([](MessageKind kind, std::string_view bytes) {
            send({{"kind", static_cast<std::uint32_t>(kind)}, {"bytes", Json::binary({bytes.begin(), bytes.end()})}});
        });
        const DumpJob job{request.at("walk").get<std::string>(),
                          request.at("names").is_null()
                              ? std::nullopt
                              : std::optional(request.at("names").get<std::vector<std::string>>()),
                          request.at("check_first").get<bool>(), request.at("only_process").get<bool>()};
        try {
            read_dumps(*library_, job, sender);
        } catch (const Failure& failure) {
            send({{"failure", to_wire(failure)}});
        }
    }

    std::unique_ptr<Library> library_;
    Machine machine_;
    std::unique_ptr<Subject> subject_;
};

} // namespace

void serve() {
    become_worker();
    int status = 0;
    try {
        Worker worker;
        for (MessageReader requests; requests.read_some(kRequestsDescriptor);) {
            while (const auto request = requests.next()) {
                worker.answer(*request);
            }
        }
    } catch (const ReaderLeft&) {
    } catch (...) {
        status = 1;
    }
    std::fflush(nullptr);
    ::_exit(status);
}

} // namespace kt3::collect
