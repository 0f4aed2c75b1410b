// SPDX-License-Identifier: MIT
#include "config/home_folder.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"

#include <gmock/gmock.h>

using kt3::tests::entry;
using kt3::tests::HomeFolder;
using kt3::tests::LogCapture;
using kt3::tests::OutputCapture;
using testing::ElementsAre;

namespace {

constexpr const char* kTwoSections =
    "[b.exe]\nFullPath = /opt/b.exe\nPreferGpuName = Gpu0\nPreferGpuBusID = 0000:03:00.0\n"
    "[a]\nFullPath = /bin/a\nGpuPrefer = 1\n";

} // namespace

TEST(ParseIni, AppendsTheEntriesInFileOrderAndReturnsTheNumberOfSections) {
    HomeFolder home;
    LogCapture log;
    home.write(kTwoSections);
    EXPECT_EQ(parseINI(home.file().c_str()), 2);
    ASSERT_EQ(interface_config_list.size(), 2U);
    EXPECT_STREQ(interface_config_list[0].name, "b.exe");
    EXPECT_STREQ(interface_config_list[1].name, "a");
    EXPECT_EQ(parseINI(home.file().c_str()), 2);
    EXPECT_EQ(interface_config_list.size(), 4U);
}

TEST(ParseIni, LogsItsPathAndThenEveryEntry) {
    HomeFolder home;
    LogCapture log;
    home.write(kTwoSections);
    parseINI(home.file().c_str());
    EXPECT_THAT(LogCapture::lines(), ElementsAre("parseINI " + home.file() + "\n",
                                                 "Load from config: b.exe: /opt/b.exe, Gpu0, 0000:03:00.0\n",
                                                 "Load from config: a: /bin/a, , 0000:00:00.0\n"));
}

TEST(ParseIni, AFileThatCannotBeOpenedIsLoggedAndGivesMinusOne) {
    HomeFolder home;
    LogCapture log;
    EXPECT_EQ(parseINI(home.file().c_str()), -1);
    EXPECT_EQ(parseINI(""), -1);
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("parseINI fail to open " + home.file() + "\n", "parseINI fail to open \n"));
    EXPECT_TRUE(interface_config_list.empty());
}

TEST(ParseIni, ANullPathCountsAsAFileThatCannotBeOpened) {
    LogCapture log;
    EXPECT_EQ(parseINI(nullptr), -1);
    EXPECT_TRUE(interface_config_list.empty());
}

TEST(ParseIni, AFileWithoutSectionsGivesZero) {
    HomeFolder home;
    LogCapture log;
    home.write("GpuPrefer = 1\n");
    EXPECT_EQ(parseINI(home.file().c_str()), 0);
    home.write("");
    EXPECT_EQ(parseINI(home.file().c_str()), 0);
    EXPECT_TRUE(interface_config_list.empty());
    EXPECT_EQ(LogCapture::lines().size(), 2U);
}

TEST(ParseIni, AFolderReadsAsAnEmptyFile) {
    HomeFolder home;
    LogCapture log;
    EXPECT_EQ(parseINI(home.folder().c_str()), 0);
}

TEST(ParseIni, ReadsAFileOfManySectionsWhole) {
    HomeFolder home;
    LogCapture log;
    std::string text;
    for (int i = 0; i < 3000; ++i) {
        text += "[app" + std::to_string(i) + "]\nGpuPrefer = " + std::to_string(i) + "\n";
    }
    home.write(text);
    EXPECT_EQ(parseINI(home.file().c_str()), 3000);
    ASSERT_EQ(interface_config_list.size(), 3000U);
    EXPECT_STREQ(interface_config_list[2999].name, "app2999");
    EXPECT_EQ(interface_config_list[2999].GpuPrefer, 2999);
}

TEST(ParseIni, LeavesNoDescriptorBehind) {
    HomeFolder home;
    LogCapture log;
    home.write(kTwoSections);
    const int before = kt3::tests::open_descriptors();
    parseINI(home.file().c_str());
    parseINI("/nonexistent");
    savefile_INI(home.file().c_str());
    savefile_INI("/nonexistent/file");
    EXPECT_EQ(kt3::tests::open_descriptors(), before);
}

TEST(ParseIni, PercentSignsOfTheFileReachTheDefaultCallbackAsText) {
    HomeFolder home;
    home.write("[%n%s]\nFullPath = /%s/%n\nPreferGpuName = 100%\n");
    OutputCapture output;
    parseINI(home.file().c_str());
    EXPECT_EQ(output.text(), "parseINI " + home.file() + "\nLoad from config: %n%s: /%s/%n, 100%, 0000:00:00.0\n");
}

TEST(PrintConfigNodeLog, WritesTheLocationInDecimalWithLeadingZeros) {
    LogCapture log;
    auto shown = entry("game.exe", "/opt/game.exe", 9, "Gpu0:Vorla-55F0");
    shown.bus_domain = 16;
    shown.bus_number = 10;
    shown.device_number = 2;
    shown.function_number = 1;
    printConfigNodeLog("Any tag", &shown);
    shown.bus_domain = 65535;
    shown.bus_number = 255;
    shown.device_number = 255;
    shown.function_number = 255;
    printConfigNodeLog("", &shown);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("Any tag game.exe: /opt/game.exe, Gpu0:Vorla-55F0, 0016:10:02.1\n",
                                                 " game.exe: /opt/game.exe, Gpu0:Vorla-55F0, 65535:255:255.255\n"));
}

TEST(PrintConfigNodeLog, FieldsWithoutATerminatorEndWhereTheyEnd) {
    LogCapture log;
    auto shown = entry(std::string(64, 'n'), std::string(512, 'p'), 0, std::string(16, 'g'));
    shown.bus_domain = 0x4141;
    printConfigNodeLog("t", &shown);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("t " + std::string(64, 'n') + ": " + std::string(512, 'p') + ", " +
                                                 std::string(16, 'g') + ", 16705:00:00.0\n"));
}

TEST(PrintConfigNodeLog, ALineOfMoreThan1023CharactersIsCut) {
    LogCapture log;
    auto shown = entry("n", "/p");
    printConfigNodeLog(std::string(1021, 't').c_str(), &shown);
    EXPECT_THAT(LogCapture::lines(), ElementsAre(std::string(1021, 't') + " n"));
}

TEST(PrintConfigNodeLog, NullArgumentsAreNotTouched) {
    LogCapture log;
    auto shown = entry("n", "/p");
    printConfigNodeLog("t", nullptr);
    printConfigNodeLog(nullptr, &shown);
    EXPECT_TRUE(LogCapture::lines().empty());
}

TEST(SaveFile, WritesTheHeaderAndEveryEntryAndLogsThem) {
    HomeFolder home;
    LogCapture log;
    interface_config_list = {entry("a", "/bin/a", 1, "g"), entry("b", "/bin/b", 2)};
    savefile_INI(home.file().c_str());
    EXPECT_EQ(home.text(),
              "; tqm_gfx_util.ini\n\n"
              "[a]\nFullPath = /bin/a\nPreferGpuName = g\nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 1\n\n\n"
              "[b]\nFullPath = /bin/b\nPreferGpuName = \nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 2\n\n\n");
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("-------------------------\n", "Save to config: a: /bin/a, g, 0000:00:00.0\n",
                            "Save to config: b: /bin/b, , 0000:00:00.0\n", "\n"));
}

TEST(SaveFile, AnEmptyListLeavesTheHeaderAlone) {
    HomeFolder home;
    LogCapture log;
    home.write(kTwoSections);
    savefile_INI(home.file().c_str());
    EXPECT_EQ(home.text(), "; tqm_gfx_util.ini\n\n");
    EXPECT_THAT(LogCapture::lines(), ElementsAre("-------------------------\n", "\n"));
}

TEST(SaveFile, APathThatCannotBeOpenedIsLoggedWithABlankBehindIt) {
    HomeFolder home;
    LogCapture log;
    interface_config_list = {entry("a", "/bin/a")};
    const std::string missing = home.root() / "missing/file";
    savefile_INI(missing.c_str());
    savefile_INI(home.folder().c_str());
    savefile_INI("");
    EXPECT_THAT(LogCapture::lines(), ElementsAre("savefile_INI: can't open " + missing + " \n",
                                                 "savefile_INI: can't open " + home.folder().string() + " \n",
                                                 "savefile_INI: can't open  \n"));
    EXPECT_EQ(interface_config_list.size(), 1U);
    EXPECT_FALSE(std::filesystem::exists(home.root() / "missing"));
}

TEST(SaveFile, ANullPathCountsAsOneThatCannotBeOpened) {
    LogCapture log;
    savefile_INI(nullptr);
    ASSERT_EQ(LogCapture::lines().size(), 1U);
    EXPECT_EQ(LogCapture::lines()[0].rfind("savefile_INI: can't open ", 0), 0U);
}

TEST(ConfigPath, IsTheFileBelowHome) {
    HomeFolder home;
    LogCapture log;
    EXPECT_STREQ(UTIL_CONFIG_PATH, "");
    home.write(kTwoSections);
    EXPECT_EQ(util_init_config_files(), 0);
    EXPECT_EQ(UTIL_CONFIG_PATH, home.file());
    EXPECT_EQ(interface_config_list.size(), 2U);
    EXPECT_EQ(LogCapture::lines()[0], "parseINI " + home.file() + "\n");
}

TEST(ConfigPath, AMissingFileIsNoErrorForTheCaller) {
    HomeFolder home;
    LogCapture log;
    EXPECT_EQ(util_init_config_files(), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("parseINI fail to open " + home.file() + "\n"));
}

TEST(ConfigPath, WithoutHomeTheFileCountsAsAbsent) {
    LogCapture log;
    ::unsetenv("HOME");
    EXPECT_EQ(util_init_config_files(), 0);
    EXPECT_STREQ(UTIL_CONFIG_PATH, "");
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("HOME is not set: preferences have no file.\n", "parseINI fail to open \n"));
}

TEST(ConfigPath, AHomeThatFitsExactlyIsUsedAndOneCharacterMoreCountsAsAbsent) {
    LogCapture log;
    const std::string below = "/.local/share/tqm_gfx_util.ini";
    const std::string longest = "/" + std::string(511 - below.size() - 1, 'h');
    ::setenv("HOME", longest.c_str(), 1);
    util_init_config_files();
    EXPECT_EQ(UTIL_CONFIG_PATH, longest + below);
    LogCapture::lines().clear();
    ::setenv("HOME", (longest + "h").c_str(), 1);
    util_init_config_files();
    EXPECT_STREQ(UTIL_CONFIG_PATH, "");
    EXPECT_THAT(LogCapture::lines(),
                ElementsAre("HOME is too long: preferences have no file.\n", "parseINI fail to open \n"));
}
