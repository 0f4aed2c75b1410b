#pragma once
// Readings in text, CSV and JSON.

#include "observe/reading.hpp"

namespace kt3::output {

using observe::Json;
using observe::Reading;

// "key": the value or null, and "key_reason": null or the code. Both keys are always there.
void put(Json& object, const std::string& key, const Reading& reading);

// For the screen: "45 C", "2048 MiB", "-  (permission denied)".
[[nodiscard]] std::string shown(const Reading& reading, const char* unit = "");

// For a table cell: the same without the reason.
[[nodiscard]] std::string shown_briefly(const Reading& reading, const char* unit = "");

// For CSV: the bare value, empty when absent.
[[nodiscard]] std::string bare(const Reading& reading);

} // namespace kt3::output
