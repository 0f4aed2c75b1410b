// SPDX-License-Identifier: MIT
// The routines whose names some clients link with their argument types in them.

#include "allocation/driver_tree.hpp"

#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>

using namespace kt3::tests;

namespace {

struct Door {
    const char* symbol;
    const char* signature;
};
constexpr Door kDoors[] = {
    {"_Z35get_segment_info_through_allocationPjii", "get_segment_info_through_allocation(unsigned int*, int, int)"},
    {"_Z28get_device_pid_maps_internalP19_GFX_DEVICE_PID_MAPii",
     "get_device_pid_maps_internal(_GFX_DEVICE_PID_MAP*, int, int)"},
    {"_Z38get_device_allocation_summary_internalP30_GFX_DEVICE_ALLOCATION_SUMMARYii",
     "get_device_allocation_summary_internal(_GFX_DEVICE_ALLOCATION_SUMMARY*, int, int)"},
    {"_Z43get_device_allocation_summary_internal_ext1P35_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1ii",
     "get_device_allocation_summary_internal_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1*, int, int)"},
    {"_Z32get_allocation_raw_list_internalP24_GFX_ALLOCATION_RAW_LISTP12find_adapter",
     "get_allocation_raw_list_internal(_GFX_ALLOCATION_RAW_LIST*, find_adapter*)"},
    {"_Z23get_memleak_informationP20_GFX_ALLOCATION_INFOii",
     "get_memleak_information(_GFX_ALLOCATION_INFO*, int, int)"},
};

template<typename Function>
Function* routine(const char* symbol) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_DEFAULT, symbol));
}

} // namespace

TEST(TypedNames, EncodeTheArgumentTypesOfTheirRoutine) {
    for (const Door& door : kDoors) {
        int status = 0;
        const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(door.symbol, nullptr, nullptr, &status),
                                                          std::free);
        ASSERT_EQ(status, 0) << door.symbol;
        EXPECT_STREQ(text.get(), door.signature);
        EXPECT_NE(::dlsym(RTLD_DEFAULT, door.symbol), nullptr) << door.symbol;
    }
}

TEST(TypedNames, LeadToTheSameBodies) {
    DriverTree driver;
    driver.allocation("1", "handle=1\ndevice=7\nsize=3145728\n").va_device("1", "handle = a0\n");

    unsigned int totals[5] = {};
    EXPECT_EQ(routine<int(unsigned int*, int, int)>(kDoors[0].symbol)(totals, 0, 1), 0);
    EXPECT_EQ(totals[0], 3U);

    _GFX_DEVICE_PID_MAP maps[50];
    EXPECT_EQ(routine<int(_GFX_DEVICE_PID_MAP*, int, int)>(kDoors[1].symbol)(maps, 0, 1), 0);
    EXPECT_EQ(maps[0].handle, 160);

    _GFX_DEVICE_ALLOCATION_SUMMARY plain[50];
    EXPECT_EQ(routine<int(_GFX_DEVICE_ALLOCATION_SUMMARY*, int, int)>(kDoors[2].symbol)(plain, 0, 1), 0);
    EXPECT_EQ(plain[0].device, 7);

    _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 wide[50];
    EXPECT_EQ(routine<int(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1*, int, int)>(kDoors[3].symbol)(wide, 0, 1), 0);
    EXPECT_EQ(wide[0].segment_size[0], 3145728U);

    _GFX_ALLOCATION_RAW_LIST list = {};
    find_adapter adapters = {};
    EXPECT_EQ(routine<int(_GFX_ALLOCATION_RAW_LIST*, find_adapter*)>(kDoors[4].symbol)(&list, &adapters), 0);
    EXPECT_EQ(list.total_cnt, 1);

    _GFX_ALLOCATION_INFO result[15] = {};
    routine<void(_GFX_ALLOCATION_INFO*, int, int)>(kDoors[5].symbol)(result, 0, 1);
    EXPECT_EQ(result[0].sum_count, 1);
}
