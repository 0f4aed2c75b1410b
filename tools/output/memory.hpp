// SPDX-License-Identifier: MIT
#pragma once
// Owners, shapes and sums of allocations as text and as rows.

#include "observe/memory/allocations.hpp"
#include "output/row.hpp"

namespace kt3::output {

using observe::Owner;
using observe::Shape;
using observe::Tally;

// Of owners that were settled (observe/owner/ownership.hpp): the name, "(gone)", "(not visible)" or "(unknown)".
[[nodiscard]] std::string process_text(const Owner& owner);
[[nodiscard]] std::string owner_text(const Owner& owner); // "player (41006)", "pid 4711 not visible here"
[[nodiscard]] std::string shape_text(const Shape& shape); // "1920x1080, 8294400 B, format 11, type 1"

[[nodiscard]] std::optional<std::string> known_process(const Owner& owner);
[[nodiscard]] const char* owner_kind(const Owner& owner); // one of kOwnerKinds
inline constexpr const char* kOwnerKinds = "process gone not_visible unknown";

// Whether it has a process of which nothing can be said here.
[[nodiscard]] inline bool is_hidden(const Owner& owner) {
    return owner.pid && !owner.ended && owner.name.empty();
}
[[nodiscard]] inline std::int64_t shape_bytes(const Shape& shape) {
    return observe::bytes_of(shape.size);
}

// clang-format off
// In JSON; rows have the process at their end.
inline constexpr Column<Owner> kOwnerColumns[] = {
    member<&Owner::device>("device"),
    member<&Owner::pid>   ("pid"),
    member<known_process> ("process"),
    member<owner_kind>    ("owner", {.one_of = kOwnerKinds}),
};

inline constexpr Column<Shape> kShapeColumns[] = {
    column<&Shape::width>    ("width",      "WIDTH"),
    column<&Shape::height>   ("height",     "HEIGHT"),
    column<shape_bytes>      ("size_bytes", "SIZE", {.least = 0, .most = UINT32_MAX}),
    column<&Shape::hw_format>("hw_format",  "FORMAT", {.rank = Rank::first}),
    column<&Shape::at_type>  ("at_type",    "TYPE",   {.rank = Rank::first}),
};

inline constexpr Column<Tally> kTallyColumns[] = {
    member<&Tally::count>("allocations"),
    member<&Tally::bytes>("bytes"),
};
// clang-format on

// Which adapter a row is of. It stands first.
struct Place {
    int slot = 0;
    observe::BusId bus;
};
[[nodiscard]] inline Place place_of(const observe::Adapter& adapter) {
    return {adapter.slot, adapter.bus};
}

// The same of records that have their place beside other things.
template<typename Record>
[[nodiscard]] int slot_in(const Record& record) {
    return record.place.slot;
}
template<typename Record>
[[nodiscard]] observe::BusId bus_in(const Record& record) {
    return record.place.bus;
}

// clang-format off
inline constexpr Column<Place> kPlaceColumns[] = {
    column<&Place::slot>("slot", "GPU",    {.least = 0, .most = 2, .rank = Rank::stays}),
    column<&Place::bus> ("bdf",  "BUS ID", {.forms = kCsv | kJson}),
};
// clang-format on

} // namespace kt3::output
