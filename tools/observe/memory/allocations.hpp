// SPDX-License-Identifier: MIT
#pragma once
// Allocations of a bound adapter and the processes that own them.

#include "observe/adapter/machine.hpp"
#include "observe/failure.hpp"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kt3::observe {

// One device that a process has open; allocations name it.
struct OpenDevice {
    std::int32_t device = 0;
    std::int32_t pid = 0;
    std::string name;                     // as the process gave it; empty when it cannot be asked
    std::optional<std::int64_t> opened{}; // seconds since 1970; when the driver made the page of the device
    bool ended = false;                   // the process is known to be no more
};

using OpenDevices = std::vector<OpenDevice>;

// Who holds an allocation. Without a pid the driver names no process for the device.
struct Owner {
    std::int32_t device = 0;
    std::optional<std::int32_t> pid;
    std::string name;   // empty when it has ended or is not visible here
    bool ended = false; // known to be no more

    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it finds is the compiler's, in a comparison that it made
    auto operator<=>(const Owner&) const = default;
};

// What leaking allocations have in common.
struct Shape {
    std::int32_t width = 0, height = 0, size = 0, hw_format = 0, at_type = 0;

    // NOLINTNEXTLINE(modernize-use-nullptr): the 0 that it finds is the compiler's, in a comparison that it made
    auto operator<=>(const Shape&) const = default;
};

struct Tally {
    std::int64_t count = 0;
    std::int64_t bytes = 0;
};

using Allocations = std::vector<_GFX_ALLOCATION_INFO>;

// The open devices as far as they could be read, and what went wrong.
struct OpenDevicesRead {
    OpenDevices devices;
    std::vector<Failure> failures;
};
[[nodiscard]] OpenDevicesRead read_open_devices(const Library& library, const Adapter& adapter);

// All allocations in the library's order, by device. Throws Failure when none can be read.
[[nodiscard]] Allocations read_allocations(const Library& library, Machine& machine, const Adapter& adapter);

// Drops records that repeat another one in every field: a reading that had to begin anew holds its first part twice.
void drop_repeated(Allocations& allocations);

[[nodiscard]] Owner owner_of(std::int32_t device, const OpenDevices& devices);
[[nodiscard]] Shape shape_of(const _GFX_ALLOCATION_INFO& allocation);

// The low 32 bits of a size; the record holds them with a sign.
[[nodiscard]] inline std::int64_t bytes_of(std::int32_t size) {
    return static_cast<std::uint32_t>(size);
}

// 0 to 3, 4 for all later ones; nothing when the allocation lies in no valid segment.
[[nodiscard]] std::optional<std::size_t> segment_slot(std::int32_t segment);

// The end of a command that could not read a directory of the driver; errno tells why.
[[nodiscard]] Failure unreadable(const Adapter& adapter, const char* directory, const char* what);

} // namespace kt3::observe
