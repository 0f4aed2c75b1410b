// SPDX-License-Identifier: MIT
// A C++ library that does nothing, to see what loading one costs at least.

#include <string>
#include <vector>

__attribute__((visibility("default"))) extern std::vector<std::string> kept_texts;
std::vector<std::string> kept_texts;
