// SPDX-License-Identifier: MIT
#pragma once
// What one look at an adapter tells. Only the groups that were asked for are filled in.

#include "collect/wire.hpp"
#include "observe/adapter/driver_state.hpp"
#include "observe/adapter/moving_readings.hpp"
#include "observe/adapter/samplers.hpp"
#include "observe/dvfs/changes.hpp"
#include "observe/machine_checks.hpp"
#include "observe/memory/holders.hpp"
#include "observe/memory/leak_watch.hpp"
#include "observe/memory/segments.hpp"
#include "observe/owner/attribution.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kt3::collect {

// Values that are read together, in the order in which they are read.
enum class Group : std::uint8_t {
    bind, // the others of these need it: the kernel-interface module is loaded and usage counted
    counted,
    driver,
    versions,
    live,
    usage,
    page,
    link,
    summary,
    devices,
    segments,
    holders,
    allocations,
    leak_look, // takes the next look at allocations
    leaks,     // what the looks so far come to
    dvfs,
};
inline constexpr std::size_t kGroups = 16;

using Groups = std::vector<Group>; // in ascending order

// A value that is there as a whole or not at all.
template<typename T>
struct Answer {
    T value{};
    std::optional<observe::Failure> failure;

    // Throws the failure.
    [[nodiscard]] const T& get() const {
        if (failure) {
            throw observe::Failure(*failure);
        }
        return value;
    }
};

struct HoldersRead {
    std::vector<observe::Holder> holders;
    observe::Attributions attributions;     // of their processes
    std::vector<observe::Failure> failures; // what is missing from them
};

struct AllocationsRead {
    observe::Allocations allocations;
    observe::OpenDevices devices;
    observe::Attributions attributions;     // of their processes
    std::vector<observe::Failure> failures; // what is missing from the devices
};

struct Observation {
    observe::ModuleReadings counted;
    observe::DriverState driver;
    observe::Versions versions;
    observe::MovingReadings moving;
    observe::AdapterSummary summary;
    Answer<observe::OpenDevicesRead> devices;
    Answer<observe::AdapterSegments> segments;
    Answer<HoldersRead> holders;
    Answer<AllocationsRead> allocations;
    Answer<int> leak_looks; // so far
    Answer<observe::LeakGroups> leaks;
    Answer<observe::DvfsState> dvfs;
    std::vector<observe::Failure> failures; // of the look itself: what did not answer, or ended
};

// ---- how all of this travels ----------------------------------------------------------------------------------------

KT3_MEMBERS(observe::BusyReadings, 2);
KT3_MEMBERS(observe::FrameReadings, 6);
KT3_MEMBERS(observe::BandwidthReadings, 1);
KT3_MEMBERS(observe::ModuleReadings, 3);
KT3_MEMBERS(observe::DriverState, 3);
KT3_MEMBERS(observe::Versions, 4);
KT3_MEMBERS(observe::LiveReadings, 11);
KT3_MEMBERS(observe::UsageReadings, 3);
KT3_MEMBERS(observe::DriverPage, 14);
KT3_MEMBERS(observe::AdapterSummary, 5);
KT3_MEMBERS(observe::BusId, 4);
KT3_MEMBERS(observe::Adapter, 13);
KT3_MEMBERS(observe::MachineFacts, 3);
KT3_MEMBERS(observe::Failure, 5);
KT3_MEMBERS(observe::Finding, 7);
KT3_MEMBERS(observe::Segment, 5);
KT3_MEMBERS(observe::AdapterSegments, 6);
KT3_MEMBERS(observe::Owner, 4);
KT3_MEMBERS(observe::Holder, 2);
KT3_MEMBERS(observe::OpenDevice, 5);
KT3_MEMBERS(observe::OpenDevicesRead, 2);
KT3_MEMBERS(observe::Shape, 5);
KT3_MEMBERS(observe::LeakGroup, 7);
KT3_MEMBERS(observe::Attribution, 15);
KT3_MEMBERS(HoldersRead, 3);
KT3_MEMBERS(AllocationsRead, 4);

template<>
inline constexpr bool kAsBytes<_GFX_ALLOCATION_INFO> = true;

// The registers in their table stand for themselves.
template<>
struct Wire<const observe::DvfsRegister*> {
    static Json to(const observe::DvfsRegister* row) { return row->name; }
    static void from(const Json& wire, const observe::DvfsRegister*& into) {
        into = observe::find_dvfs_register(wire.get<std::string>());
    }
};
KT3_MEMBERS(observe::DvfsWish, 2);
KT3_MEMBERS(observe::DvfsChange, 5);

// The record is for the library, which the reader process talks to.
template<>
struct Wire<observe::DvfsState> {
    static Json to(const observe::DvfsState& state) { return to_wire(state.readings); }
    static void from(const Json& wire, observe::DvfsState& into) { from_wire(wire, into.readings); }
};

template<>
struct Wire<const adapter::Family*> {
    static Json to(const adapter::Family* family) { return family == nullptr ? 0U : family->vendor; }
    static void from(const Json& wire, const adapter::Family*& into) {
        into = adapter::find_family(wire.get<std::uint32_t>());
    }
};

} // namespace kt3::collect
