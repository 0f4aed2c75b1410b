// SPDX-License-Identifier: MIT
#pragma once
// Files that the user names and kt3 reads.

#include <string>

namespace kt3::cli {

struct FileText {
    std::string text;
    int error = 0; // errno of what went wrong; 0 when the whole file was read
};
[[nodiscard]] FileText read_whole_file(const std::string& path);

// The text of a file that the command cannot do without. Throws Failure.
[[nodiscard]] std::string text_of_file(const std::string& path);

} // namespace kt3::cli
