// SPDX-License-Identifier: MIT
#pragma once
// What somebody may have meant.

#include <string>
#include <string_view>
#include <vector>

namespace kt3::cli {

// Changes of one character each (one more, one less, another one, two in the wrong order) that make one of the other.
[[nodiscard]] std::size_t typing_distance(std::string_view one, std::string_view other);

// Of the names those that the word is a slip of, the nearest first; at most three.
[[nodiscard]] std::vector<std::string> nearest_names(std::string_view word, const std::vector<std::string>& names);

// "did you mean list or leak?", or nothing.
[[nodiscard]] std::string did_you_mean(std::string_view word, const std::vector<std::string>& names);

} // namespace kt3::cli
