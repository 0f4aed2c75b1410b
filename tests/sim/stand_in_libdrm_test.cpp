// SPDX-License-Identifier: MIT
// The stand-in libdrm: reached under the bare name, and able to do what the real one does not.

#include "support/stand_in_libdrm.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <xf86drm.h>

namespace {

using namespace kt3::tests;

struct Libdrm {
    template<typename Function>
    Function* entry(const char* name) const {
        return reinterpret_cast<Function*>(::dlsym(handle.get(), name));
    }
    std::unique_ptr<void, int (*)(void*)> handle{::dlopen("libdrm.so", RTLD_LAZY), ::dlclose};
};

bool offers(const char* variant, const char* name) {
    const StandInLibdrm stand_in(variant);
    return Libdrm().entry<void>(name) != nullptr;
}

TEST(StandInLibdrm, AnswersUnderTheBareName) {
    const StandInLibdrm stand_in("whole");
    EXPECT_NE(Libdrm().entry<int()>("kt3_standin_devices_held"), nullptr);
}

TEST(StandInLibdrm, RefusesToStandBehindTheRealOne) {
    EXPECT_EXIT(
        {
            const Libdrm real;
            try {
                const StandInLibdrm late("whole");
            } catch (const std::runtime_error&) {
                std::_Exit(7);
            }
            std::_Exit(0);
        },
        ::testing::ExitedWithCode(7), "");
}

TEST(StandInLibdrm, LeavesEntryPointsOut) {
    EXPECT_TRUE(offers("whole", "drmGetDevices2"));
    EXPECT_FALSE(offers("devices-only", "drmGetDevices2"));
    EXPECT_TRUE(offers("devices-only", "drmGetDevices"));
    EXPECT_FALSE(offers("without-devices", "drmGetDevices"));
    EXPECT_FALSE(offers("without-free-devices", "drmFreeDevices"));
    EXPECT_FALSE(offers("without-version", "drmGetVersion"));
    EXPECT_FALSE(offers("without-free-version", "drmFreeVersion"));
}

TEST(StandInLibdrm, ListsWhatItWasTold) {
    const StandInLibdrm stand_in("whole", "pci=0001:03:1f.7,7a52:5c0e,2 pci=0000:04:00.0,10de:2204,3 pci=0:5:0.0,1:2,4 "
                                          "usb=1 null=2 nodes=0,1 first=2 second=5");
    const Libdrm drm;
    const auto get = drm.entry<int(std::uint32_t, drmDevicePtr*, int)>("drmGetDevices2");
    EXPECT_EQ(get(0, nullptr, 0), 2);
    drmDevicePtr devices[3] = {};
    EXPECT_EQ(get(0, devices, 3), 5);
    EXPECT_EQ(devices[0]->bustype, DRM_BUS_PCI);
    EXPECT_EQ(devices[0]->businfo.pci->domain, 1);
    EXPECT_EQ(devices[0]->businfo.pci->dev, 0x1F);
    EXPECT_EQ(devices[0]->businfo.pci->func, 7);
    EXPECT_EQ(devices[0]->deviceinfo.pci->device_id, 0x5C0E);
    EXPECT_EQ(devices[0]->available_nodes, 1 << DRM_NODE_PRIMARY);
    EXPECT_STREQ(devices[0]->nodes[DRM_NODE_PRIMARY], "/dev/dri/card2");
    EXPECT_STREQ(devices[0]->nodes[DRM_NODE_RENDER], "/dev/dri/renderD130");
    EXPECT_EQ(devices[1]->bustype, DRM_BUS_USB);
    EXPECT_EQ(devices[2], nullptr);
    EXPECT_EQ(stand_in.devices_held(), 2);
    drm.entry<void(drmDevicePtr*, int)>("drmFreeDevices")(devices, 3);
    EXPECT_EQ(stand_in.devices_held(), 0);
}

TEST(StandInLibdrm, CountsVersionsAndRefusesThem) {
    StandInLibdrm stand_in("whole");
    const Libdrm drm;
    const drmVersionPtr version = drm.entry<drmVersionPtr(int)>("drmGetVersion")(0);
    EXPECT_NE(version, nullptr);
    EXPECT_EQ(stand_in.versions_held(), 1);
    drm.entry<void(drmVersionPtr)>("drmFreeVersion")(version);
    EXPECT_EQ(stand_in.versions_held(), 0);
    stand_in.describe("no-version");
    EXPECT_EQ(drm.entry<drmVersionPtr(int)>("drmGetVersion")(0), nullptr);
}

} // namespace
