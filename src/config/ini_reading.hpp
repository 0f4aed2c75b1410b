// SPDX-License-Identifier: MIT
#pragma once
// The preference file as text: one section per application. Touches no file.
//
//     ; tqm_gfx_util.ini
//
//     [game.exe]
//     FullPath = /opt/game/game.exe
//     PreferGpuName = Gpu0:Vorla-55F0
//     PreferGpuBusID = 0000:03:00.0
//     GpuPrefer = 2

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kt3::config {

// Lines are taken in pieces of at most this many characters; a piece is a line of its own.
inline constexpr std::size_t kLinePiece = 611;

// Takes a UTF-8 byte-order mark off the front.
std::string_view without_byte_order_mark(std::string_view page);

// Takes the next piece off `rest`, without its comment and the white space at its edges.
std::string_view take_line(std::string_view& rest);

// The text between "[" and the first "]" of a section header; a null view for any other line.
std::string_view section_name(std::string_view line);

// Stores the value of a known "key = value" line in the entry; ignores every other line.
void store_value(std::string_view line, _UTIL_GPU_PREFERENCE_NODE& entry);

// Starts the entry's name; one of 64 characters or more fills the field without a terminator.
void store_name(std::string_view name, _UTIL_GPU_PREFERENCE_NODE& entry);

// The entries in the order of the page, one for each section. Values before the first header belong to the first
// section: only a second header finishes an entry and starts from zero.
std::vector<_UTIL_GPU_PREFERENCE_NODE> parse_ini(std::string_view page);

} // namespace kt3::config
