// SPDX-License-Identifier: MIT
#pragma once
// Reading and writing one node below a directory descriptor. Nothing here knows an adapter.
// A null name or a bad descriptor reads as nothing: 0 bytes, no number, 0 characters written.

#include "support/text_page.hpp"

#include <cstdint>

namespace kt3::nodes {

// A node that holds one short number; whatever stands after its first 64 bytes is not looked at.
using NumberPage = support::TextPage<64>;
NumberPage read_number_page(int directory, const char* node);

// The decimal integer at the start of the page, 0 when there is none.
std::int32_t int_in(const NumberPage& page);

// Sends a text to a driver node in one write. The text is a print format without arguments: a pair of percent signs
// is sent as one. Returns the characters sent, also when the driver refuses them; 0 when the node cannot be opened.
std::uint32_t write_node(int directory, const char* node, const char* text);

} // namespace kt3::nodes
