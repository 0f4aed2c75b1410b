// SPDX-License-Identifier: MIT
#pragma once
// A folder for the files of one benchmark, removed with the object.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace kt3::bench {

// For files that are to cost no more than their system calls: a folder in memory where there is one.
inline std::filesystem::path memory_folder() {
    const std::filesystem::path shared = "/dev/shm";
    return std::filesystem::exists(shared) ? shared : std::filesystem::temp_directory_path();
}

class ScratchFolder {
public:
    explicit ScratchFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = (parent / "kt3-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path_ = pattern;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    // Makes the file `name` below the folder, and the folders on the way; returns its path.
    std::string write(const std::string& name, const std::string& text) const {
        const std::filesystem::path file = path_ / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << text;
        return file.string();
    }

private:
    std::filesystem::path path_;
};

} // namespace kt3::bench
