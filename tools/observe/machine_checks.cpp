// SPDX-License-Identifier: MIT
#include "observe/machine_checks.hpp"

#include "nodes/node_table.hpp"
#include "observe/adapter/nodes.hpp"
#include "observe/adapter/pci_devices.hpp"
#include "observe/interrupt.hpp"
#include "support/owned.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <functional>

namespace kt3::observe {
namespace {

constexpr const char* kDebugfs = "/sys/kernel/debug";
constexpr const char* kDriFolder = "/dev/dri";
constexpr const char* kUseGroups = "add the user to the groups video and render, or run as root";
constexpr const char* kOpenNodes = "run as root, or open the nodes to a group with a udev rule (docs/kt3.md, Rights)";
constexpr const char* kOpenDebugfs =
    "run as root, or mount debugfs for a group: mount -o remount,mode=0750,gid=video /sys/kernel/debug";
constexpr const char* kLoadDriver = "install and load the adapter's kernel driver";

void add_ok(Findings& findings, const char* check, std::string message, std::optional<int> slot = {}) {
    findings.push_back({Level::ok, check, std::move(message), "", slot});
}

void add_note(Findings& findings, const char* check, const char* code, std::string message, std::string fix,
              std::optional<int> slot = {}) {
    findings.push_back({Level::note, check, std::move(message), std::move(fix), slot, ExitStatus::ok, code});
}

void add_problem(Findings& findings, ExitStatus status, const char* check, const char* code, std::string message,
                 std::string fix, std::optional<int> slot = {}) {
    findings.push_back({Level::problem, check, std::move(message), std::move(fix), slot, status, code});
}

// A node that exists but may not be used is a matter of rights; any other error is the driver's.
void add_refusal(Findings& findings, const char* check, const std::string& path, int error, std::string fix_rights,
                 std::string fix_driver, std::optional<int> slot = {}) {
    const bool rights = absence_of(error) == Absence::permission;
    add_problem(findings, rights ? ExitStatus::permission : ExitStatus::driver, check,
                rights ? "permission" : "unusable", fmt::format("{}: {}", path, std::strerror(error)),
                rights ? fix_rights : fix_driver, slot);
}

std::vector<std::string> names_in(const char* folder, int& error) {
    std::vector<std::string> names;
    const support::Dir listing(::opendir(folder));
    error = listing ? 0 : errno;
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// ---- what every adapter needs ---------------------------------------------------------------------------------------

bool is_drm_node(const std::string& name) {
    return name.rfind("card", 0) == 0 || name.rfind("renderD", 0) == 0;
}

void check_drm_nodes(Findings& findings) {
    int error = 0;
    auto names = names_in(kDriFolder, error);
    std::erase_if(names, [](const std::string& name) { return !is_drm_node(name); });
    if (error != 0 && error != ENOENT) {
        add_refusal(findings, "nodes", kDriFolder, error, kUseGroups, kLoadDriver);
        return;
    }
    if (names.empty()) {
        add_problem(findings, ExitStatus::not_found, "nodes", "no_drm_node",
                    "no DRM node in /dev/dri: no graphics driver is loaded", kLoadDriver);
        return;
    }
    std::size_t usable = 0;
    for (const std::string& name : names) {
        const std::string path = fmt::format("{}/{}", kDriFolder, name);
        if (::access(path.c_str(), R_OK | W_OK) == 0) {
            ++usable;
        } else {
            add_refusal(findings, "nodes", path, errno, kUseGroups, kLoadDriver);
        }
    }
    if (usable == names.size()) {
        add_ok(findings, "nodes", fmt::format("{} in {}, all usable", usable, kDriFolder));
    }
}

void check_debugfs(Findings& findings) {
    int error = 0;
    const auto names = names_in(kDebugfs, error);
    if (error == ENOENT) {
        add_problem(findings, ExitStatus::failure, "debugfs", "no_debugfs", "not known to this kernel",
                    "use a kernel built with debugfs");
    } else if (error != 0) {
        add_refusal(findings, "debugfs", kDebugfs, error, kOpenDebugfs, "see the kernel log");
    } else if (names.empty()) {
        add_problem(findings, ExitStatus::failure, "debugfs", "not_mounted", "not mounted",
                    "mount -t debugfs none /sys/kernel/debug");
    } else {
        add_ok(findings, "debugfs", "mounted and readable");
    }
}

// ---- adapters that the library does not show ------------------------------------------------------------------------

void check_unserved(const Machine& machine, Findings& findings) {
    for (const PciDevice& device : read_pci_devices()) {
        const adapter::Family* family = adapter::find_family(device.vendor);
        const bool left_out =
            std::find(machine.left_out.begin(), machine.left_out.end(), device.bus_id) != machine.left_out.end();
        if (family == nullptr || left_out || adapter_on_bus(machine, device.bus_id) != nullptr) {
            continue;
        }
        const auto chip = static_cast<std::int32_t>(device.device);
        if (adapter::find_chip_by_id(chip) == nullptr) {
            add_note(findings, "adapters", "unknown_chip",
                     fmt::format("{}: chip {:#06x} is not known to the library", device.bus_id, chip), "");
        } else if (!device.has_drm) {
            add_problem(findings, ExitStatus::driver, "adapters", "no_driver",
                        fmt::format("{}: no driver serves it", device.bus_id), kLoadDriver);
        } else {
            add_note(findings, "adapters", "not_listed",
                     fmt::format("{}: has a driver, but the library does not list it", device.bus_id), "");
        }
    }
}

void check_served(const Machine& machine, Findings& findings) {
    for (const Adapter& adapter : machine.adapters) {
        add_ok(findings, "adapters", fmt::format("{} at {}", adapter.name, bus_text(adapter.bus)), adapter.slot);
    }
    check_unserved(machine, findings);
    const bool known_cause = std::any_of(findings.begin(), findings.end(),
                                         [](const Finding& finding) { return finding.level == Level::problem; });
    if (machine.adapters.empty() && !known_cause) {
        add_problem(findings, ExitStatus::not_found, "adapters", "no_adapter", "none found",
                    "see whether lspci shows one, and load its driver");
    }
    if (!machine.left_out.empty()) {
        add_note(findings, "adapters", "left_out", left_out_text(machine), kMakeRoom);
    }
    if (machine.third_hidden) {
        add_problem(findings, ExitStatus::failure, "adapters", "hidden_adapter",
                    "a third adapter is hidden: the GPU of another vendor stands in its slot",
                    "take that GPU out, or manage the adapter on a machine without it", 2);
    }
}

// ---- one adapter ----------------------------------------------------------------------------------------------------

// The nodes that clients read, of which a driver may publish a part only.
std::vector<std::string> expected_nodes(const Adapter& adapter) {
    std::vector<std::string> expected;
    for (std::size_t index = 0; index < std::size(nodes::kDriverNodes); ++index) {
        const char* name = nodes::kDriverNodes[index];
        const bool stands_for_none = name == nullptr || name == std::string_view("none");
        const bool of_the_other_family =
            index == nodes::kSegmentInfo && adapter.family->vendor != adapter::kNewerVendor; // it has heap pages
        if (!stands_for_none && !of_the_other_family) {
            expected.emplace_back(name);
        }
    }
    return expected;
}

void check_published(const Adapter& adapter, const std::vector<std::string>& names, Findings& findings) {
    const std::vector<std::string> expected = expected_nodes(adapter);
    std::string missing;
    std::size_t count = 0;
    for (const std::string& name : expected) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            missing += (missing.empty() ? "" : ", ") + name;
        } else {
            ++count;
        }
    }
    const std::string share = fmt::format("{} of {} nodes in {}", count, expected.size(), adapter.family->info_dir);
    if (missing.empty()) {
        add_ok(findings, "driver", share, adapter.slot);
    } else {
        add_note(findings, "driver", "nodes_missing", fmt::format("{}; not published: {}", share, missing),
                 "a newer driver may publish them", adapter.slot);
    }
}

void check_temperature(const Adapter& adapter, Findings& findings) {
    const Reading<std::int64_t> degrees = read_temperature(adapter);
    if (degrees.present() && degrees.value() >= kHotDegrees) {
        add_problem(findings, ExitStatus::failure, "sensors", "hot",
                    fmt::format("{} C, near its limit", degrees.value()),
                    "see to fans and air flow; kt3 metric -w 1 shows whether the clocks fall", adapter.slot);
    } else if (degrees.present()) {
        add_ok(findings, "sensors", fmt::format("{} C", degrees.value()), adapter.slot);
    } else if (degrees.absence() == Absence::implausible) {
        add_problem(findings, ExitStatus::failure, "sensors", "implausible",
                    fmt::format("a temperature of '{}' cannot be", degrees.raw()), "see the driver's log",
                    adapter.slot);
    }
}

// Page-table dumps stand in one place, whichever adapter is the first.
void check_dumps(const Machine& machine, Findings& findings) {
    constexpr const char* kDumps = "/sys/kernel/debug/dri/0/qn";
    const bool expected = std::any_of(machine.adapters.begin(), machine.adapters.end(), [](const Adapter& adapter) {
        return adapter.family != nullptr && adapter.family->vendor == adapter::kOlderVendor;
    });
    int error = 0;
    (void)names_in(kDumps, error);
    if (error == 0) {
        add_ok(findings, "vm", fmt::format("page-table dumps in {}", kDumps));
    } else if (expected && error == ENOENT) {
        add_note(findings, "vm", "no_dumps", fmt::format("no {}, which kt3 vm reads", kDumps),
                 "the driver of the older family publishes it on card 0");
    }
}

void check_info_nodes(const Adapter& adapter, Findings& findings) {
    const std::string folder = fmt::format("{}/{}/{}", kPciDevices, bus_text(adapter.bus), adapter.family->info_dir);
    int error = 0;
    const auto names = names_in(folder.c_str(), error);
    if (error != 0) {
        add_refusal(findings, "driver", folder, error, kOpenNodes, kLoadDriver, adapter.slot);
        return;
    }
    const auto refused = std::find_if(names.begin(), names.end(), [&](const std::string& name) {
        return ::access((folder + "/" + name).c_str(), R_OK) != 0 && errno == EACCES;
    });
    if (refused != names.end()) {
        add_refusal(findings, "driver", folder + "/" + *refused, EACCES, kOpenNodes, "", adapter.slot);
    } else {
        check_published(adapter, names, findings);
    }
    if (::access((folder + "/enable_usage").c_str(), W_OK) != 0) {
        const bool absent_node = errno == ENOENT;
        if (absent_node) {
            add_note(findings, "usage", "no_accounting", "the driver has no switch for usage accounting", "",
                     adapter.slot);
        } else {
            add_refusal(findings, "usage", folder + "/enable_usage", errno, kOpenNodes, kLoadDriver, adapter.slot);
        }
    }
    check_temperature(adapter, findings);
    if (adapter.hwmon_fd < 0) {
        add_note(findings, "sensors", "no_sensors", "the driver publishes no hwmon sensors", "", adapter.slot);
    }
}

void check_driver_debugfs(const Adapter& adapter, Findings& findings) {
    const std::string folder = fmt::format("{}/dri/{}/{}", kDebugfs, adapter.card, adapter.family->token);
    int error = 0;
    (void)names_in(folder.c_str(), error);
    if (error != 0) {
        add_refusal(findings, "debugfs", folder, error, kOpenDebugfs, "mount debugfs and load the adapter's driver",
                    adapter.slot);
        return;
    }
    for (const char* name : {"allocations", "devices"}) {
        const std::string path = folder + "/" + name;
        (void)names_in(path.c_str(), error);
        if (error == ENOENT) {
            add_note(findings, "memory", "no_directory",
                     fmt::format("no {}, which kt3 alloc, process and leak read", path), "", adapter.slot);
        } else if (error != 0) {
            add_refusal(findings, "memory", path, error, kOpenDebugfs, kLoadDriver, adapter.slot);
        }
        if (error != 0) {
            return;
        }
    }
}

// A module counts when it opens and has one of the size queries, as binding demands.
std::string why_unusable(const char* file) {
    const support::Library module(::dlopen(file, RTLD_LAZY | RTLD_LOCAL));
    if (!module) {
        return ::dlerror();
    }
    const bool sized = ::dlsym(module.get(), "gfx_get_struct_size") != nullptr ||
                       ::dlsym(module.get(), "qn_get_struct_size") != nullptr;
    return sized ? "" : fmt::format("{}: offers no size query", file);
}

void check_module(const Adapter& adapter, Findings& findings) {
    const adapter::Chip* chip = adapter::find_chip_by_id(adapter.chip_id);
    if (chip == nullptr) {
        return;
    }
    std::string reasons;
    for (const char* file : {chip->module, chip->second_module}) {
        const std::string why = file == nullptr ? "-" : why_unusable(file);
        if (why.empty()) {
            add_ok(findings, "module", file, adapter.slot);
            return;
        }
        reasons += file == nullptr ? "" : (reasons.empty() ? "" : "; ") + why;
    }
    add_problem(findings, ExitStatus::driver, "module", "module_missing", reasons,
                "install the driver package's libraries, or name their folder in LD_LIBRARY_PATH", adapter.slot);
}

bool in_search_path(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::string_view rest = path == nullptr ? "" : path;
    while (!rest.empty()) {
        const auto end = std::min(rest.find(':'), rest.size());
        if (::access((std::string(rest.substr(0, end)) + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
}

} // namespace

void check_library(const Library& library, Findings& findings) {
    add_ok(findings, "library", library.path);
    if (library.calls.gpuinfo_vorla_init() == 0) {
        add_problem(findings, ExitStatus::driver, "libdrm", "libdrm_missing",
                    "libdrm cannot be opened or lacks entry points",
                    "install libdrm (Debian: apt-get install libdrm2)");
    } else {
        add_ok(findings, "libdrm", "found");
    }
}

void note_missing_library(const Failure& failure, Findings& findings) {
    const char* check = failure.code == "libdrm_missing" ? "libdrm" : "library";
    add_problem(findings, failure.status, check, "library_missing", failure.message, failure.fix);
}

void check_driver_places(Findings& findings) {
    check_drm_nodes(findings);
    check_debugfs(findings);
    check_interrupt();
}

void check_adapters(const Machine& machine, Findings& findings) {
    check_served(machine, findings);
    for (const Adapter& adapter : machine.adapters) {
        check_interrupt();
        if (adapter.family != nullptr) {
            check_info_nodes(adapter, findings);
            check_driver_debugfs(adapter, findings);
            check_module(adapter, findings);
        }
    }
    check_dumps(machine, findings);
}

void check_programs(Findings& findings) {
    for (const char* program : {"dmidecode", "ps"}) {
        if (!in_search_path(program)) {
            add_note(findings, "programs", "no_program",
                     fmt::format("{} is not in PATH; some facts stay unknown", program),
                     fmt::format("apt-get install {}", program == std::string_view("ps") ? "procps" : program));
        }
    }
}

} // namespace kt3::observe
