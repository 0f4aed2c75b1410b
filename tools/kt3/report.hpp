#pragma once
// What a run has to say: the adapters, what the command adds, and the errors met on the way.

#include "exit_status.hpp"
#include "reading.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace kt3::cli {

struct Report {
    std::string command;                           // "list", "prefer set"
    std::optional<std::int32_t> interface_version; // absent until the library has been asked
    Json adapters = Json::array();
    Json members = Json::object(); // further members of the top level
    std::vector<Failure> errors;
};

// Says it on standard error and adds it to the report.
void note_error(Report& report, const Failure& failure);

// The JSON document: schema_version, tool_version, interface_version, timestamp, command, adapters, errors, then the
// members of the command. One line when `compact`, for streams of documents.
[[nodiscard]] std::string document(const Report& report, bool compact);

} // namespace kt3::cli
