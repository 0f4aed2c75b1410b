// SPDX-License-Identifier: MIT
#include "summary/shell_commands.hpp"

#include "interface/say_line.hpp"
#include "summary/memory_devices.hpp"
#include "support/file_reading.hpp"
#include "support/owned.hpp"
#include "support/text_scan.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kt3::summary {
namespace {

constexpr std::uint32_t kNotStarted = 1; // clients take this for a result

// The child runs without the library's descriptors: they are close-on-exec, and so is the pipe's end.
support::Pipe open_pipe(const char* command) {
    support::Pipe pipe(command == nullptr ? nullptr : ::popen(command, "re"));
    if (!pipe) {
        interface::say_line("Failed to run command");
    }
    return pipe;
}

// A signal that the client handles may interrupt the wait for the tool; the wait goes on.
int next_character(FILE* pipe) {
    int next = ::getc_unlocked(pipe);
    while (next == EOF && std::ferror(pipe) != 0 && errno == EINTR) {
        std::clearerr(pipe);
        next = ::getc_unlocked(pipe);
    }
    return next;
}

// A longer line comes in pieces of this size. False when there is none left.
bool next_line(const support::Pipe& pipe, char (&line)[1024]) {
    std::size_t length = 0;
    for (int next = 0; next != '\n' && length < sizeof line - 1;) {
        next = next_character(pipe.get());
        if (next == EOF) {
            break;
        }
        line[length++] = static_cast<char>(next);
    }
    line[length] = '\0';
    return length > 0;
}

// Closing the pipe early ends a tool that still prints.
void scan_lines(const support::Pipe& pipe, const DeviceField& field, MemoryDevices& devices) {
    char line[1024];
    while (next_line(pipe, line) && take_line(devices, field, line)) {
    }
}

template<typename Verdict>
std::uint32_t judge_memory_devices(const DeviceField& field, Verdict verdict) {
    const support::Pipe pipe = open_pipe("dmidecode -t memory");
    if (!pipe) {
        return kNotStarted;
    }
    MemoryDevices devices;
    scan_lines(pipe, field, devices);
    return verdict(devices);
}

} // namespace

std::uint32_t run_shell_command(const char* command, char* buffer, std::uint32_t size) {
    const support::Pipe pipe = open_pipe(command);
    if (!pipe) {
        return kNotStarted;
    }
    if (buffer == nullptr || size == 0) {
        return 0;
    }
    std::memset(buffer, 0, size);
    return static_cast<std::uint32_t>(support::read_whole(::fileno(pipe.get()), buffer, size - 1).bytes);
}

// Configured Memory Speed: 3200 MT/s
std::uint32_t configured_memory_speed() {
    char text[1024];
    if (run_shell_command("dmidecode -t memory |grep Configured |grep MT/s", text, sizeof text) <= 10) {
        return 0;
    }
    const std::int32_t at = support::find_after(text, sizeof text, "Memory Speed: ");
    return at < 0 ? 0 : static_cast<std::uint32_t>(support::scan_int(text + at).value_or(0));
}

std::uint32_t read_memory_generation() {
    return judge_memory_devices(kMemoryType, memory_generation);
}

std::uint32_t read_bus_width() {
    return judge_memory_devices(kMemoryChannel, bus_width);
}

} // namespace kt3::summary
