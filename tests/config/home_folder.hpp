// SPDX-License-Identifier: MIT
#pragma once
// A home folder of its own for a test, and entries to put into it.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kt3::tests {

// HOME points to a temporary folder for the life of the object. The folder of the preference file exists.
class HomeFolder {
public:
    HomeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-home-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        root_ = pattern;
        std::filesystem::create_directories(folder());
        ::setenv("HOME", root_.c_str(), 1);
    }
    ~HomeFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    HomeFolder(const HomeFolder&) = delete;
    HomeFolder& operator=(const HomeFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& root() const { return root_; }
    [[nodiscard]] std::filesystem::path folder() const { return root_ / ".local/share"; }
    [[nodiscard]] std::string file() const { return (folder() / "tqm_gfx_util.ini").string(); }

    [[nodiscard]] bool has_file() const { return std::filesystem::exists(file()); }
    [[nodiscard]] std::string text() const { return text_of(file()); }
    void write(std::string_view text) const { write_to(file(), text); }

    static std::string text_of(const std::filesystem::path& path) {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static void write_to(const std::filesystem::path& path, std::string_view text) {
        std::ofstream(path, std::ios::binary) << text;
    }

private:
    std::filesystem::path root_;
};

template<std::size_t N>
void set_field(char (&field)[N], std::string_view text) {
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), std::min(text.size(), N));
}

inline _UTIL_GPU_PREFERENCE_NODE entry(std::string_view name, std::string_view full_path, std::int32_t prefer = 0,
                                       std::string_view gpu = "") {
    _UTIL_GPU_PREFERENCE_NODE made{};
    set_field(made.name, name);
    set_field(made.FullPath, full_path);
    set_field(made.PreferGpuName, gpu);
    made.GpuPrefer = prefer;
    return made;
}

} // namespace kt3::tests
