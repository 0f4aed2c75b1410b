// SPDX-License-Identifier: MIT
#pragma once
// One adapter record whose directories lie in a fake kernel, selected as the current adapter without libdrm.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/fake_kernel.hpp"

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace kt3::tests {

class SelectedAdapter {
public:
    SelectedAdapter() {
        kernel_.directory(kInfo).directory(kHwmon);
        gpu_infos& adapter = record_.gpu_infos[0];
        std::snprintf(adapter.bus_id, sizeof adapter.bus_id, "0000:03:00.0");
        adapter.info_fd = ::open(kernel_.real(kInfo).c_str(), O_RDONLY | O_CLOEXEC);
        adapter.hwmon_fd = ::open(kernel_.real(kHwmon).c_str(), O_RDONLY | O_CLOEXEC);
        gpuinfo_select_new_chip(&record_);
    }
    ~SelectedAdapter() {
        ::close(record_.gpu_infos[0].info_fd);
        ::close(record_.gpu_infos[0].hwmon_fd);
    }
    SelectedAdapter(const SelectedAdapter&) = delete;
    SelectedAdapter& operator=(const SelectedAdapter&) = delete;

    SelectedAdapter& node(const std::string& name, std::string_view text) {
        kernel_.file(kInfo + ("/" + name), text);
        return *this;
    }
    SelectedAdapter& hwmon(const std::string& name, std::string_view text) {
        kernel_.file(kHwmon + ("/" + name), text);
        return *this;
    }
    [[nodiscard]] std::string node_text(const std::string& name) const { return kernel_.text(kInfo + ("/" + name)); }
    [[nodiscard]] FakeKernel& kernel() { return kernel_; }
    [[nodiscard]] find_adapter& record() { return record_; }

private:
    inline static const std::string kInfo = "/sys/bus/pci/devices/0000:03:00.0/wy_info";
    inline static const std::string kHwmon = "/sys/bus/pci/devices/0000:03:00.0/hwmon/hwmon0";
    FakeKernel kernel_;
    find_adapter record_{};
};

} // namespace kt3::tests
