// SPDX-License-Identifier: MIT
// kt3-schema: prints the JSON schema of what kt3 prints with --json.

#include "kt3/command_table.hpp"

#include <cstdio>
#include <exception>

int main() {
    try {
        const std::string text = kt3::output::schema_text(kt3::cli::describe_all_commands());
        const bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
        return written ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kt3-schema: %s\n", error.what());
        return 1;
    }
}
