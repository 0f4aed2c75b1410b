// SPDX-License-Identifier: MIT
#pragma once
// A machine with one adapter, recorded by hand and selected: the tests of reading calls need neither enumeration nor
// a module.

#include "adapter/chip_table.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/fake_kernel.hpp"
#include "support/log_capture.hpp"
#include "support/owned.hpp"

#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <vector>

namespace kt3::tests {

class OneAdapter {
public:
    static constexpr const char* kBusId = "0000:03:00.0";

    explicit OneAdapter(std::int32_t chip_id = 0x5C00, int card = 0)
        : adapter(kernel.adapter(kBusId, adapter::is_newer_family(chip_id) ? Family::newer : Family::older,
                                 {.device = static_cast<std::uint16_t>(chip_id), .card = card})),
          info_(::open(kernel.real(adapter.node_path(".")).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        record.chip_id[0] = chip_id;
        record.drm_card_idx[0] = card;
        record.gpu_infos[0].info_fd = info_.get();
        record.gpu_infos[0].hwmon_fd = -1;
        std::strcpy(record.gpu_infos[0].bus_id, kBusId);
        LogCapture quiet;
        gpuinfo_select_new_chip(&record);
    }

    OneAdapter& node(std::string_view name, std::string_view text) {
        kernel.file(adapter.node_path(name), text);
        return *this;
    }
    OneAdapter& remove_node(std::string_view name) {
        kernel.remove(adapter.node_path(name));
        return *this;
    }
    // What the driver received since the last call, each as "node: text".
    std::vector<std::string> commands() {
        std::vector<std::string> fresh;
        const auto all = kernel.writes();
        for (; seen_ < all.size(); ++seen_) {
            fresh.push_back(std::filesystem::path(all[seen_].path).filename().string() + ": " + all[seen_].text);
        }
        return fresh;
    }

    FakeKernel kernel;
    Adapter adapter;
    find_adapter record = {};

private:
    support::Fd info_;
    std::size_t seen_ = 0;
};

} // namespace kt3::tests
