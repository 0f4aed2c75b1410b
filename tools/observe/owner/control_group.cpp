// SPDX-License-Identifier: MIT
#include "observe/owner/control_group.hpp"

#include "support/checked_numbers.hpp"

#include <algorithm>
#include <iterator>

namespace kt3::observe {
namespace {

struct NamedRuntime {
    std::string_view mark;
    std::string_view runtime;
};

// What stands before a container's identifier, with or without ".scope" after it. Monitors such as crio-conmon-ID and
// libpod-conmon-ID are not in the container: what is left of their names is not hexadecimal.
constexpr NamedRuntime kPrefixes[] = {
    {"docker-", "docker"}, {"cri-containerd-", "containerd"}, {"nerdctl-", "containerd"},
    {"crio-", "cri-o"},    {"libpod-payload-", "podman"},     {"libpod-", "podman"},
};

// The group in which a runtime without systemd makes one group per container.
constexpr NamedRuntime kParents[] = {
    {"docker", "docker"},     {"moby", "docker"},        {"actions_job", "docker"},
    {"k8s.io", "containerd"}, {"default", "containerd"}, {"libpod_parent", "podman"},
};

// Units that hold processes; slices only hold other units.
constexpr std::string_view kUnitKinds[] = {".service", ".scope", ".socket", ".mount", ".swap"};

constexpr std::size_t kShortestId = 12; // as runtimes shorten identifiers
constexpr std::size_t kWholeId = 64;
constexpr std::size_t kShortestUid = 32; // of static pods, which have no dashes
constexpr std::size_t kLongestUid = 36;

// ---- names ----------------------------------------------------------------------------------------------------------

bool begins(std::string_view text, std::string_view with) {
    return text.substr(0, with.size()) == with;
}

bool ends(std::string_view text, std::string_view with) {
    return text.size() >= with.size() && text.substr(text.size() - with.size()) == with;
}

// Nothing when the text does not end so, or is nothing else.
std::optional<std::string_view> without_end(std::string_view text, std::string_view end) {
    return ends(text, end) && text.size() > end.size() ? std::optional(text.substr(0, text.size() - end.size()))
                                                       : std::nullopt;
}

std::optional<std::string_view> without_begin(std::string_view text, std::string_view begin) {
    return begins(text, begin) && text.size() > begin.size() ? std::optional(text.substr(begin.size())) : std::nullopt;
}

bool is_hexadecimal(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return support::digit_value(c) < 16; });
}

bool is_identifier(std::string_view text) {
    return text.size() >= kShortestId && is_hexadecimal(text);
}

// As systemd escapes names: "\x2d" is "-".
std::string unescaped(std::string_view name) {
    std::string text;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (begins(name.substr(at), "\\x") && at + 3 < name.size() && is_hexadecimal(name.substr(at + 2, 2))) {
            text += static_cast<char>(support::scan_leading_number(name.substr(at + 2, 2), 16).value);
            at += 3;
        } else {
            text += name[at];
        }
    }
    return text;
}

// With dashes, also when it stood in the name of a slice, where "_" stands for them.
std::optional<std::string> pod_uid(std::string_view text) {
    std::string uid(text.substr(0, kLongestUid + 1));
    std::replace(uid.begin(), uid.end(), '_', '-');
    const bool fits = uid.size() >= kShortestUid && uid.size() <= kLongestUid;
    const bool plain =
        std::all_of(uid.begin(), uid.end(), [](char c) { return c == '-' || support::digit_value(c) < 16; });
    return fits && plain ? std::optional(uid) : std::nullopt;
}

// ---- one name of a path ---------------------------------------------------------------------------------------------

struct Step {
    std::string_view name;
    std::string_view parent, grandparent;
    bool in_kubernetes = false; // below a group of the kubelet
    bool in_slurm = false;
};

std::optional<std::string> unit_in(const Step& step) {
    for (const std::string_view kind : kUnitKinds) {
        if (const auto stem = without_end(step.name, kind); stem && *stem != "_") {
            return std::string(step.name.substr(step.name[0] == '_' ? 1 : 0)); // put before names like "cpu.service"
        }
    }
    return std::nullopt;
}

// "kubepods-burstable-pod1f2e_..._.slice", also with the name of an outer slice before it, or "pod1f2e-...".
std::optional<std::string> pod_in(const Step& step) {
    const std::string_view name = step.name.substr(0, step.name.find(':'));
    if (const auto slice = without_end(name, ".slice")) {
        const std::size_t at = slice->rfind("-pod");
        const bool of_kubelet = at != std::string_view::npos && slice->find("kubepods") < at;
        return of_kubelet ? pod_uid(slice->substr(at + 4)) : std::nullopt;
    }
    return step.in_kubernetes && begins(name, "pod") ? pod_uid(name.substr(3)) : std::nullopt;
}

std::optional<std::string> job_in(const Step& step) {
    const auto number = without_begin(step.name, "job_");
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    const bool fits = step.in_slurm && number && std::all_of(number->begin(), number->end(), is_digit);
    return fits ? std::optional<std::string>(*number) : std::nullopt;
}

struct Container {
    std::string id;
    std::string_view runtime; // empty when the path does not say
};

std::optional<Container> container_with_prefix(std::string_view name) {
    name = without_end(name, ".scope").value_or(name);
    for (const NamedRuntime& prefix : kPrefixes) {
        if (begins(name, prefix.mark) && is_identifier(name.substr(prefix.mark.size()))) {
            return Container{std::string(name.substr(prefix.mark.size())), prefix.runtime};
        }
    }
    return std::nullopt;
}

// "SLICE:cri-containerd:ID", made by a runtime that was asked for a systemd group and does not use systemd.
std::optional<Container> container_with_colons(std::string_view name) {
    const std::size_t last = name.rfind(':');
    const std::size_t first = name.find(':');
    if (first == last) {
        return std::nullopt;
    }
    std::string scope(name.substr(first + 1));
    scope[last - first - 1] = '-';
    return container_with_prefix(scope);
}

// "/docker/ID", "/kubepods/burstable/podUID/ID". Nothing else has names of 64 hexadecimal digits.
std::optional<Container> container_by_parent(const Step& step) {
    const auto* row = std::find_if(std::begin(kParents), std::end(kParents),
                                   [&](const NamedRuntime& parent) { return step.parent == parent.mark; });
    const bool known = row != std::end(kParents);
    const bool in_pod = step.in_kubernetes && begins(step.parent, "pod");
    if (is_identifier(step.name) && (known || in_pod || step.name.size() == kWholeId)) {
        return Container{std::string(step.name), known ? row->runtime : ""};
    }
    // containerd's own clients choose names: "/default/encoder", "containerd.service/NAMESPACE/encoder".
    const bool named = step.parent == "default" && step.grandparent.empty();
    const bool below = step.grandparent == "containerd.service" && !begins(step.parent, "kubepods");
    return named || below ? std::optional(Container{std::string(step.name), "containerd"}) : std::nullopt;
}

std::optional<Container> machine_in(const Step& step) {
    if (const auto name = without_begin(step.name, "lxc.payload.")) {
        return Container{std::string(*name), "lxc"};
    }
    if (step.parent == "lxc" || step.parent == "lxc.payload") {
        return Container{std::string(step.name), "lxc"};
    }
    const std::string_view service = without_end(step.name, ".service").value_or("");
    if (const auto name = without_begin(service, "systemd-nspawn@")) {
        return Container{unescaped(*name), "systemd-nspawn"};
    }
    const std::string_view scope = without_end(step.name, ".scope").value_or("");
    if (const auto name = without_begin(scope, "machine-"); name && step.parent == "machine.slice") {
        return Container{unescaped(*name), "machined"};
    }
    return std::nullopt;
}

std::optional<Container> container_in(const Step& step) {
    auto found = container_with_prefix(step.name);
    found = found ? found : container_with_colons(step.name);
    found = found ? found : container_by_parent(step);
    return found ? found : machine_in(step);
}

// ---- a path ---------------------------------------------------------------------------------------------------------

struct PathOwner {
    ControlGroup group;
    std::size_t depth = 0; // of the container; 0 without one
};

// The group that systemd-nspawn is in itself, beside that of what it runs.
bool is_supervisor(const Step& step, std::size_t depth, const PathOwner& owner) {
    return step.name == "supervisor" && owner.depth + 1 == depth &&
           (owner.group.runtime == "machined" || owner.group.runtime == "systemd-nspawn");
}

void take_container(const Step& step, std::size_t depth, PathOwner& owner) {
    if (is_supervisor(step, depth, owner)) {
        owner.group.container = owner.group.runtime = std::nullopt;
        owner.depth = 0;
    } else if (const auto container = container_in(step)) {
        owner.group.container = container->id;
        owner.group.runtime =
            container->runtime.empty() ? std::nullopt : std::optional<std::string>(container->runtime);
        owner.depth = depth;
    }
}

void take_step(const Step& step, std::size_t depth, PathOwner& owner) {
    const auto take = [](std::optional<std::string>& known, std::optional<std::string> inner) {
        if (inner) {
            known = std::move(inner);
        }
    };
    take(owner.group.unit, unit_in(step));
    take(owner.group.pod, pod_in(step));
    take(owner.group.job, job_in(step));
    take_container(step, depth, owner);
}

// "/../.." stands for groups outside of the reader's namespace.
PathOwner owner_in(std::string_view path) {
    constexpr std::string_view kRemoved = " (deleted)";
    path = without_end(path, kRemoved).value_or(path);
    PathOwner owner;
    Step step;
    std::size_t depth = 0;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        step.name = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (step.name.empty() || step.name == "..") {
            continue;
        }
        take_step(step, ++depth, owner);
        step.in_kubernetes = step.in_kubernetes || step.name.find("kubepods") != std::string_view::npos;
        step.in_slurm = step.in_slurm || begins(step.name, "slurm") || ends(step.name, "_slurmstepd.scope");
        step.grandparent = step.parent;
        step.parent = step.name;
    }
    return owner;
}

// ---- the lines ------------------------------------------------------------------------------------------------------

// In which hierarchies systemd keeps its units: its own one, else the unified one, else any.
enum class Hierarchy { systemd, unified, controllers, none };

struct Line {
    Hierarchy hierarchy = Hierarchy::none;
    std::string_view path;
};

// "4:memory:/docker/5e0b"; a path may hold colons.
Line line_in(std::string_view text) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == std::string_view::npos ? first : text.find(':', first + 1);
    if (second == std::string_view::npos) {
        return {};
    }
    const std::string_view controllers = text.substr(first + 1, second - first - 1);
    const Hierarchy hierarchy = controllers == "name=systemd" ? Hierarchy::systemd
                                : controllers.empty()         ? Hierarchy::unified
                                                              : Hierarchy::controllers;
    return {hierarchy, text.substr(second + 1)};
}

struct Merged {
    ControlGroup group;
    Hierarchy of_unit = Hierarchy::none;
    std::size_t depth = 0; // of the container
};

void merge(Merged& merged, Hierarchy hierarchy, PathOwner owner) {
    ControlGroup& group = merged.group;
    if (hierarchy < merged.of_unit || (hierarchy == merged.of_unit && !group.unit)) {
        group.unit = std::move(owner.group.unit);
        merged.of_unit = hierarchy;
    }
    if (owner.depth > merged.depth) {
        group.container = std::move(owner.group.container);
        group.runtime = std::move(owner.group.runtime);
        merged.depth = owner.depth;
    }
    if (!group.pod) {
        group.pod = std::move(owner.group.pod);
    }
    if (!group.job) {
        group.job = std::move(owner.group.job);
    }
}

} // namespace

ControlGroup parse_control_group(std::string_view text) {
    Merged merged;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const Line line = line_in(text.substr(0, end));
        if (line.hierarchy != Hierarchy::none) {
            merge(merged, line.hierarchy, owner_in(line.path));
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return std::move(merged.group);
}

} // namespace kt3::observe
