// SPDX-License-Identifier: MIT
#include "collect/dumps.hpp"

#include "collect/blocked_file.hpp"
#include "collect/supervisor.hpp"
#include "observe/interrupt.hpp"
#include "observe/vm/check.hpp"
#include "observe/vm/dump_messages.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <functional>

namespace kt3::collect {
namespace {

using namespace observe;

enum class Arrival { message, ended, too_late };

// The reader of one job. An entry that begins gets all of the time again.
class Reader {
public:
    Reader(const Settings& settings, const Json& job, std::int32_t& interface_version)
        : settings_(settings), interface_version_(interface_version), worker_("vm", settings.verbose) {
        (void)worker_.send(opening_request(settings, false));
        (void)worker_.send(job);
        restart_deadline();
    }

    Arrival next(Message& message) {
        for (;;) {
            while (const auto got = worker_.next()) {
                if (got->contains("kind")) {
                    take(*got, message);
                    return Arrival::message;
                }
                note(*got);
            }
            const double left = std::chrono::duration<double>(deadline_ - Clock::now()).count();
            if (worker_.ended()) {
                return Arrival::ended;
            }
            if (!wait_readable(worker_.answers(), left)) {
                return Arrival::too_late;
            }
            worker_.read_some();
        }
    }

    // The file that it waits for.
    [[nodiscard]] std::optional<std::string> cause() const { return file_waited_for(worker_.process()); }

private:
    void restart_deadline() { deadline_ = Clock::now() + seconds_of(settings_.timeout); }

    void take(const Json& got, Message& message) {
        const auto& bytes = got.at("bytes").get_binary();
        message.kind = static_cast<MessageKind>(got.at("kind").get<std::uint32_t>());
        message.bytes.assign(bytes.begin(), bytes.end());
        if (message.kind == MessageKind::begin) {
            restart_deadline();
        }
    }

    void note(const Json& got) {
        if (got.contains("words")) {
            settings_.show(got["words"].get<std::string>());
        } else if (got.contains("failure")) {
            throw from_wire<Failure>(got["failure"]);
        } else {
            interface_version_ = got.at("interface_version").get<std::int32_t>();
        }
    }

    const Settings& settings_;
    std::int32_t& interface_version_;
    WorkerProcess worker_;
    Clock::time_point deadline_;
};

struct EntryWork {
    const char* folder; // below the driver's directory
    std::string only;   // the one entry whose process is asked for; empty for all of all entries
    std::function<void(const std::string& entry)> begin;
    std::function<void(const Message& message)> take; // a message about the entry
};

[[noreturn]] void cannot_list(const EntryWork& work, int error) {
    const bool denied = error == EACCES || error == EPERM;
    throw Failure{denied ? ExitStatus::permission : ExitStatus::driver, denied ? "permission" : "no_dumps",
                  fmt::format("cannot list {}/{}: {}", kDumpDirectory, work.folder, std::strerror(error)),
                  denied ? "run kt3 as root"
                         : "only the driver of the older family publishes dumps, and with debugfs mounted"};
}

class Walk {
public:
    template<typename Read>
    Walk(const Settings& settings, const EntryWork& work, Read& read)
        : settings_(settings), work_(work), findings_(read.findings), interface_version_(read.interface_version) {
        if (!work.only.empty()) {
            names_ = {work.only};
        }
    }

    void run() {
        while (!names_ || !names_->empty()) {
            run_job();
        }
    }

private:
    // Until the reader is done, or until it ended or was ended within an entry; the next job goes on after that.
    void run_job() {
        const Json names = names_ ? Json(*names_) : Json(nullptr);
        Reader reader(settings_,
                      {{"walk", work_.folder},
                       {"names", names},
                       {"check_first", check_first_},
                       {"only_process", !work_.only.empty()}},
                      interface_version_);
        at_ = 0;
        current_.clear();
        for (Message message;;) {
            const Arrival arrival = reader.next(message);
            if (arrival != Arrival::message) {
                return arrival == Arrival::ended ? reader_ended() : reader_late(reader.cause());
            }
            if (message.kind == MessageKind::done) {
                names_.emplace();
                return;
            }
            take(message);
        }
    }

    void take(const Message& message) {
        switch (message.kind) {
        case MessageKind::refused:
            cannot_list(work_, std::stoi(message.bytes));
        case MessageKind::names:
            names_.emplace();
            for (std::size_t at = 0; at < message.bytes.size(); at += names_->back().size() + 1) {
                names_->emplace_back(message.bytes.c_str() + at);
            }
            break;
        case MessageKind::begin:
            checking_ = check_first_ && at_ == 0;
            current_ = message.bytes;
            stage_.clear();
            found_before_ = findings_.size();
            ++at_;
            if (!checking_) {
                work_.begin(current_);
            }
            break;
        case MessageKind::stage:
            stage_ = message.bytes;
            break;
        case MessageKind::finding:
            findings_.push_back(finding_in(message));
            break;
        default:
            work_.take(message);
        }
    }

    void reader_late(const std::optional<std::string>& cause) {
        if (current_.empty()) {
            throw Failure{
                ExitStatus::failure, "timeout",
                fmt::format("listing {}/{} took longer than {} s", kDumpDirectory, work_.folder, settings_.timeout)};
        }
        const std::string what = stage_.empty() ? "its entry" : stage_;
        add("timeout", fmt::format("timed out after {} s reading {}{}", settings_.timeout, what,
                                   cause ? ": no answer from " + *cause : ""));
        go_on_behind(at_, false);
    }

    // An over-long field of a file is looked for by a second reader; the answer of ps is not asked for again.
    void reader_ended() {
        if (current_.empty()) {
            throw Failure{ExitStatus::failure, "process", "the process that reads the dumps ended before it began"};
        }
        if (stage_ == kNameStage) {
            add("over_long_field", "the process name that ps tells does not fit its field of 47 characters");
        } else if (!checking_) {
            go_on_behind(at_ - 1, true);
            return;
        } else if (findings_.size() == found_before_) {
            add("ended", fmt::format("the process that read it ended during {}", stage_));
        }
        go_on_behind(at_, false);
    }

    void add(const char* code, const std::string& message) {
        const bool in_file = stage_ == "info" || stage_ == "vm_info";
        const std::string file = in_file ? dump_path(work_.folder, current_, stage_.c_str())
                                         : std::string(kDumpDirectory) + '/' + work_.folder + '/' + current_;
        findings_.push_back({current_, file, 0, code, message});
    }

    void go_on_behind(std::size_t count, bool check_first) {
        names_->erase(names_->begin(), names_->begin() + static_cast<std::ptrdiff_t>(count));
        check_first_ = check_first;
    }

    const Settings& settings_;
    const EntryWork& work_;
    std::vector<DumpFinding>& findings_;
    std::int32_t& interface_version_;
    std::optional<std::vector<std::string>> names_; // entries that are left; nothing before they were listed
    bool check_first_ = false;                      // the first of them ended a reader
    std::size_t at_ = 0;                            // entries of the job that began
    std::size_t found_before_ = 0;                  // findings when the current one began
    std::string current_;
    std::string stage_;
    bool checking_ = false;
};

void take_client(std::vector<VmClient>& clients, const Message& message) {
    VmClient& client = clients.back();
    if (message.kind == kPid) {
        client.pid = message.bytes;
    } else if (message.kind == kName) {
        client.name = message.bytes;
    } else if (message.kind == kEnd) {
        client.read = true;
    } else if (message.kind == kDropped) {
        clients.pop_back();
    }
    for (int level = 0; level < kLevels; ++level) {
        if (message.kind == kTables[level]) {
            take_all(message, client.tables[level]);
        } else if (message.kind == kPages[level]) {
            take_all(message, client.pages[level]);
        }
    }
}

void take_nodes(std::vector<VmNode>& nodes, const Message& message) {
    for (Unpacker unpacker(message.bytes); !unpacker.at_end();) {
        VmNode& node = nodes.emplace_back();
        node.pid = unpacker.number();
        node.name = unpacker.text();
        node.handle = unpacker.text();
        node.gpu_va = static_cast<std::uint64_t>(unpacker.number());
        node.size = static_cast<std::uint64_t>(unpacker.number());
    }
}

} // namespace

PageTables read_page_tables(const Settings& settings) {
    PageTables read;
    const EntryWork work{
        kClientFolder,
        "",
        [&](const std::string& entry) { read.clients.emplace_back().folder = entry; },
        [&](const Message& message) { take_client(read.clients, message); },
    };
    Walk(settings, work, read).run();
    for (VmClient& client : read.clients) {
        if (!client.read) { // what arrived before its reader was ended is incomplete
            std::for_each(std::begin(client.tables), std::end(client.tables), [](auto& all) { all.clear(); });
            std::for_each(std::begin(client.pages), std::end(client.pages), [](auto& all) { all.clear(); });
        }
    }
    return read;
}

AllocationNodes read_allocation_nodes(const Settings& settings) {
    AllocationNodes read;
    const EntryWork work{
        kAllocationFolder,
        "",
        [](const std::string&) {},
        [&](const Message& message) { take_nodes(read.nodes, message); },
    };
    Walk(settings, work, read).run();
    return read;
}

std::optional<std::int64_t> process_of_client(const Settings& settings, const std::string& client) {
    if (client.empty() || client.find('/') != std::string::npos) {
        return std::nullopt;
    }
    AllocationNodes read; // of which only the findings come
    std::optional<std::string> pid;
    const EntryWork work{
        kClientFolder,
        client,
        [](const std::string&) {},
        [&](const Message& message) { pid = message.bytes; },
    };
    Walk(settings, work, read).run();
    if (!read.findings.empty()) {
        const DumpFinding& finding = read.findings.front();
        const bool denied = finding.code == "permission";
        throw Failure{denied ? ExitStatus::permission : ExitStatus::failure, finding.code,
                      fmt::format("{}: {}", finding.file, finding.message)};
    }
    if (pid && pid->empty()) {
        throw Failure{ExitStatus::failure, "no_process", fmt::format("client '{}' names no process", client),
                      "kt3 vm clients shows what is wrong with it"};
    }
    return pid && *pid != "0" ? leading_number(*pid, 10) : std::nullopt;
}

} // namespace kt3::collect
