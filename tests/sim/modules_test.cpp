// SPDX-License-Identifier: MIT
// The module stand-ins: what each of them offers, and the values they answer with.

#include "stand_in_paths.hpp"
#include "support/fake_kernel.hpp"

#include <array>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace {

using namespace kt3::tests;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

struct Module {
    explicit Module(const std::string& file)
        : handle(::dlopen((KT3_STAND_IN_MODULES "/" + file).c_str(), RTLD_LAZY), ::dlclose) {}

    template<typename Function>
    Function* entry(const char* name) const {
        return reinterpret_cast<Function*>(::dlsym(handle.get(), name));
    }
    std::unique_ptr<void, int (*)(void*)> handle;
};

constexpr const char* kEntryPoints[] = {
    "gfx_get_struct_size", "qn_get_struct_size", "gfx_get_usage_info", "qnGetHwqInfo",   "gfx_get_usage_info_ext",
    "gfx_flip_count",      "gfx_init_hwinfo",    "qn_init_hwinfo",     "gfx_get_hwinfo", "gfx_get_hwinfo_ext",
    "qn_get_hwinfo",       "gfx_deinit_hwinfo",  "qn_deinit_hwinfo",
};

std::vector<std::string> offered_by(const std::string& file) {
    const Module module(file);
    EXPECT_NE(module.handle, nullptr) << ::dlerror();
    std::vector<std::string> offered;
    for (const char* name : kEntryPoints) {
        if (module.handle != nullptr && ::dlsym(module.handle.get(), name) != nullptr) {
            offered.emplace_back(name);
        }
    }
    return offered;
}

TEST(ModuleStandIns, OfferADifferentSetOfEntryPointsEach) {
    EXPECT_THAT(offered_by("libvorlakeinterface_v2.so.0.0.0"),
                UnorderedElementsAre("gfx_get_struct_size", "gfx_get_usage_info", "gfx_get_usage_info_ext",
                                     "gfx_flip_count", "gfx_init_hwinfo", "gfx_deinit_hwinfo", "gfx_get_hwinfo",
                                     "gfx_get_hwinfo_ext"));
    EXPECT_THAT(offered_by("libdrm_vorla2.so.0.0.0"),
                UnorderedElementsAre("gfx_get_struct_size", "gfx_get_usage_info", "gfx_get_usage_info_ext",
                                     "gfx_init_hwinfo", "gfx_deinit_hwinfo", "gfx_get_hwinfo_ext"));
    EXPECT_THAT(offered_by("libkt3keinterface_v2.so.0.0.0"),
                UnorderedElementsAre("gfx_get_struct_size", "gfx_get_usage_info", "gfx_flip_count", "gfx_init_hwinfo",
                                     "gfx_deinit_hwinfo", "gfx_get_hwinfo"));
    EXPECT_THAT(offered_by("libdrm_kt3.so.0.0.0"),
                UnorderedElementsAre("qn_get_struct_size", "qnGetHwqInfo", "gfx_flip_count", "qn_init_hwinfo",
                                     "qn_deinit_hwinfo", "qn_get_hwinfo"));
    EXPECT_THAT(offered_by("libkeinterface_qn.so.0.0.0"),
                UnorderedElementsAre("qn_get_struct_size", "qnGetHwqInfo", "qn_init_hwinfo", "qn_deinit_hwinfo",
                                     "qn_get_hwinfo"));
}

struct ModuleAnswers : ::testing::Test {
    FakeKernel kernel;
    Module newer{"libvorlakeinterface_v2.so.0.0.0"};
    Module older{"libkeinterface_qn.so.0.0.0"};
};

TEST_F(ModuleAnswers, ComeWithoutAnyWordFromTheMachine) {
    EXPECT_EQ(newer.entry<unsigned(int)>("gfx_get_struct_size")(3), 256u);
    EXPECT_EQ(older.entry<unsigned(int)>("qn_get_struct_size")(3), 256u);
}

TEST_F(ModuleAnswers, AreWhatTheMachineSays) {
    kernel.file("/module-behaviour", "struct_size 40\ninit_hwinfo -1\nbusy 35 10 5\nbusy_ext 1 2 3 4 5 6 7 8 9\n"
                                     "bandwidth 1 2 3 4 5 6 7 8 9 10 11 12\n");
    EXPECT_EQ(newer.entry<unsigned(int)>("gfx_get_struct_size")(3), 40u);
    std::array<std::uint32_t, 3> busy{};
    EXPECT_EQ(older.entry<int(int, std::uint32_t*)>("qnGetHwqInfo")(3, busy.data()), 0);
    EXPECT_THAT(busy, ElementsAre(35, 10, 5));
    std::array<std::uint32_t, 10> extended{3};
    EXPECT_EQ(newer.entry<int(int, void*, std::uint32_t*)>("gfx_get_usage_info_ext")(3, nullptr, extended.data()), 0);
    EXPECT_THAT(extended, ElementsAre(3, 1, 2, 3, 4, 5, 6, 7, 8, 9));
    std::array<std::uint32_t, 12> words{};
    newer.entry<int(int, void*, std::uint32_t*)>("gfx_get_hwinfo")(3, nullptr, words.data());
    EXPECT_THAT(words, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
    std::array<unsigned char, 40> device{};
    device.fill(0xFF);
    EXPECT_EQ(newer.entry<int(int, void*)>("gfx_init_hwinfo")(3, device.data()), -1);
    EXPECT_THAT(device, Each(0));
}

TEST_F(ModuleAnswers, RefuseAnExtendedQueryOfAnotherForm) {
    std::array<std::uint32_t, 10> extended{1};
    EXPECT_EQ(newer.entry<int(int, void*, std::uint32_t*)>("gfx_get_usage_info_ext")(3, nullptr, extended.data()), -1);
    EXPECT_EQ(extended[2], 0u);
}

struct FrameSample {
    std::uint64_t timestamp = 0;
    std::uint64_t first = 0;
    std::int64_t second = 0;
};

TEST_F(ModuleAnswers, CountFramesByTheStepsOfTheClock) {
    kernel.file("/module-behaviour", "clock step 1000000000\nframes 60 30\n");
    const auto count = newer.entry<int(int, void*, FrameSample*)>("gfx_flip_count");
    FrameSample earlier;
    FrameSample later;
    count(3, nullptr, &earlier);
    count(3, nullptr, &later);
    EXPECT_EQ(later.timestamp - earlier.timestamp, 1'000'000'000u);
    EXPECT_EQ(later.first - earlier.first, 60u);
    EXPECT_EQ(later.second - earlier.second, 30);
}

TEST_F(ModuleAnswers, SwingAroundTheirValue) {
    // With steps of a quarter of the period: half way up, top, half way down, bottom, and again.
    kernel.file("/module-behaviour", "clock step 2000000000\nsway 50 8\nbusy 40 0 0\n");
    const auto get = older.entry<int(int, std::uint32_t*)>("qnGetHwqInfo");
    std::vector<std::uint32_t> seen;
    for (int sample = 0; sample < 5; ++sample) {
        std::array<std::uint32_t, 3> busy{};
        get(3, busy.data());
        seen.push_back(busy[0]);
    }
    EXPECT_THAT(seen, ElementsAre(40, 60, 40, 20, 40));
}

TEST_F(ModuleAnswers, MoveWithTheTimeOfDay) {
    const auto count = newer.entry<int(int, void*, FrameSample*)>("gfx_flip_count");
    FrameSample earlier;
    FrameSample later;
    count(3, nullptr, &earlier);
    count(3, nullptr, &later);
    EXPECT_GE(later.timestamp, earlier.timestamp);
    EXPECT_GT(earlier.timestamp, 0u);
}

TEST_F(ModuleAnswers, AreRecordedOnRequest) {
    kernel.file("/module-calls", "");
    newer.entry<unsigned(int)>("gfx_get_struct_size")(7);
    std::array<std::uint32_t, 3> busy{};
    older.entry<int(int, std::uint32_t*)>("qnGetHwqInfo")(9, busy.data());
    EXPECT_EQ(kernel.text("/module-calls"), "gfx_get_struct_size 7\nqnGetHwqInfo 9\n");
}

} // namespace
