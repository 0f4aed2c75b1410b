#include "summary/shell_commands.hpp"

#include "summary/memory_devices.hpp"
#include "support/owned.hpp"
#include "support/say_line.hpp"
#include "support/text_scan.hpp"

#include <cstdio>
#include <cstring>

namespace kt3::summary {
namespace {

constexpr std::uint32_t kNotStarted = 1; // clients take this for a result

// The child runs without the library's descriptors: they are close-on-exec, and so is the pipe's end.
support::Pipe open_pipe(const char* command) {
    support::Pipe pipe(command == nullptr ? nullptr : ::popen(command, "re"));
    if (!pipe) {
        support::say_line("Failed to run command");
    }
    return pipe;
}

// Closing the pipe early ends a tool that still prints.
void scan_lines(const support::Pipe& pipe, const DeviceField& field, MemoryDevices& devices) {
    char line[1024];
    while (std::fgets(line, sizeof line, pipe.get()) != nullptr && take_line(devices, field, line)) {
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
    return static_cast<std::uint32_t>(std::fread(buffer, 1, size - 1, pipe.get()));
}

// Configured Memory Speed: 3200 MT/s
std::uint32_t configured_memory_speed() {
    char text[1024];
    if (run_shell_command("dmidecode -t memory |grep Configured |grep MT/s", text, sizeof text) <= 10) {
        return 0;
    }
    const std::int32_t at = support::find_behind(text, sizeof text, "Memory Speed: ");
    return at < 0 ? 0 : static_cast<std::uint32_t>(support::scan_int(text + at).value_or(0));
}

std::uint32_t read_memory_generation() {
    return judge_memory_devices(kMemoryType, memory_generation);
}

std::uint32_t read_bus_width() {
    return judge_memory_devices(kMemoryChannel, bus_width);
}

} // namespace kt3::summary
