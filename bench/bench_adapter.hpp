// SPDX-License-Identifier: MIT
#pragma once
// A directory of driver nodes and a driver page in memory-backed files, bound to the library without libdrm.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace kt3::bench {

class BenchAdapter {
public:
    BenchAdapter() {
        std::string pattern = "/dev/shm/kt3-bench-XXXXXX";
        root_ = ::mkdtemp(pattern.data());
        set_print_callback(nullptr);
        record.chip_id[0] = 0x5C00;
        std::filesystem::create_directories(root_ / "nodes");
        record.gpu_infos[0].info_fd = ::open((root_ / "nodes").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        gpuinfo_select_new_chip(&record);
    }
    ~BenchAdapter() {
        ::close(record.gpu_infos[0].info_fd);
        std::filesystem::remove_all(root_);
    }
    BenchAdapter(const BenchAdapter&) = delete;
    BenchAdapter& operator=(const BenchAdapter&) = delete;

    void node(const char* name, const char* text) const { std::ofstream(root_ / "nodes" / name) << text; }
    // Puts a page in place of /proc/gpuinfo_0.
    void proc_page(const char* text) const {
        std::filesystem::create_directories(root_ / "proc");
        std::ofstream(root_ / "proc" / "gpuinfo_0") << text;
        ::setenv("KT3_SIM_ROOT", root_.c_str(), 1);
    }
    [[nodiscard]] int directory() const { return record.gpu_infos[0].info_fd; }

    find_adapter record = {};

private:
    std::filesystem::path root_;
};

} // namespace kt3::bench
