#pragma once
// A kernel made of files: a temporary folder that the path shim puts in place of the GPU-related parts of
// /sys, /dev/dri and /proc for the life of the object. One per test.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kt3::tests {

class FakeKernel {
public:
    FakeKernel() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        root_ = pattern;
        ::setenv("KT3_SIM_ROOT", root_.c_str(), 1);
    }
    ~FakeKernel() {
        ::unsetenv("KT3_SIM_ROOT");
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
    FakeKernel(const FakeKernel&) = delete;
    FakeKernel& operator=(const FakeKernel&) = delete;

    // Where an absolute path of the simulated machine really is.
    [[nodiscard]] std::filesystem::path real(std::string_view path) const { return root_.string() + std::string(path); }
    [[nodiscard]] const std::filesystem::path& root() const { return root_; }

    // Creates the file with its folders, or replaces its text.
    FakeKernel& file(std::string_view path, std::string_view text) {
        std::filesystem::create_directories(real(path).parent_path());
        std::ofstream(real(path), std::ios::binary) << text;
        return *this;
    }
    FakeKernel& directory(std::string_view path) {
        std::filesystem::create_directories(real(path));
        return *this;
    }
    FakeKernel& remove(std::string_view path) {
        std::filesystem::remove_all(real(path));
        return *this;
    }
    [[nodiscard]] std::string text(std::string_view path) const {
        std::ifstream in(real(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

private:
    std::filesystem::path root_;
};

} // namespace kt3::tests
