// SPDX-License-Identifier: MIT
#include "machine.hpp"

#include "refusals.hpp"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>

namespace kt3::sim {
namespace {

namespace fs = std::filesystem;

constexpr std::uint16_t kUsualOlderDevice = 0x5C01;
constexpr std::uint16_t kUsualNewerDevice = 0x5C0E;
constexpr std::uint16_t kUsualForeignDevice = 0x2204;
constexpr int kFirstRenderMinor = 128;
constexpr std::size_t kLongestCommandName = 15; // as the kernel cuts it

[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...) {
    std::array<char, 1024> buffer{};
    std::va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(buffer.data(), buffer.size(), pattern, arguments);
    va_end(arguments);
    return buffer.data();
}

fs::path below(const fs::path& root, std::string_view path) {
    return root.string() + std::string(path);
}

void write_file(const fs::path& path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

void write_link(const fs::path& path, std::string_view target) {
    fs::create_directories(path.parent_path());
    fs::remove(path);
    fs::create_symlink(target, path);
}

// Links are relative, so that they stay inside the machine's folder whoever resolves them.
void write_minor(const Machine& machine, const std::string& bdf, const std::string& name, int minor) {
    const std::string device = "/sys/devices/pci0000:00/" + bdf;
    const std::string folder = device + "/drm/" + name;
    machine.link(folder + "/device", "../../../" + bdf);
    machine.link(folder + "/subsystem", "../../../../../class/drm");
    machine.file(folder + "/dev", format("226:%d\n", minor));
    machine.file(folder + "/uevent",
                 format("MAJOR=226\nMINOR=%d\nDEVNAME=dri/%s\nDEVTYPE=drm_minor\n", minor, name.c_str()));
    machine.link(format("/sys/dev/char/226:%d", minor), "../../devices/pci0000:00/" + bdf + "/drm/" + name);
    machine.link("/sys/class/drm/" + name, "../../devices/pci0000:00/" + bdf + "/drm/" + name);
    machine.file("/dev/dri/" + name, "");
}

void write_pci_identity(const Machine& machine, const std::string& bdf, std::uint16_t vendor, std::uint16_t device,
                        std::string_view driver) {
    const std::string folder = "/sys/devices/pci0000:00/" + bdf;
    machine.link(folder + "/subsystem", "../../../bus/pci");
    machine.link("/sys/bus/pci/devices/" + bdf, "../../../devices/pci0000:00/" + bdf);
    machine.file(folder + "/vendor", format("0x%04x\n", vendor));
    machine.file(folder + "/device", format("0x%04x\n", device));
    machine.file(folder + "/subsystem_vendor", format("0x%04x\n", vendor));
    machine.file(folder + "/subsystem_device", format("0x%04x\n", device));
    machine.file(folder + "/revision", "0x01\n");
    machine.file(folder + "/class", "0x030000\n");
    machine.file(folder + "/uevent",
                 format("DRIVER=%.*s\nPCI_CLASS=30000\nPCI_ID=%04X:%04X\nPCI_SUBSYS_ID=%04X:%04X\nPCI_SLOT_NAME=%s\n",
                        static_cast<int>(driver.size()), driver.data(), vendor, device, vendor, device, bdf.c_str()));
}

Adapter add(Machine& machine, std::string_view bdf, std::string_view token, const AdapterOptions& chosen) {
    const int card = chosen.card < 0 ? machine.next_card : chosen.card;
    machine.next_card = card + 1;
    Adapter added{machine.root, std::string(bdf), std::string(token), card};
    write_pci_identity(machine, added.bdf, chosen.vendor, chosen.device, token.empty() ? "foreign" : token);
    write_minor(machine, added.bdf, format("card%d", card), card);
    write_minor(machine, added.bdf, format("renderD%d", kFirstRenderMinor + card), kFirstRenderMinor + card);
    return added;
}

} // namespace

std::uint16_t vendor_of(Family family) {
    return family == Family::newer ? 0x7A52 : 0x1F41;
}

std::string_view token_of(Family family) {
    return family == Family::newer ? "wy" : "qn";
}

std::string Adapter::pci_path() const {
    return "/sys/bus/pci/devices/" + bdf;
}

std::string Adapter::node_path(std::string_view node) const {
    return pci_path() + "/" + token + "_info/" + std::string(node);
}

std::string Adapter::hwmon_path(std::string_view attribute) const {
    return format("%s/hwmon/hwmon%d/%.*s", pci_path().c_str(), card, static_cast<int>(attribute.size()),
                  attribute.data());
}

std::string Adapter::debugfs_path(std::string_view file) const {
    return format("/sys/kernel/debug/dri/%d/%s/%.*s", card, token.c_str(), static_cast<int>(file.size()), file.data());
}

Adapter& Adapter::node(std::string_view name, std::string_view text) {
    write_file(below(root, node_path(name)), text);
    return *this;
}

Adapter& Adapter::hwmon(std::string_view attribute, std::string_view text) {
    write_file(below(root, hwmon_path(attribute)), text);
    return *this;
}

Adapter& Adapter::debugfs(std::string_view file, std::string_view text) {
    write_file(below(root, debugfs_path(file)), text);
    return *this;
}

Adapter& Adapter::proc_page(std::string_view text) {
    write_file(below(root, format("/proc/gpuinfo_%d", card)), text);
    return *this;
}

Adapter& Adapter::pci_file(std::string_view name, std::string_view text) {
    write_file(below(root, pci_path() + "/" + std::string(name)), text);
    return *this;
}

Adapter& Adapter::connector(std::string_view name, std::string_view status) {
    const std::string folder =
        format("%s/drm/card%d/card%d-%.*s", pci_path().c_str(), card, card, static_cast<int>(name.size()), name.data());
    write_file(below(root, folder + "/status"), status);
    write_file(below(root, folder + "/enabled"), status == "connected\n" ? "enabled\n" : "disabled\n");
    return *this;
}

Adapter& Adapter::driver_version(std::string_view text) {
    write_file(below(root, format("/dev/dri/card%d", card)), text);
    write_file(below(root, format("/dev/dri/renderD%d", kFirstRenderMinor + card)), text);
    return *this;
}

Adapter& Adapter::moving_node(std::string_view name, Waveform waveform, std::int64_t lowest, std::int64_t highest,
                              std::int64_t period_ms, std::string_view key) {
    add_moving_number(root, {node_path(name), std::string(key), waveform, lowest, highest, period_ms});
    return *this;
}

Adapter& Adapter::moving_hwmon(std::string_view attribute, Waveform waveform, std::int64_t lowest, std::int64_t highest,
                               std::int64_t period_ms) {
    add_moving_number(root, {hwmon_path(attribute), "", waveform, lowest, highest, period_ms});
    return *this;
}

Adapter& Adapter::moving_page(std::string_view key, Waveform waveform, std::int64_t lowest, std::int64_t highest,
                              std::int64_t period_ms) {
    add_moving_number(root, {format("/proc/gpuinfo_%d", card), std::string(key), waveform, lowest, highest, period_ms});
    return *this;
}

Adapter& Adapter::without_node(std::string_view name) {
    fs::remove(below(root, node_path(name)));
    return *this;
}

Machine::Machine(fs::path folder) : root(std::move(folder)) {}

fs::path Machine::real(std::string_view path) const {
    return below(root, path);
}

void Machine::file(std::string_view path, std::string_view text) const {
    write_file(real(path), text);
}

void Machine::directory(std::string_view path) const {
    fs::create_directories(real(path));
}

void Machine::refuse(std::string_view path) const {
    sim::refuse(root, std::string(path));
}

void Machine::link(std::string_view path, std::string_view target) const {
    write_link(real(path), target);
}

void Machine::process(const ProcessFacts& facts) const {
    const std::string folder = format("/proc/%u/", facts.pid);
    const std::string_view first = facts.command_line.substr(0, facts.command_line.find('\0'));
    std::string name(first.substr(first.rfind('/') + 1).substr(0, kLongestCommandName));
    std::replace(name.begin(), name.end(), '\n', '?'); // the kernel writes no line end there either
    if (!facts.command_line.empty()) {
        file(folder + "cmdline", facts.command_line);
    }
    file(folder + "status", format("Name:\t%s\nState:\t%c\nTgid:\t%u\nPid:\t%u\nPPid:\t%u\nUid:\t%u\t%u\t%u\t%u\n"
                                   "Gid:\t%u\t%u\t%u\t%u\n",
                                   name.c_str(), facts.state, facts.pid, facts.pid, facts.parent, facts.user,
                                   facts.user, facts.user, facts.user, facts.user, facts.user, facts.user, facts.user));
    // Fields 4 to 21 stand for nothing here; the 22nd is the start time.
    file(folder + "stat",
         format("%u (%s) %c %u 1 1 0 -1 4194304 0 0 0 0 0 0 0 0 20 0 1 0 %llu 0 0\n", facts.pid, name.c_str(),
                facts.state, facts.parent, static_cast<unsigned long long>(facts.start_time)));
    file(folder + "cgroup",
         format("0::%.*s\n", static_cast<int>(facts.control_group.size()), facts.control_group.data()));
}

void Machine::kernel(const KernelFacts& facts) const {
    file("/proc/stat", format("cpu  0 0 0 0 0 0 0 0 0 0\ncpu0 0 0 0 0 0 0 0 0 0 0\nbtime %lld\n",
                              static_cast<long long>(facts.boot_time)));
    link("/proc/self/ns/pid", format("pid:[%u]", facts.pid_namespace));
    process({.pid = 1,
             .command_line = std::string_view("/sbin/init\0", 11),
             .parent = 0,
             .user = 0,
             .control_group = "/init.scope",
             .start_time = 1});
}

void Machine::made_at(std::string_view path, std::int64_t time) const {
    const timespec moments[] = {{time, 0}, {time, 0}};
    ::utimensat(AT_FDCWD, real(path).c_str(), moments, 0);
}

Adapter Machine::adapter(std::string_view bdf, Family family, AdapterOptions options) {
    if (options.vendor == 0) {
        options.vendor = vendor_of(family);
    }
    if (options.device == 0) {
        options.device = family == Family::newer ? kUsualNewerDevice : kUsualOlderDevice;
    }
    Adapter added = add(*this, bdf, token_of(family), options);
    directory(added.node_path(""));
    directory(added.hwmon_path(""));
    directory(added.debugfs_path(""));
    return added;
}

Adapter Machine::foreign_gpu(std::string_view bdf, std::uint16_t vendor, AdapterOptions options) {
    options.vendor = vendor;
    if (options.device == 0) {
        options.device = kUsualForeignDevice;
    }
    return add(*this, bdf, "", options);
}

} // namespace kt3::sim
