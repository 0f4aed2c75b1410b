// SPDX-License-Identifier: MIT
#pragma once
// The forms in which a command can show its data.

namespace kt3::output {

enum class Format { text, json, csv };

} // namespace kt3::output
