// SPDX-License-Identifier: MIT
// A print callback that calls the library again while it logs.

#include "config/home_folder.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <functional>
#include <gmock/gmock.h>

using kt3::tests::entry;
using kt3::tests::HomeFolder;
using testing::ElementsAre;

namespace {

struct Callback {
    std::vector<std::string> lines;
    std::string awaited; // the first line that begins so is answered
    std::function<void()> answer;
};

Callback& callback() {
    static Callback the_callback;
    return the_callback;
}

void hear(const char* line) {
    Callback& mine = callback();
    mine.lines.emplace_back(line);
    if (!mine.awaited.empty() && mine.lines.back().rfind(mine.awaited, 0) == 0) {
        mine.awaited.clear();
        mine.answer();
    }
}

std::string section(const std::string& name) {
    return "[" + name + "]\nFullPath = /bin/" + name +
           "\nPreferGpuName = \nPreferGpuBusID = 0000:00:00.0\nGpuPrefer = 0\n\n\n";
}

std::string load_line(const std::string& name) {
    return "Load from config: " + name + ": /bin/" + name + ", , 0000:00:00.0\n";
}

std::string save_line(const std::string& name) {
    return "Save to config: " + name + ": /bin/" + name + ", , 0000:00:00.0\n";
}

constexpr const char* kHeader = "; tqm_gfx_util.ini\n\n";
constexpr const char* kSaving = "-------------------------\n";

// A home with the entries "a" and "b", and a callback that calls back once.
struct CallingBack : testing::Test {
    CallingBack() {
        home.write(kHeader + section("a") + section("b"));
        pServerPrintCallback = hear;
    }
    ~CallingBack() override { pServerPrintCallback = nullptr; }

    static void at(const char* line, std::function<void()> answer) {
        callback().awaited = line;
        callback().answer = std::move(answer);
    }
    static std::int32_t count() {
        std::int32_t number = -1;
        get_gpu_preference(nullptr, &number);
        return number;
    }
    static void set(const std::string& name) {
        const auto given = entry(name, "/bin/" + name);
        set_gpu_preference(&given);
    }
    static void remove(const std::string& name) {
        const auto given = entry(name, "/bin/" + name);
        remove_gpu_preference(&given);
    }
    std::vector<std::string> loading() const {
        return {"parseINI " + home.file() + "\n", load_line("a"), load_line("b")};
    }

    HomeFolder home;
    std::vector<std::string>& lines = callback().lines;
};

// Each line at which the callback may call back is a test of its own, because a process loads the file once.
struct CallingBackAtALine : CallingBack, testing::WithParamInterface<const char*> {};

} // namespace

TEST_P(CallingBackAtALine, AskingForPreferencesWhileTheyAreLoadedSeesAllOfThemAndLoadsNothingAgain) {
    std::int32_t seen = -1;
    at(GetParam(), [&] { seen = count(); });
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(lines, loading());
}

TEST_P(CallingBackAtALine, SettingAPreferenceWhileTheFileIsLoadedLosesNoneOfTheFile) {
    at(GetParam(), [] { set("c"); });
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(home.text(), kHeader + section("a") + section("b") + section("c"));
}

TEST_P(CallingBackAtALine, ReleasingThePreferencesWhileTheyAreLoadedCutsNoLineShort) {
    at(GetParam(), [] { uninitGPUPreference_config(); });
    EXPECT_EQ(count(), 0);
    lines.erase(std::find(lines.begin(), lines.end(), "uninitGPUPreference_config.\n "));
    EXPECT_EQ(lines, loading());
}

INSTANTIATE_TEST_SUITE_P(EachLoadLine, CallingBackAtALine,
                         testing::Values("parseINI ", "Load from config: a", "Load from config: b"));

TEST_F(CallingBack, AskingForPreferencesWhenTheFileIsFoundMissingDoesNotLookForItAgain) {
    std::filesystem::remove(home.file());
    std::int32_t seen = -1;
    at("parseINI fail", [&] { seen = count(); });
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(seen, 0);
    EXPECT_THAT(lines, ElementsAre("parseINI fail to open " + home.file() + "\n"));
}

TEST_F(CallingBack, SettingAPreferenceWhileSaveLinesAreLoggedSavesBoth) {
    count();
    lines.clear();
    at("Save to config: a", [] {
        interface_config_list.shrink_to_fit();
        set("d");
    });
    set("c");
    EXPECT_EQ(home.text(), kHeader + section("a") + section("b") + section("c") + section("d"));
    EXPECT_THAT(lines, ElementsAre(kSaving, save_line("a"),                                                       //
                                   kSaving, save_line("a"), save_line("b"), save_line("c"), save_line("d"), "\n", //
                                   save_line("b"), save_line("c"), "\n"));
}

TEST_F(CallingBack, RemovingAPreferenceWhileSaveLinesAreLoggedCutsNoLineShort) {
    count();
    lines.clear();
    at(kSaving, [] { remove("a"); });
    set("c");
    EXPECT_EQ(home.text(), kHeader + section("b") + section("c"));
    EXPECT_THAT(lines, ElementsAre(kSaving, kSaving, save_line("b"), save_line("c"), "\n", //
                                   save_line("a"), save_line("b"), save_line("c"), "\n"));
}

TEST_F(CallingBack, ReleasingThePreferencesWhileSaveLinesAreLoggedCutsNoLineShort) {
    count();
    lines.clear();
    at("Save to config: a", [] { initGPUPreference_config(); });
    set("c");
    EXPECT_THAT(lines, ElementsAre(kSaving, save_line("a"), "initGPUPreference_config.\n ", save_line("b"),
                                   save_line("c"), "\n"));
    EXPECT_TRUE(interface_config_list.empty());
}
