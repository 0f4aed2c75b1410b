// SPDX-License-Identifier: MIT
#pragma once
// A machine made of files: writes what the kernel and the drivers of the graphics adapters publish into a folder, at
// the places where they publish it. The path shim makes programs find that folder there.

#include "failing_nodes.hpp"
#include "moving_nodes.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace kt3::sim {

// The two chip families. The family decides the vendor and the token in the driver's directory names.
enum class Family { older, newer };

std::uint16_t vendor_of(Family family);
std::string_view token_of(Family family); // "qn" or "wy"

// What may be chosen about a new adapter; the defaults suit a machine that is built up in card order.
struct AdapterOptions {
    std::uint16_t device = 0; // 0: a usual device of the family
    std::uint16_t vendor = 0; // 0: the vendor of the family
    int card = -1;            // -1: the next free card number
};

// What /proc says of a process that the machine invents.
struct ProcessFacts {
    std::uint32_t pid = 0;
    std::string_view command_line; // arguments end in zero bytes; empty: no file of it
    char state = 'S';              // as in /proc/PID/status: R, S, D, T or Z
    std::uint32_t parent = 1;
    std::uint32_t user = 1000;
    std::string_view control_group = "/user.slice/user-1000.slice/session-2.scope";
    std::uint64_t start_time = 500'000; // clock ticks after boot; tells a reused pid from the old one
};

// What the kernel says of itself and of those who ask it.
struct KernelFacts {
    std::int64_t boot_time = 1'767'225'600;   // seconds since 1970: the first day of 2026
    std::uint32_t pid_namespace = 0xEFFFFFFC; // that of the machine's programs; this number is the initial one's
};
inline constexpr std::int64_t kTicksPerSecond = 100; // of start times

struct Machine;

// One graphics adapter of a machine. A light handle: copies name the same adapter.
struct Adapter {
    std::filesystem::path root; // of the machine
    std::string bdf;            // "0000:03:00.0"
    std::string token;          // of the driver's directories; empty for foreign graphics adapters
    int card = 0;

    // Simulated paths.
    [[nodiscard]] std::string pci_path() const; // "/sys/bus/pci/devices/0000:03:00.0"
    [[nodiscard]] std::string node_path(std::string_view node) const;
    [[nodiscard]] std::string hwmon_path(std::string_view attribute) const;
    [[nodiscard]] std::string debugfs_path(std::string_view file) const;

    // Each creates or replaces one published text.
    Adapter& node(std::string_view name, std::string_view text);
    Adapter& hwmon(std::string_view attribute, std::string_view text);
    Adapter& debugfs(std::string_view file, std::string_view text); // below the driver's debugfs directory
    Adapter& debugfs_info(std::string_view text) { return debugfs("info", text); }
    Adapter& proc_page(std::string_view text); // /proc/gpuinfo_N
    Adapter& pci_file(std::string_view name, std::string_view text);
    // An output of the card, such as "HDMI-A-1".
    Adapter& connector(std::string_view name, std::string_view status = "disconnected\n");
    // The driver's answer to a version request: "name major.minor.patch date description", or "refused".
    Adapter& driver_version(std::string_view text);
    // Lets a published number move; see moving_nodes.hpp. Of a page, the number after the key.
    Adapter& moving_node(std::string_view node, Waveform waveform, std::int64_t lowest, std::int64_t highest,
                         std::int64_t period_ms, std::string_view key = "");
    Adapter& moving_hwmon(std::string_view attribute, Waveform waveform, std::int64_t lowest, std::int64_t highest,
                          std::int64_t period_ms);
    Adapter& moving_page(std::string_view key, Waveform waveform, std::int64_t lowest, std::int64_t highest,
                         std::int64_t period_ms);
    // Takes a published node away.
    Adapter& without_node(std::string_view name);
};

struct Machine {
    std::filesystem::path root; // an existing folder
    int next_card = 0;

    explicit Machine(std::filesystem::path folder);

    // Where an absolute path of the simulated machine really is.
    [[nodiscard]] std::filesystem::path real(std::string_view path) const;

    // Creates the file with its folders, or replaces its text.
    void file(std::string_view path, std::string_view text) const;
    void directory(std::string_view path) const;
    // What this path names, a file or a whole folder, is there, but its user may not look at it; root neither.
    void refuse(std::string_view path) const;
    // Reading what this path names takes so long; kForever: it never answers.
    void slow(std::string_view path, std::int64_t milliseconds) const {
        add_slow_node(root, std::string(path), milliseconds);
    }
    // From the how manyth reading on what this path names cannot be opened for reading any more.
    void lose(std::string_view path, std::uint32_t first_lost, int error) const {
        add_lost_node(root, std::string(path), first_lost, error);
    }
    // The numbers that move advance by this with each reading of one, not with the clock.
    void step_time(std::int64_t milliseconds) const { step_moving_numbers(root, milliseconds); }
    // Its cmdline, status, stat and cgroup files.
    void process(const ProcessFacts& facts) const;
    // When it started, process 1, and in which pid namespace programs are. Without this they see the real machine's.
    void kernel(const KernelFacts& facts) const;
    // The users of the machine: lines of /etc/passwd.
    void users(std::string_view lines) const { file("/etc/passwd", lines); }
    // When the file was made, in seconds since 1970.
    void made_at(std::string_view path, std::int64_t time) const;
    // A link with its folders; `target` as it is to be read back.
    void link(std::string_view path, std::string_view target) const;

    // An adapter with its PCI identity, DRM nodes and empty driver, hwmon and debugfs directories. Nothing is
    // published in them yet.
    Adapter adapter(std::string_view bdf, Family family, AdapterOptions options = {});
    // A graphics adapter of another maker: PCI identity and DRM nodes only.
    Adapter foreign_gpu(std::string_view bdf, std::uint16_t vendor, AdapterOptions options = {});
};

} // namespace kt3::sim
