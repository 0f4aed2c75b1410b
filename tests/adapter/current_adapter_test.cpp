// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/log_capture.hpp"

#include <cstring>
#include <gmock/gmock.h>

using kt3::tests::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

find_adapter two_slots() {
    find_adapter record{};
    std::strcpy(record.name[0], "Gpu0:QN R-4480");
    std::strcpy(record.name[1], "Gpu1:Vorla-55F0");
    std::strcpy(record.gpu_infos[0].bus_id, "0000:01:00.0");
    std::strcpy(record.gpu_infos[1].bus_id, "0000:03:00.0");
    return record;
}

} // namespace

TEST(SelectNewChip, PointsIntoTheClientsRecordFormatsThePathAndLogsTheSlot) {
    find_adapter record = two_slots();
    record.current_index = 1;
    LogCapture log;
    EXPECT_EQ(gpuinfo_select_new_chip(&record), 0);
    EXPECT_EQ(pCurrent_gpu_infos, &record.gpu_infos[1]);
    EXPECT_STREQ(sys_bus_pci_devices_BUSID_path, "/sys/bus/pci/devices/0000:03:00.0");
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gpuinfo_select_new_chip index: 1, name: Gpu1:Vorla-55F0 \n"));
}

TEST(SelectNewChip, DoesNotCareHowManyChipsWereFound) {
    find_adapter record{};
    record.current_index = 2;
    EXPECT_EQ(gpuinfo_select_new_chip(&record), 0);
    EXPECT_EQ(pCurrent_gpu_infos, &record.gpu_infos[2]);
    EXPECT_STREQ(sys_bus_pci_devices_BUSID_path, "/sys/bus/pci/devices/");
}

TEST(SelectNewChip, TouchesNothingForAnIndexThatIsNoSlot) {
    find_adapter record = two_slots();
    gpuinfo_select_new_chip(&record);
    LogCapture log;
    for (const std::int32_t index : {-1, 3, INT32_MIN, INT32_MAX}) {
        record.current_index = index;
        EXPECT_EQ(gpuinfo_select_new_chip(&record), 0);
    }
    EXPECT_EQ(gpuinfo_select_new_chip(nullptr), 0);
    EXPECT_EQ(pCurrent_gpu_infos, &record.gpu_infos[0]);
    EXPECT_STREQ(sys_bus_pci_devices_BUSID_path, "/sys/bus/pci/devices/0000:01:00.0");
    EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST(SelectNewChip, BoundsFieldsThatAClientLeftUnterminated) {
    find_adapter record{};
    std::memset(record.name[0], 'n', sizeof record.name[0]);
    std::memset(record.gpu_infos[0].bus_id, 'b', sizeof record.gpu_infos[0].bus_id);
    LogCapture log;
    gpuinfo_select_new_chip(&record);
    EXPECT_EQ(sys_bus_pci_devices_BUSID_path, "/sys/bus/pci/devices/" + std::string(20, 'b'));
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("gpuinfo_select_new_chip index: 0, name: " + std::string(20, 'n') + " \n"));
}
