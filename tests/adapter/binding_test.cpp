// SPDX-License-Identifier: MIT
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/fake_kernel.hpp"
#include "support/log_capture.hpp"
#include "support/offered_module.hpp"

#include <cstring>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

using kt3::tests::Adapter;
using kt3::tests::FakeKernel;
using kt3::tests::Family;
using kt3::tests::LogCapture;
using kt3::tests::OfferedModule;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

constexpr std::int32_t kVorla55F0 = 0x5C0E;

std::string module_file(const std::string& variant, const std::string& file) {
    return std::string(KT3_TEST_MODULES) + "/" + variant + "/" + file;
}

constexpr const char* kVorlaModule = "libvorlakeinterface_v2.so.0.0.0";

// A record with one filled slot, as enumeration leaves it.
find_adapter record_of(std::int32_t chip_id, std::int32_t card = 0, std::int32_t slot = 0) {
    find_adapter record{};
    record.chip_num = 1;
    record.chip_id[slot] = chip_id;
    record.drm_fd[slot] = 333;
    record.drm_card_idx[slot] = card;
    record.current_index = slot;
    for (gpu_infos& adapter : record.gpu_infos) {
        adapter.info_fd = -1;
        adapter.hwmon_fd = -1;
    }
    return record;
}

// The only adapter of a machine, enumerated, with a usage switch to watch.
struct Machine {
    FakeKernel kernel;
    Adapter adapter;
    find_adapter record{};

    explicit Machine(std::uint16_t device = kVorla55F0)
        : adapter(kernel.adapter("0000:03:00.0", device < 0x5C00 ? Family::older : Family::newer, {.device = device})) {
        adapter.node("enable_usage", "x");
        record.vendor_filter = 0xFFFF;
        gfx_find_adapter(&record);
    }
    [[nodiscard]] std::string usage_switch() const { return kernel.text(adapter.node_path("enable_usage")); }
};

// Ends the process, with 0 when the binding failed for want of memory and said so.
[[noreturn]] void bind_where_memory_is_short() {
#if !defined(__SANITIZE_ADDRESS__)
    rlimit limit = {};
    ::getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = 2UL << 30;
    ::setrlimit(RLIMIT_AS, &limit);
#endif
    OfferedModule module(module_file("gfx", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    LogCapture log;
    const bool failed = gfx_global_init(&record) == -1 && pdev == nullptr;
    ::_exit(failed && LogCapture::lines().back() == "pdev alloc mem fail.\n " ? 0 : 1);
}

} // namespace

TEST(GlobalInit, BindsTheSlotAndCreatesTheDeviceObject) {
    Machine machine;
    OfferedModule module(module_file("gfx", kVorlaModule));
    machine.record.IS_VA_driver[0] = 1;
    EXPECT_EQ(gfx_global_init(&machine.record), kVorla55F0);
    EXPECT_EQ(__perf_event_fd, machine.record.drm_fd[0]);
    EXPECT_NE(pdev, nullptr);
    EXPECT_EQ(pCurrent_gpu_infos, &machine.record.gpu_infos[0]);
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/0/wy");
    EXPECT_STREQ(sys_bus_pci_devices_BUSID_path, "/sys/bus/pci/devices/0000:03:00.0");
    EXPECT_EQ(module.object<std::int32_t>("kt3_test_module_queries"), 1);
    EXPECT_EQ(module.object<std::int32_t>("kt3_test_module_descriptor"), machine.record.drm_fd[0]);
    EXPECT_EQ(machine.usage_switch(), "1");
    EXPECT_EQ(gfx_global_exit(0), 0);
}

TEST(GlobalInit, LogsTheSelectionAndThenThePreferences) {
    Machine machine;
    OfferedModule module(module_file("gfx", kVorlaModule));
    LogCapture log;
    gfx_global_init(&machine.record);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("gpuinfo_select_new_chip index: 0, name: Gpu0:Vorla-55F0 \n",
                                                 "initGPUPreference_config.\n "));
    gfx_global_exit(7);
}

TEST(GlobalInit, TheLastChipLoadsItsOwnModuleAndFormatsThePathWithTheCardNumber) {
    OfferedModule module(module_file("gfx", "libdrm_vorla2.so.0.0.0"));
    find_adapter record = record_of(0x5C05, 1);
    EXPECT_EQ(gfx_global_init(&record), 0x5C05);
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/1/wy");
    EXPECT_EQ(module.object<std::int32_t>("kt3_test_module_descriptor"), 333);
    gfx_global_exit(0);
}

TEST(GlobalInit, TakesTheSecondModuleWhenTheFirstIsAbsent) {
    OfferedModule second(module_file("gfx", "libdrm_kt3.so.0.0.0"));
    find_adapter record = record_of(0x4B05, 2, 1);
    EXPECT_EQ(gfx_global_init(&record), 0x4B05);
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/2/qn");
    EXPECT_EQ(second.object<std::int32_t>("kt3_test_module_queries"), 1);
    gfx_global_exit(0);
}

TEST(GlobalInit, PrefersTheFirstModuleWhenBothAreThere) {
    OfferedModule first(module_file("gfx", "libkt3keinterface_v2.so.0.0.0"));
    OfferedModule second(module_file("gfx", "libdrm_kt3.so.0.0.0"));
    for (const std::int32_t chip : {0x5C01, 0x4B05}) {
        find_adapter record = record_of(chip);
        EXPECT_EQ(gfx_global_init(&record), chip);
        gfx_global_exit(0);
    }
    EXPECT_EQ(first.object<std::int32_t>("kt3_test_module_queries"), 2);
    EXPECT_EQ(second.object<std::int32_t>("kt3_test_module_queries"), 0);
}

TEST(GlobalInit, FallsBackToTheOlderSizeQuery) {
    OfferedModule module(module_file("qn", "libkeinterface_qn.so.0.0.0"));
    find_adapter record = record_of(0x4B04);
    EXPECT_EQ(gfx_global_init(&record), 0x4B04);
    EXPECT_EQ(module.object<std::int32_t>("kt3_test_module_queries"), 1);
    gfx_global_exit(0);
}

TEST(GlobalInit, MakesTheModulesSymbolsVisibleToTheProcess) {
    OfferedModule module(module_file("gfx", kVorlaModule));
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "kt3_test_module_queries"), nullptr);
    find_adapter record = record_of(kVorla55F0);
    gfx_global_init(&record);
    EXPECT_NE(::dlsym(RTLD_DEFAULT, "kt3_test_module_queries"), nullptr);
    gfx_global_exit(0);
}

TEST(GlobalInit, AnEmptySlotIsAnInvalidChipAndLeavesUsageAccountingAlone) {
    Machine machine;
    find_adapter empty{};
    empty.gpu_infos[0] = machine.record.gpu_infos[0];
    LogCapture log;
    EXPECT_EQ(gfx_global_init(&empty), -1);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("gpuinfo_select_new_chip index: 0, name:  \n", "initGPUPreference_config.\n ",
                            "invalidate chip id. \n ", "open libkeinterface module fail. \n "));
    EXPECT_EQ(machine.usage_switch(), "x");
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "");
    EXPECT_EQ(pdev, nullptr);
}

TEST(GlobalInit, AModuleThatCannotBeOpenedFailsAfterUsageAccountingWasSwitchedOn) {
    Machine machine;
    LogCapture log;
    EXPECT_EQ(gfx_global_init(&machine.record), -1);
    EXPECT_THAT(LogCapture::lines(), Contains("open libkeinterface module fail. \n "));
    EXPECT_THAT(LogCapture::lines(), Not(Contains("invalidate chip id. \n ")));
    EXPECT_EQ(machine.usage_switch(), "1");
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/0/wy");
}

TEST(GlobalInit, AModuleWithoutASizeQueryFails) {
    OfferedModule module(module_file("none", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    LogCapture log;
    EXPECT_EQ(gfx_global_init(&record), -1);
    EXPECT_EQ(LogCapture::lines().back(), "get pfn_gfx_get_struct_size fail. \n ");
    EXPECT_EQ(pdev, nullptr);
    gfx_global_exit(0);
    module.withdraw();
    EXPECT_FALSE(module.is_loaded());
}

TEST(GlobalInit, ASizeOfZeroFails) {
    ::setenv("KT3_TEST_OBJECT_SIZE", "0", 1);
    OfferedModule module(module_file("gfx", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    LogCapture log;
    EXPECT_EQ(gfx_global_init(&record), -1);
    EXPECT_EQ(LogCapture::lines().back(), "get_struct_size err\n ");
    EXPECT_EQ(pdev, nullptr);
    gfx_global_exit(0);
}

TEST(GlobalInit, AFailureAfterTheOldDeviceObjectWasFreedLeavesNone) {
    OfferedModule module(module_file("gfx", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    ASSERT_EQ(gfx_global_init(&record), kVorla55F0);
    ASSERT_NE(pdev, nullptr);
    ::setenv("KT3_TEST_OBJECT_SIZE", "0", 1);
    EXPECT_EQ(gfx_global_init(&record), -1);
    EXPECT_EQ(pdev, nullptr);
    EXPECT_EQ(gfx_global_exit(0), 0); // would free it twice otherwise
}

TEST(GlobalInit, ADeviceObjectThatThereIsNoMemoryForFails) {
    // Read by the address sanitizer when the statement below starts the program anew; other builds obey the limit.
    ::setenv("ASAN_OPTIONS", "allocator_may_return_null=1:max_allocation_size_mb=1024:detect_leaks=0", 1);
    ::setenv("KT3_TEST_OBJECT_SIZE", "0xFFFFFFFF", 1);
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(bind_where_memory_is_short(), testing::ExitedWithCode(0), "");
}

TEST(GlobalInit, TheDeviceObjectHasTheSizeTheModuleAsksFor) {
    ::setenv("KT3_TEST_OBJECT_SIZE", "5000", 1);
    OfferedModule module(module_file("gfx", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    ASSERT_EQ(gfx_global_init(&record), kVorla55F0);
    std::memset(pdev, 0x5A, 5000); // the address sanitizer watches the edges
    gfx_global_exit(0);
}

TEST(GlobalInit, BindingAgainReplacesTheDeviceObjectAndKeepsTheOlderModuleLoaded) {
    OfferedModule newer(module_file("gfx", kVorlaModule));
    OfferedModule older(module_file("qn", "libkeinterface_qn.so.0.0.0"));
    find_adapter first = record_of(kVorla55F0);
    find_adapter second = record_of(0x4B04, 1);
    ASSERT_EQ(gfx_global_init(&first), kVorla55F0);
    ASSERT_EQ(gfx_global_init(&second), 0x4B04);
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/1/qn");
    gfx_global_exit(0);
    newer.withdraw();
    older.withdraw();
    EXPECT_TRUE(newer.is_loaded());
    EXPECT_FALSE(older.is_loaded());
}

TEST(GlobalInit, AnUnknownChipBindsWithTheModuleThatIsStillLoaded) {
    OfferedModule module(module_file("gfx", kVorlaModule));
    find_adapter known = record_of(kVorla55F0, 3);
    find_adapter unknown = record_of(0x1234, 5);
    ASSERT_EQ(gfx_global_init(&known), kVorla55F0);
    LogCapture log;
    EXPECT_EQ(gfx_global_init(&unknown), 0x1234);
    EXPECT_THAT(LogCapture::lines(), Contains("invalidate chip id. \n "));
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/3/wy");
    gfx_global_exit(0);
}

TEST(GlobalInit, AnIndexThatIsNoSlotTouchesNothing) {
    OfferedModule module(module_file("gfx", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    LogCapture log;
    for (const std::int32_t index : {-1, 3, INT32_MAX, INT32_MIN}) {
        record.current_index = index;
        EXPECT_EQ(gfx_global_init(&record), -1) << index;
    }
    EXPECT_EQ(gfx_global_init(nullptr), -1);
    EXPECT_TRUE(LogCapture::lines().empty());
    EXPECT_EQ(pCurrent_gpu_infos, nullptr);
    EXPECT_EQ(__perf_event_fd, 0);
    EXPECT_EQ(module.object<std::int32_t>("kt3_test_module_queries"), 0);
}

TEST(GlobalExit, ClosesTheModuleAndFreesTheDeviceObjectButKeepsTheRest) {
    Machine machine;
    OfferedModule module(module_file("gfx", kVorlaModule));
    ASSERT_EQ(gfx_global_init(&machine.record), kVorla55F0);
    const std::int32_t descriptor = __perf_event_fd;
    EXPECT_EQ(gfx_global_exit(0), 0);
    EXPECT_EQ(pdev, nullptr);
    EXPECT_EQ(__perf_event_fd, descriptor);
    EXPECT_STREQ(sys_kernel_debug_ID_dri_ADAPTER_path, "/sys/kernel/debug/dri/0/wy");
    EXPECT_EQ(machine.usage_switch(), "0");
    module.withdraw();
    EXPECT_FALSE(module.is_loaded());
}

TEST(GlobalExit, LogsItsArgument) {
    LogCapture log;
    EXPECT_EQ(gfx_global_exit(-3), 0);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("gfx_global_exit enter, chip_id_idx: -3 \n", "uninitGPUPreference_config.\n "));
}

TEST(GlobalExit, AfterAFailedInitReturnsZeroAndClosesNothing) {
    find_adapter record{};
    EXPECT_EQ(gfx_global_init(&record), -1);
    EXPECT_EQ(gfx_global_exit(0), 0);
    EXPECT_EQ(gfx_global_exit(0), 0);
}

TEST(GlobalExit, AModuleIsBoundAfreshAfterwards) {
    OfferedModule module(module_file("both", kVorlaModule));
    find_adapter record = record_of(kVorla55F0);
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(gfx_global_init(&record), kVorla55F0);
        gfx_global_exit(0);
    }
    EXPECT_EQ(module.object<std::int32_t>("kt3_test_module_queries"), 3);
}

TEST(GlobalInit, ANameThatTheProgramItselfOffersIsNotTakenForAModules) {
    // Without a module nothing may be looked up in the whole process.
    find_adapter record = record_of(kVorla55F0);
    LogCapture log;
    EXPECT_EQ(gfx_global_init(&record), -1);
    EXPECT_THAT(LogCapture::lines(), Contains("open libkeinterface module fail. \n "));
}

// Found by a look-up in the whole process, which must never happen.
extern "C" __attribute__((visibility("default"))) std::uint32_t gfx_get_struct_size(std::int32_t) {
    ADD_FAILURE() << "the program's own entry point was called";
    return 1;
}
