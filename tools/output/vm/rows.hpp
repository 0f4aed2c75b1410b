// SPDX-License-Identifier: MIT
#pragma once
// Page tables as flat rows and JSON.

#include "observe/vm/dumps.hpp"
#include "output/format.hpp"
#include "output/json_stream.hpp"
#include "output/text_table.hpp"

namespace kt3::output {

using observe::DumpFinding;
using observe::VmClient;

// Flat rows in CSV, in the order of the library: tables of level 0, 1 and 2, then sub-table entries of level 0, 1
// and 2.
[[nodiscard]] Table flat_rows(const std::vector<VmClient>& clients);

// Rows as arrays of values, whose names stand once before them, or as objects: three times as large, and easier to
// read.
enum class RowForm { arrays, objects };

// The client with its rows as one JSON object.
void write_client(JsonStream& json, const VmClient& client, RowForm form);

// Makes objects of the rows of such a client, if they are arrays. Throws Json::exception when it is damaged.
void unfold_rows(Json& client);
[[nodiscard]] Json client_with_rows_form();

// One row per client.
[[nodiscard]] Table client_rows(const std::vector<VmClient>& clients, const std::vector<DumpFinding>& findings,
                                Format format);
[[nodiscard]] Json client_json(const VmClient& client);
[[nodiscard]] Json client_form();

} // namespace kt3::output
