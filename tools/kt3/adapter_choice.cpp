// SPDX-License-Identifier: MIT
#include "kt3/adapter_choice.hpp"

#include "output/adapter.hpp"
#include "support/owned.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

bool fits(const Adapter& adapter, std::string_view gpu) {
    BusId bus;
    if (parse_bus_id(gpu, bus)) {
        return bus == adapter.bus;
    }
    return gpu == std::to_string(adapter.slot);
}

std::string valid_values(const std::vector<Adapter>& adapters) {
    std::string text;
    for (const Adapter& adapter : adapters) {
        text += fmt::format("{} ({}, {}), ", adapter.slot, bus_text(adapter.bus), adapter.name);
    }
    return text + "all";
}

// The first DRM node that exists and may not be opened; empty when there is none.
std::string refused_node() {
    const support::Dir listing(::opendir("/dev/dri"));
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name.rfind("card", 0) != 0 && name.rfind("renderD", 0) != 0) {
            continue;
        }
        std::string path = "/dev/dri/" + name;
        const support::Fd node(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
        if (!node && absence_of(errno) == Absence::permission) {
            return path;
        }
    }
    return "";
}

bool is_left_out(const MachineFacts& machine, std::string_view gpu) {
    BusId wanted;
    BusId bus;
    return parse_bus_id(gpu, wanted) &&
           std::any_of(machine.left_out.begin(), machine.left_out.end(),
                       [&](const std::string& one) { return parse_bus_id(one, bus) && bus == wanted; });
}

Failure left_out_failure(const MachineFacts& machine, ExitStatus status) {
    return {status, "left_out", left_out_text(machine), kMakeRoom};
}

[[noreturn]] void no_adapter() {
    const std::string refused = refused_node();
    if (!refused.empty()) {
        throw Failure{ExitStatus::permission, "permission", fmt::format("cannot open {}: Permission denied", refused),
                      "add the user to the groups video and render, or run as root"};
    }
    throw Failure{ExitStatus::not_found, "no_adapter", "no adapter found", "`kt3 doctor` looks for the cause"};
}

} // namespace

bool names_all(const std::vector<std::string>& gpus) {
    return gpus.empty() || std::find(gpus.begin(), gpus.end(), "all") != gpus.end();
}

std::vector<const Adapter*> select_adapters(const std::vector<Adapter>& adapters,
                                            const std::vector<std::string>& gpus) {
    if (adapters.empty()) {
        no_adapter();
    }
    for (const std::string& gpu : gpus) {
        const bool names_one =
            std::any_of(adapters.begin(), adapters.end(), [&](const Adapter& adapter) { return fits(adapter, gpu); });
        if (gpu != "all" && !names_one) {
            throw Failure{ExitStatus::not_found, "no_such_adapter", fmt::format("no adapter '{}'", gpu),
                          "valid values of --gpu: " + valid_values(adapters)};
        }
    }
    std::vector<const Adapter*> selected;
    for (const Adapter& adapter : adapters) {
        if (names_all(gpus) ||
            std::any_of(gpus.begin(), gpus.end(), [&](const std::string& gpu) { return fits(adapter, gpu); })) {
            selected.push_back(&adapter);
        }
    }
    return selected;
}

std::vector<const Adapter*> selected_adapters(Session& session) {
    const MachineFacts& machine = machine_of(session);
    for (const std::string& gpu : session.options.gpus) {
        if (is_left_out(machine, gpu)) {
            throw left_out_failure(machine, ExitStatus::not_found);
        }
    }
    return select_adapters(machine.adapters, session.options.gpus);
}

void note_left_out(Session& session) {
    const MachineFacts& machine = machine_of(session);
    if (!machine.left_out.empty()) {
        note_error(session.report, left_out_failure(machine, ExitStatus::ok));
    }
}

std::vector<const Adapter*> memory_adapters(Session& session) {
    auto adapters = selected_adapters(session);
    const bool named = !names_all(session.options.gpus);
    adapters.erase(std::remove_if(adapters.begin(), adapters.end(),
                                  [](const Adapter* adapter) { return adapter->family == nullptr; }),
                   adapters.end());
    if (adapters.empty()) {
        throw Failure{ExitStatus::not_found, "foreign_gpu",
                      named ? "this GPU is of another vendor; its memory is not known"
                            : "no adapter whose memory is known",
                      "kt3 list shows the adapters"};
    }
    return adapters;
}

void note_failures(Session& session, const std::vector<Failure>& failures) {
    for (const Failure& failure : failures) {
        const auto& errors = session.report.errors;
        const bool told = std::any_of(errors.begin(), errors.end(),
                                      [&](const Failure& other) { return other.message == failure.message; });
        if (!told) { // a group that was lost with the file it waits for
            note_error(session.report, failure);
        }
    }
}

ExitStatus for_each_look(Session& session, const Groups& wanted,
                         const std::function<void(const Adapter&, const Observation&)>& show) {
    ExitStatus status = ExitStatus::ok;
    const std::vector<const Adapter*> adapters = memory_adapters(session);
    const std::vector<Observation> looks = look_at(session, adapters, wanted);
    for (std::size_t at = 0; at < adapters.size(); ++at) {
        const std::size_t errors = session.report.errors.size();
        session.report.adapters.push_back(identity_of(*adapters[at]));
        try {
            show(*adapters[at], looks[at]);
        } catch (const Failure& failure) {
            note_failures(session, {failure});
        }
        if (status == ExitStatus::ok && session.report.errors.size() > errors) {
            status = session.report.errors[errors].status;
        }
    }
    return status;
}

} // namespace kt3::cli
