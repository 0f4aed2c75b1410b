// SPDX-License-Identifier: MIT
#pragma once
// A kernel made of files: a temporary folder that the path shim puts in place of the GPU-related parts of
// /sys, /dev/dri and /proc for the life of the object. One per test.
//
//     FakeKernel kernel;
//     kernel.adapter("0000:03:00.0", Family::newer).node("eclk", "800\n").hwmon("temp1_input", "45 *C\n");
//     kernel.foreign_gpu("0000:01:00.0", 0x10DE);

#include "driver_writes.hpp"
#include "machine.hpp"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kt3::tests {

using sim::Adapter;
using sim::AdapterOptions;
using sim::Family;

class FakeKernel {
public:
    FakeKernel() : machine_(temporary_folder()) { ::setenv("KT3_SIM_ROOT", root().c_str(), 1); }
    ~FakeKernel() {
        ::unsetenv("KT3_SIM_ROOT");
        std::error_code ignored;
        std::filesystem::remove_all(root(), ignored);
    }
    FakeKernel(const FakeKernel&) = delete;
    FakeKernel& operator=(const FakeKernel&) = delete;

    // Adapters get the cards 0, 1, 2 in the order in which they are added, unless the options say otherwise. They
    // come with their PCI identity, DRM nodes and empty driver directories; the test adds what the driver publishes.
    Adapter adapter(std::string_view bdf, Family family, AdapterOptions options = {}) {
        return machine_.adapter(bdf, family, options);
    }
    Adapter foreign_gpu(std::string_view bdf, std::uint16_t vendor, AdapterOptions options = {}) {
        return machine_.foreign_gpu(bdf, vendor, options);
    }
    sim::Machine& machine() { return machine_; }

    // Where an absolute path of the simulated machine really is.
    [[nodiscard]] std::filesystem::path real(std::string_view path) const { return machine_.real(path); }
    [[nodiscard]] const std::filesystem::path& root() const { return machine_.root; }

    // Creates the file with its folders, or replaces its text.
    FakeKernel& file(std::string_view path, std::string_view text) {
        sim::settle_driver_writes(root());
        machine_.file(path, text);
        return *this;
    }
    FakeKernel& directory(std::string_view path) {
        machine_.directory(path);
        return *this;
    }
    // The file or folder is there, but nobody may look at it.
    FakeKernel& refuse(std::string_view path) {
        machine_.refuse(path);
        return *this;
    }
    FakeKernel& remove(std::string_view path) {
        std::filesystem::remove_all(real(path));
        return *this;
    }
    // What a reader sees now, the effect of every finished write to a driver node included.
    [[nodiscard]] std::string text(std::string_view path) const {
        sim::settle_driver_writes(root());
        std::ifstream in(real(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    // Every text that the drivers received so far, in order.
    [[nodiscard]] std::vector<sim::DriverWrite> writes() const {
        sim::settle_driver_writes(root());
        return sim::driver_writes(root());
    }
    // Those to one node of one adapter, as written.
    [[nodiscard]] std::vector<std::string> writes_to(const Adapter& adapter, std::string_view node) const {
        std::vector<std::string> texts;
        for (const sim::DriverWrite& write : writes()) {
            if (write.path == adapter.node_path(node)) {
                texts.push_back(write.text);
            }
        }
        return texts;
    }

private:
    static std::filesystem::path temporary_folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        return pattern;
    }

    sim::Machine machine_;
};

} // namespace kt3::tests
