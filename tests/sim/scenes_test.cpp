// SPDX-License-Identifier: MIT
// Every scene enumerates with the real libdrm and publishes what drivers publish.

#include "scenes/scenes.hpp"
#include "sim/enumeration.hpp"
#include "support/driver_node_names.hpp"
#include "support/fake_kernel.hpp"

#include <cerrno>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <span>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Lt;
using ::testing::SizeIs;

void build(FakeKernel& kernel, std::string_view name) {
    const kt3::sim::Scene* scene = kt3::sim::find_scene(name);
    ASSERT_NE(scene, nullptr) << name;
    kt3::sim::build_scene(*scene, kernel.machine());
}

std::vector<unsigned> devices_of(std::string_view scene) {
    FakeKernel kernel;
    build(kernel, scene);
    std::vector<unsigned> devices;
    for (const SeenDevice& device : enumerate_with_libdrm()) {
        devices.push_back(device.device);
    }
    return devices;
}

TEST(ThreeGpusScene, HasThreeAdaptersWithMovingCounters) {
    EXPECT_THAT(devices_of("three-gpus"), ElementsAre(0x5C0E, 0x5C01, 0x5C05));
}

TEST(SuspendedScene, HasAnAdapterThatSleeps) {
    FakeKernel kernel;
    build(kernel, "suspended");
    EXPECT_EQ(kernel.text("/sys/bus/pci/devices/0000:03:00.0/power/runtime_status"), "active\n");
    EXPECT_EQ(kernel.text("/sys/bus/pci/devices/0000:07:00.0/power/runtime_status"), "suspended\n");
}

TEST(LostAdapterScene, AnswersForSomeTimeOnly) {
    FakeKernel kernel;
    build(kernel, "lost-adapter");
    const char* node = "/sys/bus/pci/devices/0000:03:00.0/wy_info/eclk";
    const int first = ::open(node, O_RDONLY | O_CLOEXEC);
    EXPECT_GE(first, 0);
    ::close(first);
    int error = 0;
    for (int reading = 0; reading < 1000 && error == 0; ++reading) {
        errno = 0;
        const int file = ::open(node, O_RDONLY | O_CLOEXEC);
        error = file < 0 ? errno : 0;
        ::close(file);
    }
    EXPECT_EQ(error, ENODEV);
}

TEST(ContainersScene, SaysInWhichGroupEachProcessIs) {
    FakeKernel kernel;
    build(kernel, "containers");
    EXPECT_THAT(kernel.text("/proc/42001/cgroup"), HasSubstr("0::/system.slice/docker-d0c4e1ab5e5500"));
    EXPECT_THAT(kernel.text("/proc/42005/cgroup"), HasSubstr("pod0a1b2c3d_4e5f_6071_8293_a4b5c6d7e8f9"));
    EXPECT_THAT(kernel.text("/proc/42008/cgroup"), HasSubstr("job_1234"));
    EXPECT_THAT(kernel.text("/proc/42005/status"), HasSubstr("Name:\tserve\nState:\tS\n"));
    EXPECT_THAT(kernel.text("/proc/42005/status"), HasSubstr("Uid:\t65534\t"));
    EXPECT_THAT(kernel.text("/proc/42005/stat"), HasSubstr("42005 (serve) S 1 "));
}

TEST(OrphansScene, HasProcessesOfEveryUnhealthyState) {
    FakeKernel kernel;
    build(kernel, "orphans");
    EXPECT_THAT(kernel.text("/proc/43002/status"), HasSubstr("State:\tZ\n"));
    EXPECT_THAT(kernel.text("/proc/43003/status"), HasSubstr("State:\tT\n"));
    EXPECT_THAT(kernel.text("/proc/43004/status"), HasSubstr("State:\tD\n"));
}

TEST(OrphansScene, HasAPidThatBelongsToAProcessLaterThanItsDevice) {
    FakeKernel kernel;
    build(kernel, "orphans");
    constexpr std::int64_t kStarted = kt3::sim::KernelFacts().boot_time + 900'000 / kt3::sim::kTicksPerSecond;
    EXPECT_THAT(kernel.text("/proc/43005/stat"), HasSubstr(" 900000 "));
    struct stat page {};
    ASSERT_EQ(::stat("/sys/kernel/debug/dri/0/wy/devices/21/info", &page), 0);
    EXPECT_THAT(page.st_mtime, Lt(kStarted));
}

TEST(Scenes, SayInWhichPidNamespaceProgramsAre) {
    FakeKernel kernel;
    const auto name_space = [&](std::string_view scene) {
        build(kernel, scene);
        return std::filesystem::read_symlink("/proc/self/ns/pid").string();
    };
    EXPECT_EQ(name_space("orphans"), "pid:[4026531836]");
    EXPECT_EQ(name_space("in-container"), "pid:[4026532999]");
    EXPECT_THAT(kernel.text("/proc/stat"), HasSubstr("\nbtime 1767225600\n"));
}

TEST(Scenes, HaveDistinctNamesAndOneLineEach) {
    std::set<std::string_view> names;
    for (const auto& scene : kt3::sim::scenes()) {
        EXPECT_TRUE(names.insert(scene.name).second) << scene.name;
        EXPECT_FALSE(scene.description.empty());
        EXPECT_EQ(scene.description.find('\n'), std::string_view::npos);
    }
    EXPECT_EQ(kt3::sim::find_scene("no such scene"), nullptr);
}

TEST(Scenes, ShowTheirDevicesToLibdrm) {
    EXPECT_THAT(devices_of("idle"), ElementsAre(0x5C0E));
    EXPECT_THAT(devices_of("two-families"), ElementsAre(0x5C0E, 0x5C01));
    EXPECT_THAT(devices_of("demo"), ElementsAre(0x5C0E, 0x5C01, 0x2204));
    EXPECT_THAT(devices_of("foreign-gpu"), ElementsAre(0x5C0E, 0x2204));
    EXPECT_THAT(devices_of("four-devices"), ElementsAre(0x5C0E, 0x5C01, 0x5C05, 0x73BF));
    EXPECT_THAT(devices_of("four-gpus"), ElementsAre(0x5C0E, 0x5C01, 0x5C05, 0x5C01));
    EXPECT_THAT(devices_of("no-gpu"), IsEmpty());
    EXPECT_THAT(devices_of("old-family"), ElementsAre(0x5C01));
    EXPECT_THAT(devices_of("missing-nodes"), ElementsAre(0x5C0E));
    EXPECT_THAT(devices_of("no-rights"), ElementsAre(0x5C0E));
    EXPECT_THAT(devices_of("no-device-rights"), ElementsAre(0x5C0E));
    EXPECT_THAT(devices_of("game"), ElementsAre(0x5C0E));
    EXPECT_THAT(devices_of("vm-small"), ElementsAre(0x5C01));
}

TEST(IdleScene, PublishesEveryNodeOfTheDriverWithinAPageBuffer) {
    FakeKernel kernel;
    build(kernel, "idle");
    for (const char* node : std::span(kt3::tests::kDriverNodeNames).first<30>()) { // the last one nobody publishes
        EXPECT_THAT(kernel.text(std::string("/sys/bus/pci/devices/0000:03:00.0/wy_info/") + node),
                    AllOf(HasSubstr("\n"), SizeIs(Lt(512u))))
            << node;
    }
}

TEST(IdleScene, PublishesASummaryPageThatFitsItsBuffer) {
    FakeKernel kernel;
    build(kernel, "idle");
    const std::string page = kernel.text("/proc/gpuinfo_0");
    EXPECT_LT(page.size(), 1024u);
    for (const char* key :
         {"Device ID : 0x5c0e", "Driver Version : ", "Firmware Version : ", "Firmware Name : ", "Pixel Fillrate : ",
          "Texture Fillrate : ", "Memory Clock Freq : ", "HDMI Max Display Resolution : ",
          "DP Max Display Resolution : ", "VGA Max Display Resolution : ", "GPU Memory Usage : ", "GPU Use Rate(3d) : ",
          "GPU Use Rate(video) : ", "GPU Use Rate(vpp) : ", "Realtime Temperature : ", "Bus Type : PCIE",
          "Max Display Port : ", "Support Display Type :"}) {
        EXPECT_THAT(page, HasSubstr(key));
    }
}

TEST(IdleScene, PublishesTheControlRegistersUnderTheirKeys) {
    FakeKernel kernel;
    build(kernel, "idle");
    const std::string nodes = "/sys/bus/pci/devices/0000:03:00.0/wy_info/";
    for (const char* engine : {"gfx", "vcp0", "vcp1", "vpp"}) {
        for (const char* parameter : {"checksize", "h_threshold", "l_threshold"}) {
            EXPECT_THAT(kernel.text(nodes + "dvfs_control_params"),
                        HasSubstr(std::string(engine) + "_dvfs_" + parameter + ":0x"));
        }
    }
    for (const char* key : {"pg_3d:0x", "cg_3d:0x", "pg_vcp:0x", "cg_vcp:0x", "pg_vpp:0x", "cg_vpp:0x"}) {
        EXPECT_THAT(kernel.text(nodes + "pwm_wait_count"), HasSubstr(key));
    }
    EXPECT_THAT(kernel.text(nodes + "dvfs_clk_voltage"), AllOf(HasSubstr("gfx_clock:"), HasSubstr("gfx_voltage:")));
}

TEST(IdleScene, TellsTemperatureLinkWidthConnectorsAndMemoryModules) {
    FakeKernel kernel;
    build(kernel, "idle");
    const std::string adapter = "/sys/bus/pci/devices/0000:03:00.0";
    EXPECT_EQ(kernel.text(adapter + "/hwmon/hwmon0/temp1_input"), "41 *C\n");
    EXPECT_EQ(kernel.text(adapter + "/current_link_width"), "16\n");
    EXPECT_EQ(kernel.text(adapter + "/drm/card0/card0-HDMI-A-1/status"), "connected\n");
    EXPECT_THAT(kernel.text("/sys/kernel/debug/dri/0/wy/info"), HasSubstr("VA=1"));
    EXPECT_THAT(kernel.text("/bin-data/dmidecode-memory"), HasSubstr("Configured Memory Speed: 2666 MT/s"));
}

TEST(NoRightsScene, ShowsNodesThatCannotBeRead) {
    FakeKernel kernel;
    build(kernel, "no-rights");
    const std::string eclk = "/sys/bus/pci/devices/0000:03:00.0/wy_info/eclk";
    EXPECT_EQ(::access(eclk.c_str(), F_OK), 0);
    errno = 0;
    EXPECT_EQ(::open(eclk.c_str(), O_RDONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(::access("/sys/kernel/debug/dri/0/wy/info", F_OK), -1);
    EXPECT_EQ(::access("/dev/dri/renderD128", R_OK | W_OK), 0);
}

TEST(NoDeviceRightsScene, ShowsDeviceNodesThatCannotBeOpened) {
    FakeKernel kernel;
    build(kernel, "no-device-rights");
    EXPECT_EQ(::open("/dev/dri/renderD128", O_RDWR | O_CLOEXEC), -1);
    EXPECT_EQ(::open("/dev/dri/card0", O_RDWR | O_CLOEXEC), -1);
}

} // namespace
