#pragma once
// Owners, shapes and sums of allocations as text and JSON.

#include "observe/memory/allocations.hpp"
#include "output/json.hpp"

namespace kt3::output {

[[nodiscard]] std::string process_text(const observe::Owner& owner); // the name, "(gone)" or "(unknown)"
[[nodiscard]] std::string owner_text(const observe::Owner& owner);   // "player (41006)", "(unknown, device 127)"
[[nodiscard]] std::string pid_text(const observe::Owner& owner);     // empty when unknown
[[nodiscard]] std::string shape_text(const observe::Shape& shape);   // "1920x1080, 8294400 B, format 11, type 1"
void put_owner(Json& object, const observe::Owner& owner);           // "device", "pid", "process", "owner"
void put_shape(Json& object, const observe::Shape& shape);           // "width" to "at_type"
void put_tally(Json& object, const observe::Tally& tally);           // "allocations", "bytes"

} // namespace kt3::output
