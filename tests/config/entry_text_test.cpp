// SPDX-License-Identifier: MIT
#include "config/entry_text.hpp"
#include "config/home_folder.hpp"
#include "config/ini_reading.hpp"

#include <gtest/gtest.h>

using Entry = _UTIL_GPU_PREFERENCE_NODE;
using kt3::config::ini_text;
using kt3::tests::entry;

TEST(IniWriting, AnEmptyListIsTheHeaderAlone) {
    EXPECT_EQ(ini_text({}), "; tqm_gfx_util.ini\n\n");
}

TEST(IniWriting, EveryEntryHasItsFiveLinesAndTwoEmptyOnesInListOrder) {
    Entry first = entry("game.exe", "/opt/game.exe", 2, "Gpu0:Vorla-55F0");
    first.bus_number = 3;
    Entry second = entry("app", "app", -7);
    second.bus_domain = 65535;
    second.bus_number = 255;
    second.device_number = 31;
    second.function_number = 7;
    const Entry list[] = {first, second};
    EXPECT_EQ(ini_text(list), "; tqm_gfx_util.ini\n"
                              "\n"
                              "[game.exe]\n"
                              "FullPath = /opt/game.exe\n"
                              "PreferGpuName = Gpu0:Vorla-55F0\n"
                              "PreferGpuBusID = 0000:03:00.0\n"
                              "GpuPrefer = 2\n"
                              "\n"
                              "\n"
                              "[app]\n"
                              "FullPath = app\n"
                              "PreferGpuName = \n"
                              "PreferGpuBusID = 65535:255:31.7\n"
                              "GpuPrefer = -7\n"
                              "\n"
                              "\n");
}

TEST(IniWriting, FieldsWithoutATerminatorEndWhereTheyEnd) {
    const Entry list[] = {entry(std::string(64, 'n'), std::string(512, 'p'), 0, std::string(16, 'g'))};
    const std::string text = ini_text(list);
    EXPECT_NE(text.find("[" + std::string(64, 'n') + "]\n"), text.npos);
    EXPECT_NE(text.find("FullPath = " + std::string(512, 'p') + "\n"), text.npos);
    EXPECT_NE(text.find("PreferGpuName = " + std::string(16, 'g') + "\n"), text.npos);
}

TEST(IniWriting, PreferencesOfEverySizeAreWrittenInFull) {
    for (const std::int32_t value : {INT32_MIN, -1, 0, 9, 10, INT32_MAX}) {
        const Entry list[] = {entry("a", "/a", value)};
        EXPECT_NE(ini_text(list).find("GpuPrefer = " + std::to_string(value) + "\n"), std::string::npos) << value;
    }
}

TEST(IniWriting, WhatIsWrittenReadsBackAsTheSameEntry) {
    Entry first = entry("game.exe", "/opt/100%s/game.exe", INT32_MIN, "Gpu1:QN R-4480");
    first.bus_domain = 10000;
    first.bus_number = 129;
    first.device_number = 17;
    first.function_number = 3;
    const Entry list[] = {first, entry("\xC3\xA4pp", "/opt/\xC3\xA4pp", 1)};
    const std::vector<Entry> back = kt3::config::parse_ini(ini_text(list));
    ASSERT_EQ(back.size(), 2U);
    EXPECT_EQ(std::memcmp(back.data(), list, sizeof(Entry) - 3), 0);
    EXPECT_EQ(std::memcmp(&back[1], &list[1], sizeof(Entry) - 3), 0);
}

TEST(IniWriting, ABusIdIsWrittenBackAsTheTextItWasReadFrom) {
    const std::vector<Entry> back = kt3::config::parse_ini("[a]\nPreferGpuBusID = 0000:03:00.0\n");
    EXPECT_NE(ini_text(back).find("PreferGpuBusID = 0000:03:00.0\n"), std::string::npos);
}
