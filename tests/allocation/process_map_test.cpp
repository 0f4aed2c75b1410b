// SPDX-License-Identifier: MIT
#include "allocation/process_map.hpp"

#include "allocation/device_page.hpp"
#include "allocation/driver_tree.hpp"
#include "allocation/package_name.hpp"
#include "support/descriptors.hpp"
#include "support/failing_listings.hpp"
#include "support/log_capture.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace kt3::tests;
using namespace std::string_literals;

namespace {

struct Maps {
    _GFX_DEVICE_PID_MAP entry[ALLOCATION_SUMMARY_MAX];
    Maps() { std::memset(entry, 0x5A, sizeof entry); }
    std::int32_t read(int is_va_driver = 1) { return get_device_pid_maps_internal(entry, 0x5C05, is_va_driver); }
    [[nodiscard]] int filled() const {
        int count = 0;
        for (const auto& map : entry) {
            count += map.pid != 0 || map.handle != 0 || map.name[0] != '\0' ? 1 : 0;
        }
        return count;
    }
};

bool all_zero(const _GFX_DEVICE_PID_MAP& map) {
    static const _GFX_DEVICE_PID_MAP zero = {};
    return std::memcmp(&map, &zero, sizeof zero) == 0;
}

// What the parser reports for a page, in order.
std::string parsed(const std::string& page) {
    std::string all;
    kt3::allocation::parse_device_page(
        page, [&](std::int32_t pid) { all += "pid " + std::to_string(pid) + ";"; },
        [&](std::int32_t handle) { all += "handle " + std::to_string(handle) + ";"; });
    return all;
}

std::string name_of(int pid, int limit = 64) {
    char name[600] = "before";
    const int result = getPackageNameFromPid(pid, name, limit);
    return result == 0 ? name : "failed, " + std::string(name);
}

} // namespace

TEST(DevicePage, ReadsKeyAndValueWithABlankOnEachSide) {
    const struct {
        std::string page;
        const char* expected;
    } rows[] = {
        {"pid = 1234\nhandle = a0\n", "pid 1234;handle 160;"},
        {"handle = 0xA0\npid = 1\n", "handle 160;pid 1;"},
        {"pid=1234\n", ""},
        {"pid =1234\n", "pid 234;"},
        {"pid = 12x\n", "pid 12;"},
        {"pid = abc\n", "pid 0;"},
        {"pid = -5\n", "pid -5;"},
        {"pid = 4294967301\n", "pid 5;"},
        {"pid = 12", "pid 1;"},
        {"pid = 1\npid = 2\n", "pid 1;pid 2;"},
        {"pid  = 1\n", ""},
        {" pid = 1\n", ""},
        {"Pid = 1\n", ""},
        {"name = 1\n", ""},
        {"pid 1\n", ""},
        {"", ""},
        {"\n\n", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(parsed(row.page), row.expected) << row.page;
    }
}

TEST(DevicePage, HasNoKeyInFrontOfAnEqualsSignInTheFirstColumn) {
    EXPECT_EQ(parsed("= 5\n=\n="), "");
    EXPECT_EQ(parsed(" = 5\npid = 3\n"), "pid 3;");
}

TEST(DevicePage, ReadsNoValueBehindTheEndOfALine) {
    EXPECT_EQ(parsed("pid ="), "pid 0;");
    EXPECT_EQ(parsed("pid =\n"), "pid 0;");
    EXPECT_EQ(parsed("pid = "), "pid 0;");
    EXPECT_EQ(parsed("pid = \n"), "pid 0;");
    EXPECT_EQ(parsed("pid =\n1234\n"), "pid 0;");
}

TEST(DevicePage, EndsALineAtItsFirstZeroByte) {
    EXPECT_EQ(parsed("pid\0 = 5\n"s), "");
    EXPECT_EQ(parsed("pid = 12\0"
                     "3\n"s),
              "pid 1;");
}

TEST(DevicePage, ThrowsStoiForAMalformedHandle) {
    for (const char* page : {"handle = zz\n", "handle =", "handle = \n"}) {
        try {
            parsed(page);
            FAIL() << page;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "stoi");
        }
    }
    EXPECT_THROW(parsed("handle = 80000000\n"), std::out_of_range);
}

TEST(DevicePage, CutsOrIgnoresTextsLongerThanTheFormatHas) {
    for (const std::size_t length : {126U, 127U, 128U, 129U, 1U << 20}) {
        EXPECT_EQ(parsed(std::string(length, 'p') + " = 1\npid = 2\n"), "pid 2;") << length;
        EXPECT_EQ(parsed("pid = 7" + std::string(length, ' ') + "\n"), "pid 7;") << length;
    }
    EXPECT_EQ(parsed("pid = " + std::string(126, '0') + "7\n"), "pid 7;");
    EXPECT_EQ(parsed("pid = " + std::string(127, '0') + "7\n"), "pid 0;");
}

TEST(ProcessMap, IsAllZeroForAnEmptyDirectory) {
    DriverTree driver;
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    for (const auto& map : maps.entry) {
        EXPECT_TRUE(all_zero(map));
    }
}

TEST(ProcessMap, FillsEntriesInTheOrderOfTheListing) {
    DriverTree driver;
    for (int at = 1; at <= 9; ++at) {
        const std::string name = std::to_string(at * 37);
        driver.va_device(name, "pid = " + name + "\nhandle = " + name + "\n");
    }
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    const auto listed = driver.listing("devices");
    for (std::size_t at = 0; at < listed.size(); ++at) {
        EXPECT_EQ(maps.entry[at].pid, std::stoi(listed[at]));
        EXPECT_EQ(maps.entry[at].handle, std::stoi(listed[at], nullptr, 16));
    }
    EXPECT_TRUE(all_zero(maps.entry[9]));
}

TEST(ProcessMap, ReadsTheFileOfTheEntrysOwnNameWithoutVirtualAddressing) {
    DriverTree driver;
    driver.kernel.file(DriverTree::path("devices/7/7"), "pid = 70\nhandle = 7\n");
    driver.va_device("7", "pid = 71\nhandle = 8\n");
    Maps maps;
    EXPECT_EQ(maps.read(0), 0);
    EXPECT_EQ(maps.entry[0].pid, 70);
    EXPECT_EQ(maps.read(1), 0);
    EXPECT_EQ(maps.entry[0].pid, 71);
}

TEST(ProcessMap, SaysThatTheDirectoryIsMissing) {
    DriverTree driver;
    driver.kernel.remove(DriverTree::path("devices"));
    Maps maps;
    OutputCapture output;
    EXPECT_EQ(maps.read(), -1);
    EXPECT_EQ(output.text(), "Error opening directory\n");
    EXPECT_EQ(maps.filled(), 0);
}

TEST(ProcessMap, TakesAListingThatFailsForADirectoryThatCannotBeOpened) {
    DriverTree driver;
    driver.va_device("1", "handle = a0\n");
    const std::string real = driver.kernel.real(DriverTree::kDirectory).string();
    EXPECT_TRUE(holds_while_listings_fail([&] {
        _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
        OutputCapture output;
        return !kt3::allocation::read_process_map({real.c_str(), true}, kt3::allocation::ProcessMap(maps)) &&
               output.text() == "Error opening directory\n";
    }));
}

TEST(ProcessMap, StopsAtADeviceWithoutAPageAndKeepsThoseBeforeIt) {
    DriverTree driver;
    for (const char* name : {"1", "2", "3"}) {
        driver.va_device(name, "handle = a0\n");
    }
    driver.kernel.remove(DriverTree::path("devices/" + driver.listing("devices")[1] + "/info"));
    Maps maps;
    OutputCapture output;
    const int before = open_descriptors();
    EXPECT_EQ(maps.read(), -1);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(output.text(), "Fail to read devices info. skip...\n");
    EXPECT_EQ(maps.entry[0].handle, 160);
    EXPECT_EQ(maps.filled(), 1);
}

TEST(ProcessMap, GivesADeviceThatNamesNothingASlotOfItsOwn) {
    DriverTree driver;
    for (const char* name : {"1", "2", "3"}) {
        driver.va_device(name, "handle = a0\n");
    }
    driver.va_device(driver.listing("devices")[1], "other = 1\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_TRUE(all_zero(maps.entry[1]));
    EXPECT_EQ(maps.entry[2].handle, 160);
}

TEST(ProcessMap, FillsFortyNineDevicesWithoutAMessage) {
    DriverTree driver;
    for (int at = 1; at <= 49; ++at) {
        driver.va_device(std::to_string(at), "handle = 1\n");
    }
    Maps maps;
    OutputCapture output;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(maps.filled(), 49);
}

TEST(ProcessMap, FillsFiftyDevicesAndSaysSo) {
    for (const int devices : {50, 51, 60}) {
        DriverTree driver;
        for (int at = 1; at <= devices; ++at) {
            driver.va_device(std::to_string(at), "handle = 1\n");
        }
        Maps maps;
        OutputCapture output;
        EXPECT_EQ(maps.read(), 0);
        EXPECT_EQ(output.text(), "exceed ALLOCATION_SUMMARY_MAX!!! \n") << devices;
        EXPECT_EQ(maps.filled(), 50);
    }
}

TEST(ProcessMap, PassesAMalformedHandleOnAndLeavesNothingOpen) {
    DriverTree driver;
    for (const char* name : {"1", "2", "3"}) {
        driver.va_device(name, "handle = a0\n");
    }
    driver.va_device(driver.listing("devices")[1], "handle = zz\n");
    const int before = open_descriptors();
    Maps maps;
    EXPECT_THROW(maps.read(), std::invalid_argument);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(maps.entry[0].handle, 160);
}

TEST(ProcessMap, NamesTheProcessBehindEachDevice) {
    DriverTree driver;
    driver.process(900001, "/usr/bin/viewer\0--fast\0"s);
    driver.va_device("1", "pid = 900001\nhandle = 1\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_STREQ(maps.entry[0].name, "/usr/bin/viewer");
}

TEST(ProcessMap, GivesAProcessThatIsGoneTheEmptyName) {
    DriverTree driver;
    driver.va_device("1", "pid = 900002\nhandle = 1\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_EQ(maps.entry[0].pid, 900002);
    EXPECT_STREQ(maps.entry[0].name, "");
}

TEST(ProcessMap, LeavesTheNameZeroForAnUnreadableCommandLine) {
    DriverTree driver;
    driver.process(900003, "");
    driver.va_device("1", "pid = 900003\nhandle = 1\n").va_device("2", "pid = 900003\nhandle = 2\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    const char zeros[64] = {};
    EXPECT_EQ(std::memcmp(maps.entry[0].name, zeros, 64), 0);
    EXPECT_EQ(std::memcmp(maps.entry[1].name, zeros, 64), 0);
}

TEST(ProcessMap, NamesEveryDeviceOfOneProcess) {
    DriverTree driver;
    driver.process(900001, "viewer\0"s).process(900004, "player\0"s);
    for (int at = 0; at < 8; ++at) {
        driver.va_device(std::to_string(at), at % 2 == 0 ? "pid = 900001\n" : "pid = 900004\n");
    }
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    for (int at = 0; at < 8; ++at) {
        EXPECT_STREQ(maps.entry[at].name, maps.entry[at].pid == 900001 ? "viewer" : "player");
    }
}

TEST(ProcessMap, KeepsTheNameOfTheLastProcessThatAPageNames) {
    DriverTree driver;
    driver.process(900001, "a-long-name\0"s).process(900004, "b\0"s).process(900005, "");
    driver.va_device("1", "pid = 900001\npid = 900004\npid = 900005\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_EQ(maps.entry[0].pid, 900005);
    EXPECT_STREQ(maps.entry[0].name, "b"); // the last command line is empty and leaves the name as it was
}

TEST(ProcessMap, NamesMoreProcessesThanItHasEntries) {
    DriverTree driver;
    std::string page;
    for (int pid = 910000; pid < 910120; ++pid) {
        driver.process(pid, "program-" + std::to_string(pid) + "\0"s);
        page += "pid = " + std::to_string(pid) + "\n";
    }
    driver.va_device("1", page + "pid = 910003\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_STREQ(maps.entry[0].name, "program-910003");
}

TEST(ProcessMap, KeepsEscapeSequencesOfNamesRaw) {
    DriverTree driver;
    driver.process(900001, "\x1b[31mred\0"s);
    driver.va_device("1", "pid = 900001\n");
    Maps maps;
    EXPECT_EQ(maps.read(), 0);
    EXPECT_STREQ(maps.entry[0].name, "\x1b[31mred");
}

TEST(ProcessMap, DoesNotFollowANullRecord) {
    DriverTree driver;
    EXPECT_EQ(get_device_pid_maps_internal(nullptr, 0, 1), -1);
    EXPECT_EQ(get_device_pid_maps(nullptr), -1);
}

TEST(PackageName, IsTheFirstArgumentWhenItFits) {
    DriverTree driver;
    driver.process(900001, "/bin/abcde\0-x\0"s);
    EXPECT_EQ(name_of(900001), "/bin/abcde");
    EXPECT_EQ(name_of(900001, 11), "/bin/abcde");
    EXPECT_EQ(name_of(900001, 10), "abcde");
    EXPECT_EQ(name_of(900001, 3), "ab");
}

TEST(PackageName, IsTheBaseNameOfALongPath) {
    DriverTree driver;
    driver.process(900001, "/" + std::string(70, 'd') + "/program\0"s);
    EXPECT_EQ(name_of(900001), "program");
}

TEST(PackageName, CutsALongTextAtItsFirstBlankBeforeTheBaseName) {
    DriverTree driver;
    driver.process(900001, "/opt/program --file=/" + std::string(70, 'd'));
    EXPECT_EQ(name_of(900001), "program");
    driver.process(900002, "program with " + std::string(70, 'd'));
    EXPECT_EQ(name_of(900002), "program");
    driver.process(900003, std::string(70, ' ') + "x");
    EXPECT_EQ(name_of(900003), "");
    driver.process(900004, "/" + std::string(80, 'd') + "/");
    EXPECT_EQ(name_of(900004), "");
}

TEST(PackageName, KeepsBlanksInATextThatFits) {
    DriverTree driver;
    driver.process(900001, "/opt/my program\0"s);
    EXPECT_EQ(name_of(900001), "/opt/my program");
}

TEST(PackageName, CutsABaseNameThatDoesNotFit) {
    DriverTree driver;
    for (const std::size_t length : {62U, 63U, 64U, 65U, 200U}) {
        driver.process(900001, "/" + std::string(100, 'd') + "/" + std::string(length, 'n'));
        EXPECT_EQ(name_of(900001), std::string(std::min<std::size_t>(length, 63), 'n'));
    }
}

TEST(PackageName, ReadsAtMost510CharactersOfOneLine) {
    DriverTree driver;
    driver.process(900001, std::string(600, 'n'));
    EXPECT_EQ(name_of(900001, 600), std::string(510, 'n'));
    driver.process(900001, "first\nsecond\0"s);
    EXPECT_EQ(name_of(900001), "first\n");
}

TEST(PackageName, IsEmptyForAProcessThatIsGone) {
    DriverTree driver;
    EXPECT_EQ(name_of(900009), "");
    EXPECT_EQ(name_of(-1), "");
}

TEST(PackageName, StaysAsItWasWhenTheCommandLineIsEmpty) {
    DriverTree driver;
    driver.process(900001, "");
    EXPECT_EQ(name_of(900001), "failed, before");
}

TEST(PackageName, IsEmptyForACommandLineThatBeginsWithAZeroByte) {
    DriverTree driver;
    driver.process(900001, "\0x\0"s);
    EXPECT_EQ(name_of(900001), "");
}

TEST(PackageName, WritesNoByteBeyondTheLimit) {
    DriverTree driver;
    driver.process(900001, "/usr/bin/a-name-that-its-process-has-chosen\0"s);
    for (const int limit : {1, 2, 15, 16, 24, 64}) {
        std::string name(100, '#');
        EXPECT_EQ(getPackageNameFromPid(900001, name.data(), limit), 0);
        const std::string whole =
            limit == 64 ? "/usr/bin/a-name-that-its-process-has-chosen" : "a-name-that-its-process-has-chosen";
        const std::string written = whole.substr(0, static_cast<std::size_t>(limit) - 1);
        EXPECT_EQ(name, written + '\0' + std::string(99 - written.size(), '#')) << limit;
    }
}

TEST(PackageName, IsNotWrittenForALimitOfZeroOrLess) {
    DriverTree driver;
    driver.process(900001, "/usr/bin/viewer\0"s);
    for (const int limit : {0, -1, INT32_MIN}) {
        EXPECT_EQ(name_of(900001, limit), "before") << limit;
        EXPECT_EQ(name_of(900009, limit), "before") << limit;
    }
}

TEST(PackageName, IsNotWrittenThroughANullPointer) {
    DriverTree driver;
    driver.process(900001, "viewer\0"s);
    EXPECT_EQ(getPackageNameFromPid(900001, nullptr, 64), -1);
}

TEST(PackageName, LeavesNoDescriptorBehind) {
    DriverTree driver;
    driver.process(900001, "").process(900002, "x");
    const int before = open_descriptors();
    for (int round = 0; round < 100; ++round) {
        name_of(900001);
        name_of(900002);
        name_of(900003);
    }
    EXPECT_EQ(open_descriptors(), before);
}
