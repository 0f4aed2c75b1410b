// SPDX-License-Identifier: MIT
#pragma once
// One table for each adapter.

#include "kt3/session.hpp"
#include "output/text_table.hpp"

namespace kt3::cli {

[[nodiscard]] std::string adapter_heading(const Session& session, const Adapter& adapter, const std::string& more = "");

// A table on screen or as CSV, as the options have it.
[[nodiscard]] std::string table_text(const Session& session, const Table& table);

// One table on screen under its adapter's heading, or as CSV with the heading line once.
void show_table(Session& session, const Table& table, const std::string& heading);

} // namespace kt3::cli
