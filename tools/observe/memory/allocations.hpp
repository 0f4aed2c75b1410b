#pragma once
// Allocations of a bound adapter and the processes that own them.

#include "kt3/session.hpp"
#include "output/text_table.hpp"

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kt3::cli {

// One device that a process has open; allocations name it.
struct OpenDevice {
    std::int32_t device = 0;
    std::int32_t pid = 0;
    std::string name; // as the process gave it; empty when the process is gone
};

using OpenDevices = std::vector<OpenDevice>;

// Who holds an allocation. Without a pid the driver names no process for the device.
struct Owner {
    std::int32_t device = 0;
    std::optional<std::int32_t> pid;
    std::string name;

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

// Binds each adapter of --gpu that can hold allocations and calls `look` for it. A Failure of one adapter becomes an
// error of the report and the others follow. Returns the status of the first failure. Throws Failure when no adapter
// fits.
ExitStatus for_each_bound(Session& session, const std::function<void(const Adapter&)>& look);

// The adapters of --gpu that can hold allocations; throws Failure when there is none.
[[nodiscard]] std::vector<const Adapter*> memory_adapters(Session& session);

// The open devices. When they cannot be read the report says so, and what could be read stays.
[[nodiscard]] OpenDevices read_open_devices(Session& session, const Adapter& adapter);

// All allocations in the library's order, by device. Throws Failure when none can be read.
[[nodiscard]] Allocations read_allocations(Session& session, const Adapter& adapter);

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

// ---- showing ----

[[nodiscard]] std::string bytes_text(std::int64_t bytes);   // "7.9 MiB"
[[nodiscard]] std::string process_text(const Owner& owner); // the name, "(gone)" or "(unknown)"
[[nodiscard]] std::string owner_text(const Owner& owner);   // "player (41006)", "(unknown, device 127)"
[[nodiscard]] std::string pid_text(const Owner& owner);     // empty when unknown
[[nodiscard]] std::string shape_text(const Shape& shape);   // "1920x1080, 8294400 B, format 11, type 1"
void put_owner(Json& object, const Owner& owner);           // "device", "pid", "process", "owner"
void put_shape(Json& object, const Shape& shape);           // "width" to "at_type"
void put_tally(Json& object, const Tally& tally);           // "allocations", "bytes"
[[nodiscard]] std::string adapter_heading(const Session& session, const Adapter& adapter);

// One table on screen under its adapter's heading, or as CSV with the heading line once.
void show_table(Session& session, const Table& table, const std::string& heading);

} // namespace kt3::cli
