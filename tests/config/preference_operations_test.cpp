// SPDX-License-Identifier: MIT
#include "config/home_folder.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/log_capture.hpp"

#include <gmock/gmock.h>

using Entry = _UTIL_GPU_PREFERENCE_NODE;
using kt3::tests::entry;
using kt3::tests::HomeFolder;
using kt3::tests::LogCapture;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace {

constexpr const char* kHeaderOnly = "; tqm_gfx_util.ini\n\n";
constexpr const char* kSkipLine = "SetGPUPreference_config, same data, skip save log file.\n";

// A home with the entries "a", "b" and "c", and a log.
struct Preferences : testing::Test {
    Preferences() {
        home.write("[a]\nFullPath = /bin/a\nGpuPrefer = 1\n[b]\nFullPath = /bin/b\nGpuPrefer = 2\n"
                   "[c]\nFullPath = /bin/c\nGpuPrefer = 3\n");
    }
    static std::int32_t count() {
        std::int32_t number = -1;
        get_gpu_preference(nullptr, &number);
        return number;
    }
    static std::vector<std::string> names() {
        std::vector<std::string> all;
        for (const Entry& stored : interface_config_list) {
            all.emplace_back(stored.name, ::strnlen(stored.name, sizeof stored.name));
        }
        return all;
    }
    HomeFolder home;
    LogCapture log;
};

} // namespace

TEST_F(Preferences, NothingIsReadBeforeTheFirstGetOrSet) {
    EXPECT_TRUE(interface_config_list.empty());
    EXPECT_STREQ(UTIL_CONFIG_PATH, "");
}

TEST_F(Preferences, GetWithoutAnArrayReportsTheNumberOfEntries) {
    std::int32_t number = 1;
    EXPECT_EQ(get_gpu_preference(nullptr, &number), 0);
    EXPECT_EQ(number, 3);
}

TEST_F(Preferences, GetCopiesNoMoreThanTheCallersCount) {
    Entry copied[3] = {};
    std::int32_t number = 1;
    EXPECT_EQ(get_gpu_preference(copied, &number), 0);
    EXPECT_EQ(number, 1);
    EXPECT_STREQ(copied[0].name, "a");
    EXPECT_STREQ(copied[1].name, "");
}

TEST_F(Preferences, GetCopiesEveryEntryInListOrderWhenThereIsRoom) {
    Entry copied[5] = {};
    std::int32_t number = 5;
    EXPECT_EQ(GetGPUPreference_config(copied, &number), 0);
    EXPECT_EQ(number, 3);
    EXPECT_STREQ(copied[0].FullPath, "/bin/a");
    EXPECT_STREQ(copied[2].FullPath, "/bin/c");
    EXPECT_EQ(copied[2].GpuPrefer, 3);
    EXPECT_STREQ(copied[3].name, "");
}

TEST_F(Preferences, GetCopiesOneEntryForACountOfZeroOrLess) {
    for (const std::int32_t asked : {0, -1, INT32_MIN}) {
        Entry copied[2] = {};
        std::int32_t number = asked;
        EXPECT_EQ(get_gpu_preference(copied, &number), 0);
        EXPECT_EQ(number, 1) << asked;
        EXPECT_STREQ(copied[0].name, "a") << asked;
        EXPECT_STREQ(copied[1].name, "") << asked;
    }
}

TEST_F(Preferences, GetOnAnEmptyListStoresZeroAndCopiesNothing) {
    home.write("");
    Entry copied = entry("kept", "kept");
    std::int32_t number = 7;
    EXPECT_EQ(get_gpu_preference(&copied, &number), 0);
    EXPECT_EQ(number, 0);
    EXPECT_STREQ(copied.name, "kept");
}

TEST_F(Preferences, TheFileIsReadOncePerProcess) {
    EXPECT_EQ(count(), 3);
    home.write("[other]\n");
    LogCapture::lines().clear();
    EXPECT_EQ(count(), 3);
    EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(Preferences, AMissingFileIsNotLookedForAgain) {
    std::filesystem::remove(home.file());
    EXPECT_EQ(count(), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("parseINI fail to open " + home.file() + "\n"));
    home.write("[late]\n");
    EXPECT_EQ(count(), 0);
}

TEST_F(Preferences, NullPointersAreNotTouchedAndChangeNothing) {
    Entry copied{};
    const std::string before = home.text();
    EXPECT_EQ(get_gpu_preference(&copied, nullptr), 0);
    EXPECT_EQ(get_gpu_preference(nullptr, nullptr), 0);
    EXPECT_EQ(set_gpu_preference(nullptr), 0);
    EXPECT_EQ(remove_gpu_preference(nullptr), 0);
    EXPECT_EQ(home.text(), before);
}

TEST_F(Preferences, SetAppendsAnUnknownApplicationAndSavesTheWholeList) {
    const Entry added = entry("d", "/bin/d", 4, "gpu");
    EXPECT_EQ(set_gpu_preference(&added), 0);
    EXPECT_THAT(names(), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(home.text(),
              "; tqm_gfx_util.ini\n\n"
              "[a]\nFullPath = /bin/a\nPreferGpuName = \nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 1\n\n\n"
              "[b]\nFullPath = /bin/b\nPreferGpuName = \nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 2\n\n\n"
              "[c]\nFullPath = /bin/c\nPreferGpuName = \nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 3\n\n\n"
              "[d]\nFullPath = /bin/d\nPreferGpuName = gpu\nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 4\n\n\n");
}

TEST_F(Preferences, SetReplacesAKnownApplicationInItsPlace) {
    const Entry changed = entry("b", "/usr/bin/b", 9);
    EXPECT_EQ(SetGPUPreference_config(&changed), 0);
    EXPECT_THAT(names(), ElementsAre("a", "b", "c"));
    EXPECT_STREQ(interface_config_list[1].FullPath, "/usr/bin/b");
    EXPECT_EQ(interface_config_list[1].GpuPrefer, 9);
    EXPECT_NE(home.text().find("GpuPrefer = 9"), std::string::npos);
}

TEST_F(Preferences, AReplacedEntryTakesTheNameFieldOfTheGivenOne) {
    const Entry changed = entry("renamed", "/bin/b", 2);
    set_gpu_preference(&changed);
    EXPECT_THAT(names(), ElementsAre("a", "renamed", "c"));
    // The key is now unknown, so the same call appends.
    set_gpu_preference(&changed);
    EXPECT_THAT(names(), ElementsAre("a", "renamed", "c", "renamed"));
}

TEST_F(Preferences, OnlyTheFirstEntryOfANameIsReplacedOrRemoved) {
    home.write("[a]\n[a]\n");
    EXPECT_EQ(count(), 2);
    const Entry changed = entry("a", "/bin/a", 5);
    set_gpu_preference(&changed);
    EXPECT_EQ(interface_config_list[0].GpuPrefer, 5);
    EXPECT_EQ(interface_config_list[1].GpuPrefer, 0);
    remove_gpu_preference(&changed);
    ASSERT_EQ(interface_config_list.size(), 1U);
    EXPECT_EQ(interface_config_list[0].GpuPrefer, 0);
}

TEST_F(Preferences, SettingTheSameEntryTwiceWritesTheFileOnce) {
    const Entry added = entry("d", "/bin/d", 4);
    set_gpu_preference(&added);
    home.write("untouched");
    LogCapture::lines().clear();
    EXPECT_EQ(set_gpu_preference(&added), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(kSkipLine));
    EXPECT_EQ(home.text(), "untouched");
}

TEST_F(Preferences, AnEntryAsReadFromTheFileCountsAsTheSame) {
    EXPECT_EQ(count(), 3);
    LogCapture::lines().clear();
    const Entry same = entry("b", "/bin/b", 2);
    set_gpu_preference(&same);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(kSkipLine));
}

TEST_F(Preferences, EveryFieldByteIsComparedAndNoPaddingByte) {
    Entry added = entry("d", "/bin/d", 4);
    set_gpu_preference(&added);
    LogCapture::lines().clear();
    auto* raw = reinterpret_cast<unsigned char*>(&added);
    for (const std::size_t padding : {1113U, 1114U, 1115U}) {
        raw[padding] = 0x55;
    }
    set_gpu_preference(&added);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(kSkipLine));
    // Behind the terminators, in the number, in the location, at both ends of the reserved bytes.
    for (const std::size_t changed : {63U, 575U, 576U, 595U, 596U, 600U, 601U, 1112U}) {
        raw[changed] ^= 1;
        LogCapture::lines().clear();
        set_gpu_preference(&added);
        EXPECT_THAT(LogCapture::lines(), Not(Contains(kSkipLine))) << changed;
    }
}

TEST_F(Preferences, SetFindsAnEntryByTheLastComponentOfThePath) {
    home.write("[game.exe]\n[app]\n");
    const Entry windows = entry("game.exe", "C:\\apps\\game.exe", 1);
    const Entry unix_path = entry("app", "/usr/bin/app", 2);
    const Entry bare = entry("app", "app", 3);
    set_gpu_preference(&windows);
    set_gpu_preference(&unix_path);
    EXPECT_THAT(names(), ElementsAre("game.exe", "app"));
    EXPECT_EQ(interface_config_list[0].GpuPrefer, 1);
    EXPECT_EQ(interface_config_list[1].GpuPrefer, 2);
    set_gpu_preference(&bare);
    EXPECT_THAT(names(), ElementsAre("game.exe", "app"));
    EXPECT_EQ(interface_config_list[1].GpuPrefer, 3);
}

TEST_F(Preferences, NamesAreComparedExactly) {
    const Entry upper = entry("B", "/bin/B", 9);
    set_gpu_preference(&upper);
    EXPECT_THAT(names(), ElementsAre("a", "b", "c", "B"));
}

TEST_F(Preferences, ANameThatFillsItsFieldIsFoundByItsSixtyFourCharacters) {
    const std::string name(64, 'n');
    const Entry added = entry(name, "/bin/" + name, 1);
    set_gpu_preference(&added);
    const Entry changed = entry(name, "/opt/" + name, 2);
    set_gpu_preference(&changed);
    EXPECT_THAT(names(), ElementsAre("a", "b", "c", name));
}

TEST_F(Preferences, APathThatFillsItsFieldIsReadToItsEnd) {
    const std::string path = std::string(507, 'p') + "/name";
    ASSERT_EQ(path.size(), 512U);
    Entry added = entry("name", path.substr(0, 512), -1);
    set_gpu_preference(&added);
    added.GpuPrefer = 2;
    set_gpu_preference(&added);
    EXPECT_THAT(names(), ElementsAre("a", "b", "c", "name"));
}

TEST_F(Preferences, SetLogsTheSaveBehindTheLoad) {
    home.write("[a]\nFullPath = /bin/a\n");
    const Entry added = entry("b", "/bin/b");
    set_gpu_preference(&added);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("parseINI " + home.file() + "\n", "Load from config: a: /bin/a, , 0000:00:00.0\n",
                            "-------------------------\n", "Save to config: a: /bin/a, , 0000:00:00.0\n",
                            "Save to config: b: /bin/b, , 0000:00:00.0\n", "\n"));
}

TEST_F(Preferences, AChangeThatCannotBeSavedStaysInMemory) {
    std::filesystem::remove_all(home.root() / ".local");
    const Entry added = entry("d", "/bin/d");
    EXPECT_EQ(set_gpu_preference(&added), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("parseINI fail to open " + home.file() + "\n",
                                                 "savefile_INI: can't open " + home.file() + " \n"));
    EXPECT_EQ(count(), 1);
    EXPECT_FALSE(std::filesystem::exists(home.root() / ".local"));
}

TEST_F(Preferences, WithoutHomeSetKeepsTheEntryInMemory) {
    ::unsetenv("HOME");
    const Entry added = entry("d", "/bin/d");
    EXPECT_EQ(set_gpu_preference(&added), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("HOME is not set: preferences have no file.\n",
                                                 "parseINI fail to open \n", "savefile_INI: can't open  \n"));
    EXPECT_EQ(count(), 1);
}

TEST_F(Preferences, RemoveTakesTheEntryOutAndMovesTheLaterOnesUp) {
    EXPECT_EQ(count(), 3);
    const Entry key = entry("ignored", "C:\\somewhere\\b", 99);
    EXPECT_EQ(remove_gpu_preference(&key), 0);
    EXPECT_THAT(names(), ElementsAre("a", "c"));
    EXPECT_EQ(home.text().find("[b]"), std::string::npos);
    EXPECT_NE(home.text().find("[c]"), std::string::npos);
}

TEST_F(Preferences, RemoveOfAnUnknownApplicationStillRewritesTheFile) {
    EXPECT_EQ(count(), 3);
    home.write("something else");
    const Entry key = entry("", "/bin/unknown");
    EXPECT_EQ(RemoveGPUPreference_config(&key), 0);
    EXPECT_EQ(home.text().substr(0, 22), "; tqm_gfx_util.ini\n\n[a");
    EXPECT_THAT(names(), ElementsAre("a", "b", "c"));
}

TEST_F(Preferences, RemoveAsTheFirstCallBuildsThePathAndLeavesTheHeaderAlone) {
    const Entry key = entry("", "/bin/a");
    EXPECT_EQ(remove_gpu_preference(&key), 0);
    EXPECT_EQ(UTIL_CONFIG_PATH, home.file());
    EXPECT_EQ(home.text(), kHeaderOnly);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("-------------------------\n", "\n"));
    // It did not count as a load: the file, now empty, is still read.
    EXPECT_EQ(count(), 0);
    EXPECT_THAT(LogCapture::lines(), Contains("parseINI " + home.file() + "\n"));
}

TEST_F(Preferences, RemoveAsTheFirstCallCreatesAMissingFile) {
    std::filesystem::remove(home.file());
    const Entry key = entry("", "/bin/a");
    remove_gpu_preference(&key);
    EXPECT_EQ(home.text(), kHeaderOnly);
}

TEST_F(Preferences, RemoveWithoutHomeSaysThatNothingCanBeOpened) {
    ::unsetenv("HOME");
    const Entry key = entry("", "/bin/a");
    EXPECT_EQ(remove_gpu_preference(&key), 0);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("HOME is not set: preferences have no file.\n", "savefile_INI: can't open  \n"));
    EXPECT_NE(home.text(), kHeaderOnly);
}

TEST_F(Preferences, InitEmptiesTheListAndTouchesNeitherFileNorFlag) {
    const std::string before = home.text();
    EXPECT_EQ(count(), 3);
    LogCapture::lines().clear();
    EXPECT_EQ(initGPUPreference_config(), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("initGPUPreference_config.\n "));
    EXPECT_TRUE(interface_config_list.empty());
    EXPECT_EQ(interface_config_list.capacity(), 0U);
    EXPECT_EQ(home.text(), before);
    EXPECT_EQ(count(), 0);
}

TEST_F(Preferences, InitBeforeTheFirstGetDoesNotKeepTheFileFromBeingRead) {
    initGPUPreference_config();
    EXPECT_EQ(count(), 3);
}

TEST_F(Preferences, AfterUninitALaterSetWritesOnlyItsOwnEntry) {
    EXPECT_EQ(count(), 3);
    LogCapture::lines().clear();
    EXPECT_EQ(uninitGPUPreference_config(), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("uninitGPUPreference_config.\n "));
    EXPECT_EQ(interface_config_list.capacity(), 0U);
    const Entry added = entry("d", "/bin/d", 4);
    set_gpu_preference(&added);
    EXPECT_EQ(home.text(), "; tqm_gfx_util.ini\n\n[d]\nFullPath = /bin/d\nPreferGpuName = \n"
                           "PreferGpuBusID = 0000:00:00.0\nGpuPrefer = 4\n\n\n");
}

TEST_F(Preferences, AnEntryOfTheListItselfCanBeGiven) {
    EXPECT_EQ(count(), 3);
    remove_gpu_preference(&interface_config_list[1]);
    EXPECT_THAT(names(), ElementsAre("a", "c"));
    interface_config_list.shrink_to_fit();
    std::strcpy(interface_config_list[0].FullPath, "/bin/new");
    set_gpu_preference(&interface_config_list[0]);
    EXPECT_THAT(names(), ElementsAre("a", "c", "a"));
}

TEST(GetFilename, IsThePartBehindTheLastSlashOfEitherKind) {
    EXPECT_EQ(get_filename("C:\\apps\\game.exe"), "game.exe");
    EXPECT_EQ(get_filename("/usr/bin/app"), "app");
    EXPECT_EQ(get_filename("app"), "app");
    EXPECT_EQ(get_filename("C:\\mixed/up\\x"), "x");
    EXPECT_EQ(get_filename("/mixed\\up/y"), "y");
    EXPECT_EQ(get_filename("/ends/"), "");
    EXPECT_EQ(get_filename(""), "");
    EXPECT_EQ(get_filename("/"), "");
}
