// SPDX-License-Identifier: MIT
#pragma once
// A "dmidecode" in front of the path that prints a given text and counts its runs.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace kt3::tests {

class FakeDmidecode {
public:
    explicit FakeDmidecode(const std::string& text) : FakeDmidecode() {
        std::ofstream(folder_ / "text") << text;
        script("echo \"$*\" >> " + (folder_ / "runs").string() + "; cat " + (folder_ / "text").string());
    }
    // The body of the shell script that stands in for the tool.
    static FakeDmidecode running(const std::string& body) {
        FakeDmidecode tool;
        tool.script(body);
        return tool;
    }
    // No such tool, and no other either.
    static FakeDmidecode absent() {
        FakeDmidecode tool;
        ::setenv("PATH", tool.folder_.c_str(), 1);
        return tool;
    }
    ~FakeDmidecode() {
        std::error_code ignored;
        if (!folder_.empty()) {
            std::filesystem::remove_all(folder_, ignored);
        }
    }
    FakeDmidecode(FakeDmidecode&& other) noexcept : folder_(std::exchange(other.folder_, {})) {}
    FakeDmidecode(const FakeDmidecode&) = delete;
    FakeDmidecode& operator=(const FakeDmidecode&) = delete;
    FakeDmidecode& operator=(FakeDmidecode&&) = delete;

    // The arguments of every run, a line each.
    [[nodiscard]] std::string runs() const {
        std::ifstream in(folder_ / "runs");
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    FakeDmidecode() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-tool-XXXXXX").string();
        folder_ = ::mkdtemp(pattern.data());
        ::setenv("PATH", (folder_.string() + ":/usr/bin:/bin").c_str(), 1);
    }
    void script(const std::string& body) const {
        const auto tool = folder_ / "dmidecode";
        std::ofstream(tool) << "#!/bin/sh\n" << body << "\n";
        std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    }
    std::filesystem::path folder_;
};

// One populated device as the tool prints it.
inline std::string memory_device(const std::string& width, const std::string& channel, const std::string& type) {
    return "Memory Device\n\tTotal Width: " + width +
           " bits\n\tData Width: 64 bits\n\tSize: 8 GB\n\tBank Locator: P0 CHANNEL " + channel + "\n\tType: " + type +
           "\n\tType Detail: Synchronous\n\tConfigured Memory Speed: 3200 MT/s\n\n";
}

} // namespace kt3::tests
