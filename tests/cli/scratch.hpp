// SPDX-License-Identifier: MIT
#pragma once
// A folder that ends with its test, and what stands in files.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

namespace kt3::tests {

inline std::string file_text(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A folder of one test; HOME of the processes it starts.
class Scratch {
public:
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-cli-XXXXXX").string();
        EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    [[nodiscard]] std::filesystem::path preferences() const { return folder / ".local/share/tqm_gfx_util.ini"; }
    void write_preferences(const std::string& text) const {
        std::filesystem::create_directories(preferences().parent_path());
        std::ofstream(preferences(), std::ios::binary) << text;
    }

    std::filesystem::path folder;
};

} // namespace kt3::tests
