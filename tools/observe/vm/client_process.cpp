// SPDX-License-Identifier: MIT
#include "observe/vm/client_process.hpp"

#include "observe/vm/check.hpp"
#include "observe/vm/walk.hpp"
#include "support/file_reading.hpp"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

constexpr MessageKind kPid = data_kind(0); // empty when the file names none

// In the child. Sends nothing when the client ended meanwhile.
void send_process(const DumpCalls& calls, const std::string& client, Sender& sender) {
    sender.send(MessageKind::stage, "info");
    const std::string path = dump_path("devices", client, "info");
    const support::Fd file = support::open_for_reading(AT_FDCWD, path.c_str());
    if (!file) {
        if (errno != ENOENT) {
            sender.send({client, path, 0, errno == EACCES ? "permission" : "unreadable", std::strerror(errno)});
        }
        return;
    }
    char page[4096];
    const std::size_t bytes = support::read_page(file.get(), page, sizeof page);
    const auto pid = read_process(calls, {page, bytes});
    sender.send(kPid, pid ? std::to_string(*pid) : "");
}

} // namespace

std::optional<std::int64_t> process_of_client(const Library& library, const std::string& client, double timeout) {
    const DumpCalls calls = dump_calls(library);
    std::optional<std::string> pid;
    std::vector<DumpFinding> findings;
    const EntryWork work{
        "devices",
        {},
        [&](const std::string& entry, bool, Sender& sender) {
            if (entry == client) {
                send_process(calls, entry, sender);
            }
        },
        [](const std::string&) {},
        [&](const Message& message) { pid = message.bytes; },
    };
    walk_entries(library, work, timeout, findings);
    if (!findings.empty()) {
        const DumpFinding& finding = findings.front();
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

} // namespace kt3::observe
