// SPDX-License-Identifier: MIT
#include "collect/groups.hpp"

#include "observe/owner/ownership.hpp"

#include <iterator>

namespace kt3::collect {
namespace {

using namespace observe;

// ---- reading --------------------------------------------------------------------------------------------------------

bool bind(Subject& subject) {
    if (subject.binding) {
        subject.binding->keep_counting();
    } else {
        subject.binding = std::make_unique<Binding>(subject.library, subject.machine, subject.adapter);
    }
    return subject.binding->complete();
}

ModuleReadings read_counted(Subject& subject) {
    if (!subject.sampler) {
        subject.sampler = std::make_unique<ModuleSampler>(subject.library, subject.adapter);
    }
    return subject.sampler->sample();
}

DriverState read_driver(Subject& subject) {
    return read_driver_state(subject.adapter, subject.binding && subject.binding->complete());
}

template<auto Read>
auto from_nodes(Subject& subject) {
    return Read(subject.adapter);
}

AdapterSummary read_library_summary(Subject& subject) {
    return read_summary(subject.library, subject.machine, subject.adapter);
}

AdapterSegments read_memory_segments(Subject& subject) {
    return read_segments(subject.library, subject.machine, subject.adapter);
}

// The open devices, with what is known of the processes that have them open.
struct OwnedDevices {
    OpenDevicesRead read;
    Attributions attributions;
};

OwnedDevices owned_devices(const Subject& subject) {
    OwnedDevices owned;
    owned.read = read_open_devices(subject.library, subject.adapter);
    owned.attributions = read_attributions(pids_of(owned.read.devices));
    settle(owned.read.devices, owned.attributions);
    return owned;
}

OpenDevicesRead devices_of(Subject& subject) {
    return owned_devices(subject).read;
}

HoldersRead read_memory_holders(Subject& subject) {
    OwnedDevices owned = owned_devices(subject);
    return {read_holders(subject.library, subject.machine, subject.adapter, owned.read.devices),
            std::move(owned.attributions), std::move(owned.read.failures)};
}

AllocationsRead read_all_allocations(Subject& subject) {
    OwnedDevices owned = owned_devices(subject);
    return {read_allocations(subject.library, subject.machine, subject.adapter), std::move(owned.read.devices),
            std::move(owned.attributions), std::move(owned.read.failures)};
}

int look_for_leaks(Subject& subject) {
    if (!subject.watcher) {
        subject.watcher = std::make_unique<LeakWatcher>(subject.library, subject.adapter);
    }
    subject.watcher->look();
    return ++subject.leak_looks;
}

LeakGroups groups_watched(Subject& subject) {
    return subject.watcher ? subject.watcher->groups() : LeakGroups{};
}

DvfsState read_registers(Subject& subject) {
    return read_dvfs(subject.library, subject.machine, subject.adapter);
}

// ---- taking ---------------------------------------------------------------------------------------------------------

template<auto Read>
Json read_for_wire(Subject& subject) {
    return to_wire(Read(subject));
}

template<typename T>
void put(const Json& wire, T& into) {
    from_wire(wire, into);
}
template<typename T>
void put(const Json& wire, Answer<T>& into) {
    from_wire(wire, into.value);
    into.failure.reset();
}

void lose(bool&, Absence, const Failure&) {}
template<typename T>
void lose(T& readings, Absence why, const Failure&) {
    make_absent(readings, why);
}
void lose(Answer<DvfsState>& answer, Absence why, const Failure& failure) {
    answer = {{}, failure};
    answer.value.readings.assign(dvfs_registers().size(), why);
}
template<typename T>
void lose(Answer<T>& answer, Absence, const Failure& failure) {
    answer = {{}, failure};
}

auto& live_of(Observation& look) {
    return look.moving.live;
}
auto& usage_of(Observation& look) {
    return look.moving.usage;
}
auto& page_of(Observation& look) {
    return look.moving.page;
}
auto& link_of(Observation& look) {
    return look.moving.link_width;
}

template<auto Place>
auto& at(Observation& look) {
    if constexpr (std::is_member_object_pointer_v<decltype(Place)>) {
        return look.*Place;
    } else {
        return Place(look);
    }
}

enum class Needs { nodes, binding };

template<typename T>
constexpr bool kIsAnswer = false;
template<typename T>
constexpr bool kIsAnswer<Answer<T>&> = true;

template<auto Read, auto Place>
constexpr GroupRow row(const char* name, const char* words, Needs needs) {
    return {name,
            words,
            needs == Needs::binding,
            kIsAnswer<decltype(at<Place>(std::declval<Observation&>()))>,
            read_for_wire<Read>,
            [](Observation& look, const Json& wire) { put(wire, at<Place>(look)); },
            [](Observation& look, Absence why, const Failure& failure) { lose(at<Place>(look), why, failure); }};
}

bool& bound_in(Observation&) {
    static bool nowhere = false; // whether binding was complete shows in the state of the driver
    return nowhere;
}
// By the value of Group.
// clang-format off
constexpr GroupRow kRows[] = {
    row<bind, bound_in>                              ("bind",        "the kernel module",       Needs::binding),
    row<read_counted, &Observation::counted>                ("counted",     "what the module counts",  Needs::binding),
    row<read_driver, &Observation::driver>                  ("driver",      "the parts of the driver", Needs::binding),
    row<from_nodes<read_versions>, &Observation::versions>  ("versions",    "the versions",            Needs::nodes),
    row<from_nodes<read_live>, live_of>              ("live",        "the driver's nodes",      Needs::nodes),
    row<from_nodes<read_usage>, usage_of>            ("usage",       "the usage",               Needs::binding),
    row<from_nodes<read_driver_page>, page_of>       ("page",        "the driver's page",       Needs::nodes),
    row<from_nodes<read_link_width>, link_of>        ("link",        "the link",                Needs::nodes),
    row<read_library_summary, &Observation::summary>        ("summary",     "the summary",             Needs::nodes),
    row<devices_of, &Observation::devices>                  ("devices",     "the open devices",        Needs::binding),
    row<read_memory_segments, &Observation::segments>       ("segments",    "the allocations",         Needs::binding),
    row<read_memory_holders, &Observation::holders>         ("holders",     "the allocations",         Needs::binding),
    row<read_all_allocations, &Observation::allocations>    ("allocations", "the allocations",         Needs::binding),
    row<look_for_leaks, &Observation::leak_looks>           ("leak_look",   "the allocations",         Needs::binding),
    row<groups_watched, &Observation::leaks>                ("leaks",       "the allocations",         Needs::binding),
    row<read_registers, &Observation::dvfs>                 ("dvfs",        "the registers",           Needs::nodes),
};
// clang-format on
static_assert(std::size(kRows) == kGroups);

} // namespace

const GroupRow& row_of(Group group) {
    return kRows[static_cast<std::size_t>(group)];
}

} // namespace kt3::collect
