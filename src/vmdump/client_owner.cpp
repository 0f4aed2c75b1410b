// SPDX-License-Identifier: MIT
#include "vmdump/client_owner.hpp"

#include "interface/say_line.hpp"
#include "support/bounded_copy.hpp"
#include "support/file_reading.hpp"
#include "vmdump/client_record.hpp"
#include "vmdump/dump_reading.hpp"
#include "vmdump/line_fields.hpp"

#include <algorithm>

namespace kt3::vmdump {
namespace {

constexpr std::string_view kNoProcess = "0"; // the driver's own context; it has no process to ask about

// Characters of a process id that mean nothing to a shell, beside letters and digits.
constexpr std::string_view kHarmless = " \t_.,+-";

bool is_harmless(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return (c >= '0' && c <= '9') || (lower >= 'a' && lower <= 'z') || kHarmless.find(c) != kHarmless.npos;
}

// The id is text from a line that a process can shape through its own name, and it becomes part of a command.
bool is_fit_for_a_shell(std::string_view pid) {
    return std::all_of(pid.begin(), pid.end(), is_harmless);
}

// Past the stream, which would end the text at a signal that the client handles.
std::string read_all(std::FILE* pipe) {
    std::string all;
    char piece[128];
    ssize_t got = 0;
    while ((got = support::read_once(::fileno(pipe), piece, sizeof piece)) > 0) {
        all.append(piece, static_cast<std::size_t>(got));
    }
    return std::string(visible(all));
}

} // namespace

bool read_process_id(const char* info_path, data_vectors& record) {
    // Nothing is read after the owner line, so a read that fails there does not count.
    const auto take_owner_line = [&record](std::string_view text, bool last) {
        std::string_view left = text;
        while (left.size() >= kLineSize || contains(left, "\n") || (last && !left.empty())) {
            const std::string_view line = first_line(left);
            if (contains(visible(line), "pid")) {
                copy_field(record.pid, pid_of_line(visible(line)), "pid");
                return kEnough;
            }
            left.remove_prefix(line.size());
        }
        return text.size() - left.size();
    };
    char block[4 * kLineSize];
    if (!read_in_blocks(info_path, block, take_owner_line)) {
        interface::say_line("Fail to read pid info. skip...");
        return false;
    }
    return true;
}

NameQuery ask_process_name(const data_vectors& record) {
    const std::string_view pid = support::bounded_text(record.pid);
    if (pid == kNoProcess) {
        return {NameQuery::Way::given, {}};
    }
    if (!is_fit_for_a_shell(pid)) {
        return {NameQuery::Way::refused, {}};
    }
    const std::string command = "ps -p " + std::string(pid) + " -o comm=";
    support::Pipe ps(::popen(command.c_str(), "re"));
    const auto way = ps ? NameQuery::Way::asked : NameQuery::Way::failed;
    return {way, std::move(ps)};
}

bool take_process_name(NameQuery query, data_vectors& record) {
    std::string name;
    if (query.way == NameQuery::Way::failed) {
        return false;
    }
    if (query.way == NameQuery::Way::given) {
        name = kNoProcess;
    } else if (query.way == NameQuery::Way::asked) {
        name = read_all(query.ps.get());
    }
    if (name.ends_with('\n')) {
        name.pop_back();
    }
    copy_field(record.app_name, name, "app_name");
    return true;
}

} // namespace kt3::vmdump
