// SPDX-License-Identifier: MIT
// The real libdrm enumerates the simulated devices.

#include "sim/enumeration.hpp"
#include "support/fake_kernel.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <xf86drm.h>

namespace {

using namespace kt3::tests;
using ::testing::ElementsAre;

TEST(Libdrm, FindsNoDeviceInAnEmptyMachine) {
    FakeKernel kernel;
    kernel.directory("/dev/dri");
    EXPECT_TRUE(enumerate_with_libdrm().empty());
}

TEST(Libdrm, FindsAnAdapterWithItsPlaceIdentityAndNodes) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.1", Family::newer);
    const auto seen = enumerate_with_libdrm();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].bus, "0000:03:00.1");
    EXPECT_EQ(seen[0].vendor, 0x7A52u);
    EXPECT_EQ(seen[0].device, 0x5C0Eu);
    EXPECT_EQ(seen[0].primary, "/dev/dri/card0");
    EXPECT_EQ(seen[0].render, "/dev/dri/renderD128");
}

TEST(Libdrm, ListsDevicesInCardOrderHoweverTheyWereAdded) {
    FakeKernel kernel;
    kernel.adapter("0000:0a:00.0", Family::older, {.card = 10});
    kernel.adapter("0000:03:00.0", Family::newer, {.card = 2});
    kernel.foreign_gpu("0000:01:00.0", 0x10DE, {.card = 1});
    std::vector<std::string> primary;
    for (const SeenDevice& device : enumerate_with_libdrm()) {
        primary.push_back(device.primary);
    }
    EXPECT_THAT(primary, ElementsAre("/dev/dri/card1", "/dev/dri/card2", "/dev/dri/card10"));
}

TEST(Libdrm, SeesTheChosenDeviceAndTheForeignVendor) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::older, {.device = 0x4B04});
    kernel.foreign_gpu("0001:04:00.0", 0x1002);
    const auto seen = enumerate_with_libdrm();
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[0].vendor, 0x1F41u);
    EXPECT_EQ(seen[0].device, 0x4B04u);
    EXPECT_EQ(seen[1].vendor, 0x1002u);
    EXPECT_EQ(seen[1].bus, "0001:04:00.0");
}

TEST(Libdrm, ReadsTheDriverVersionThatTheNodeTells) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).driver_version("wy 2.3.4 20240612 A graphics driver\n");
    const int node = ::open("/dev/dri/renderD128", O_RDWR | O_CLOEXEC);
    ASSERT_GE(node, 0);
    drmVersionPtr version = ::drmGetVersion(node);
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(version->version_major, 2);
    EXPECT_EQ(version->version_minor, 3);
    EXPECT_EQ(version->version_patchlevel, 4);
    EXPECT_STREQ(version->name, "wy");
    EXPECT_STREQ(version->date, "20240612");
    EXPECT_STREQ(version->desc, "A graphics driver");
    ::drmFreeVersion(version);
    ::close(node);
}

TEST(Libdrm, ReadsAVersionFromANodeThatTellsNothing) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer);
    const int node = ::open("/dev/dri/card0", O_RDWR | O_CLOEXEC);
    drmVersionPtr version = ::drmGetVersion(node);
    ASSERT_NE(version, nullptr);
    EXPECT_STREQ(version->name, "kt3sim");
    ::drmFreeVersion(version);
    ::close(node);
}

TEST(Libdrm, GetsNoVersionFromADriverThatRefuses) {
    FakeKernel kernel;
    kernel.adapter("0000:03:00.0", Family::newer).driver_version("refused\n");
    const int node = ::open("/dev/dri/card0", O_RDWR | O_CLOEXEC);
    ASSERT_GE(node, 0);
    EXPECT_EQ(::drmGetVersion(node), nullptr);
    ::close(node);
}

} // namespace
