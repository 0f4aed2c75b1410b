// SPDX-License-Identifier: MIT
#include "observe/vm/walk.hpp"

#include "observe/interrupt.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace kt3::observe {
namespace {

using Clock = std::chrono::steady_clock;

struct Header {
    MessageKind kind;
    std::uint32_t size;
};

// ---- the child ------------------------------------------------------------------------------------------------------

// What the library and ps have to say about broken dumps is said better by the findings.
void become_reader(bool verbose) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setpgid(0, 0);
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        ::signal(signal, SIG_DFL);
    }
    if (!verbose) {
        const support::Fd nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        ::dup2(nowhere.get(), STDOUT_FILENO);
        ::dup2(nowhere.get(), STDERR_FILENO);
    }
}

std::vector<std::string> list_entries(const EntryWork& work, Sender& sender) {
    const support::Dir listing(::opendir((std::string(kDumpDirectory) + '/' + work.folder).c_str()));
    if (!listing) {
        sender.send(MessageKind::refused, std::to_string(errno));
        ::_exit(0);
    }
    std::vector<std::string> names;
    std::string joined;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != ".." &&
            std::find(work.no_entries.begin(), work.no_entries.end(), name) == work.no_entries.end()) {
            names.push_back(name);
            joined += name + '\0';
        }
    }
    sender.send(MessageKind::names, joined);
    return names;
}

struct Job {
    bool list = true;               // the names are not known yet
    std::vector<std::string> names; // entries to be read
    bool check_first = false;       // the first of them ended a child
};

void read_entries(const EntryWork& work, const Job& job, Sender& sender) {
    bool check = job.check_first;
    for (const std::string& name : job.list ? list_entries(work, sender) : job.names) {
        sender.send(MessageKind::begin, name);
        work.read(name, std::exchange(check, false), sender);
    }
    sender.send(MessageKind::done, "");
}

// Nothing of the parent may run in the child after that.
[[noreturn]] void run_child(const EntryWork& work, const Job& job, int pipe, bool verbose) noexcept {
    become_reader(verbose);
    Sender sender(pipe);
    read_entries(work, job, sender);
    ::_exit(0);
}

// ---- the parent -----------------------------------------------------------------------------------------------------

enum class Arrival { message, ended, too_late };

// Owns the child: it and what it started end with the object.
class Reader {
public:
    Reader(const EntryWork& work, const Job& job, bool verbose, double timeout) : timeout_(timeout) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw Failure{ExitStatus::failure, "process", fmt::format("no pipe: {}", std::strerror(errno))};
        }
        pipe_ = support::Fd(ends[0]);
        const support::Fd sending(ends[1]);
        std::fflush(nullptr);
        child_ = ::fork();
        if (child_ == 0) {
            run_child(work, job, sending.get(), verbose);
        }
        if (child_ < 0) {
            throw Failure{ExitStatus::failure, "process", fmt::format("no process: {}", std::strerror(errno))};
        }
        ::setpgid(child_, child_);
        restart_deadline();
    }
    ~Reader() {
        ::kill(-child_, SIGKILL);
        // One that hangs in the kernel cannot be ended; it must not hold us up.
        for (int tries = 0; tries < 200 && ::waitpid(child_, nullptr, WNOHANG) == 0; ++tries) {
            ::usleep(5000);
        }
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void restart_deadline() {
        deadline_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeout_));
    }

    Arrival next(Message& message) {
        Header header{};
        Arrival arrival = fill(reinterpret_cast<char*>(&header), sizeof header);
        if (arrival == Arrival::message) {
            message.kind = header.kind;
            message.bytes.resize(header.size);
            arrival = fill(message.bytes.data(), header.size);
        }
        return arrival;
    }

private:
    Arrival fill(char* into, std::size_t size) {
        while (size > 0) {
            const double left = std::chrono::duration<double>(deadline_ - Clock::now()).count();
            if (!wait_readable(pipe_.get(), left)) {
                return Arrival::too_late;
            }
            const ssize_t got = ::read(pipe_.get(), into, size);
            if (got == 0 || (got < 0 && errno != EINTR)) {
                return Arrival::ended;
            }
            into += std::max<ssize_t>(got, 0);
            size -= static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        }
        return Arrival::message;
    }

    double timeout_;
    support::Fd pipe_;
    pid_t child_ = -1;
    Clock::time_point deadline_;
};

[[noreturn]] void cannot_list(const EntryWork& work, int error) {
    const bool denied = error == EACCES || error == EPERM;
    throw Failure{denied ? ExitStatus::permission : ExitStatus::driver, denied ? "permission" : "no_dumps",
                  fmt::format("cannot list {}/{}: {}", kDumpDirectory, work.folder, std::strerror(error)),
                  denied ? "run kt3 as root"
                         : "only the driver of the older family publishes dumps, and with debugfs mounted"};
}

DumpFinding finding_of(const std::string& bytes) {
    Unpacker message(bytes);
    DumpFinding finding;
    finding.entry = message.text();
    finding.file = message.text();
    finding.line = static_cast<int>(message.number());
    finding.code = message.text();
    finding.message = message.text();
    finding.count = static_cast<int>(message.number());
    return finding;
}

class Walk {
public:
    Walk(const Library& library, const EntryWork& work, double timeout, std::vector<DumpFinding>& findings)
        : library_(library), work_(work), timeout_(timeout), findings_(findings) {}

    void run() {
        while (job_.list || !job_.names.empty()) {
            run_job();
        }
    }

private:
    // Until the child is done, or until it ended or was ended within an entry; the next job goes on after that.
    void run_job() {
        Reader reader(work_, job_, library_.words.verbose, timeout_);
        at_ = 0;
        current_.clear();
        for (Message message;;) {
            const Arrival arrival = reader.next(message);
            if (arrival != Arrival::message) {
                return arrival == Arrival::ended ? child_ended() : child_late();
            }
            if (message.kind == MessageKind::done) {
                job_ = {false, {}, false};
                return;
            }
            if (message.kind == MessageKind::begin) {
                reader.restart_deadline();
            }
            take(message);
        }
    }

    void take(const Message& message) {
        switch (message.kind) {
        case MessageKind::refused:
            cannot_list(work_, std::stoi(message.bytes));
        case MessageKind::names:
            job_.list = false;
            for (std::size_t at = 0; at < message.bytes.size(); at += job_.names.back().size() + 1) {
                job_.names.emplace_back(message.bytes.c_str() + at);
            }
            break;
        case MessageKind::begin:
            checking_ = job_.check_first && at_ == 0;
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
            findings_.push_back(finding_of(message.bytes));
            break;
        default:
            work_.take(message);
        }
    }

    void child_late() {
        if (current_.empty()) {
            throw Failure{ExitStatus::failure, "timeout",
                          fmt::format("listing {}/{} took longer than {} s", kDumpDirectory, work_.folder, timeout_)};
        }
        add("timeout", fmt::format("timed out after {} s reading {}", timeout_, stage_.empty() ? "its entry" : stage_));
        go_on_behind(at_, false);
    }

    // An over-long field of a file is looked for in a second child; the answer of ps is not asked for again.
    void child_ended() {
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
        job_.names.erase(job_.names.begin(), job_.names.begin() + static_cast<std::ptrdiff_t>(count));
        job_.check_first = check_first;
    }

    const Library& library_;
    const EntryWork& work_;
    double timeout_;
    std::vector<DumpFinding>& findings_;
    Job job_;
    std::size_t at_ = 0;           // entries of the job that began
    std::size_t found_before_ = 0; // findings when the current one began
    std::string current_;
    std::string stage_;
    bool checking_ = false;
};

} // namespace

void Sender::send(MessageKind kind, std::string_view bytes) {
    const Header header{kind, static_cast<std::uint32_t>(bytes.size())};
    for (std::string_view part : {std::string_view(reinterpret_cast<const char*>(&header), sizeof header), bytes}) {
        while (!part.empty()) {
            const ssize_t written = ::write(pipe_, part.data(), part.size());
            if (written < 0) {
                ::_exit(1);
            }
            part.remove_prefix(static_cast<std::size_t>(written));
        }
    }
}

void Sender::send(const DumpFinding& finding) {
    Packer packer;
    packer.add(finding.entry).add(finding.file).add(finding.line).add(finding.code).add(finding.message);
    packer.add(finding.count);
    send(MessageKind::finding, packer.bytes());
}

Packer& Packer::add(std::string_view text) {
    add(static_cast<std::int64_t>(text.size()));
    bytes_ += text;
    return *this;
}

Packer& Packer::add(std::int64_t number) {
    bytes_.append(reinterpret_cast<const char*>(&number), sizeof number);
    return *this;
}

std::string Unpacker::text() {
    const auto size = static_cast<std::size_t>(number());
    std::string text(rest_.substr(0, size));
    rest_.remove_prefix(size);
    return text;
}

std::int64_t Unpacker::number() {
    std::int64_t number = 0;
    std::memcpy(&number, rest_.data(), sizeof number);
    rest_.remove_prefix(sizeof number);
    return number;
}

void walk_entries(const Library& library, const EntryWork& work, double timeout, std::vector<DumpFinding>& findings) {
    Walk(library, work, timeout, findings).run();
}

} // namespace kt3::observe
