// SPDX-License-Identifier: MIT
#pragma once
// What a run has to say: the adapters, what the command adds, and the errors met on the way.

#include "observe/failure.hpp"
#include "output/json_stream.hpp"
#include "output/row.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace kt3::cli {

using observe::Failure;
using output::Json;
using output::JsonStream;

struct Report {
    std::string command;                           // "list", "prefer set"
    std::optional<std::int32_t> interface_version; // absent until the library has been asked
    Json adapters = Json::array();
    Json members = Json::object();               // further members of the top level
    std::function<void(JsonStream&)> write_more; // the last members, when they are too large to be built first
    std::vector<Failure> errors;
    std::vector<std::string> absent; // readings that the chip could have given and did not, each with its reason
};

// Says it on standard error and adds it to the report.
void note_error(Report& report, const Failure& failure);

// Adds the readings of a row that are absent for another reason than the chip.
void note_absences(Report& report, int slot, const output::Row& row);

// Whether all readings of the row are absent; a row without readings has none that is.
[[nodiscard]] bool nothing_read(const output::Row& row);

// The JSON document: schema_version, tool_version, interface_version, timestamp, command, adapters, errors, then the
// members of the command. One line when `compact`, for streams of documents.
void write_document(const Report& report, bool compact, const JsonStream::Send& send);

} // namespace kt3::cli
