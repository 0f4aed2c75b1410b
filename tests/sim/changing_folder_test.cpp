// SPDX-License-Identifier: MIT
// A folder that moves by one step with each listing, and the scenes with allocations.

#include "changing_folder.hpp"
#include "scenes/scenes.hpp"
#include "support/fake_kernel.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* kFolder = "/sys/kernel/debug/dri/0/wy/allocations";

std::vector<std::string> listing(const std::string& folder = kFolder) {
    std::vector<std::string> names;
    DIR* all = ::opendir(folder.c_str());
    while (const dirent* entry = all == nullptr ? nullptr : ::readdir(all)) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    if (all != nullptr) {
        ::closedir(all);
    }
    return names;
}

bool can_open(const std::string& entry) {
    const int file = ::open((kFolder + ("/" + entry) + "/info").c_str(), O_RDONLY | O_CLOEXEC);
    if (file >= 0) {
        ::close(file);
    }
    return file >= 0;
}

void change(FakeKernel& kernel, const std::vector<kt3::sim::ComingEntries>& rules) {
    kernel.directory(kFolder);
    kt3::sim::make_changing(kernel.root(), kFolder, rules);
}

void build(FakeKernel& kernel, std::string_view scene) {
    kt3::sim::build_scene(*kt3::sim::find_scene(scene), kernel.machine());
}

TEST(ChangingFolder, GainsEntriesWithEachListing) {
    FakeKernel kernel;
    change(kernel, {{.count = 2, .first_name = 7, .page = "handle=@\nsize=4\n"}});
    EXPECT_THAT(listing(), ElementsAre("7", "8"));
    EXPECT_THAT(listing(), ElementsAre("7", "8", "9", "10"));
    EXPECT_EQ(kernel.text(kFolder + std::string("/9/info")), "handle=9\nsize=4\n");
}

TEST(ChangingFolder, TakesEntriesAwayAfterTheirStay) {
    FakeKernel kernel;
    change(kernel, {{.every = 2, .stay = 1, .first_name = 1, .page = "handle=@\n"}});
    EXPECT_THAT(listing(), ElementsAre("1"));
    EXPECT_THAT(listing(), IsEmpty());
    EXPECT_THAT(listing(), ElementsAre("2"));
}

TEST(ChangingFolder, GainsEntriesFromOneListingToAnother) {
    FakeKernel kernel;
    change(kernel, {{.from = 2, .until = 3, .first_name = 1, .page = "handle=@\n"}});
    EXPECT_THAT(listing(), IsEmpty());
    EXPECT_THAT(listing(), ElementsAre("1"));
    EXPECT_THAT(listing(), ElementsAre("1", "2"));
    EXPECT_THAT(listing(), ElementsAre("1", "2"));
}

TEST(ChangingFolder, NamesEntriesThatAreGoneBeforeTheyCanBeOpened) {
    FakeKernel kernel;
    change(kernel, {{.every = 2, .unread = true, .first_name = 5, .page = "handle=@\n"}});
    EXPECT_THAT(listing(), ElementsAre("5"));
    EXPECT_FALSE(can_open("5"));
    EXPECT_THAT(listing(), IsEmpty());
}

TEST(ChangingFolder, DoesNotMoveWhenAnotherFolderIsListed) {
    FakeKernel kernel;
    change(kernel, {{.first_name = 1, .page = "handle=@\n"}});
    kernel.directory("/sys/kernel/debug/dri/0/wy/devices");
    EXPECT_THAT(listing("/sys/kernel/debug/dri/0/wy/devices"), IsEmpty());
    EXPECT_THAT(listing(), ElementsAre("1"));
}

TEST(ChangingFolder, IsAbsentFromOrdinaryMachines) {
    FakeKernel kernel;
    build(kernel, "busy");
    EXPECT_FALSE(kt3::sim::has_changing_folder(kernel.root().c_str()));
    EXPECT_EQ(listing(), listing());
}

TEST(BusyScene, HasADozenProcessesAndHundredsOfAllocations) {
    FakeKernel kernel;
    build(kernel, "busy");
    EXPECT_THAT(listing("/sys/kernel/debug/dri/0/wy/devices"), SizeIs(12));
    EXPECT_THAT(listing(), SizeIs(305));
    EXPECT_THAT(kernel.text(kFolder + std::string("/1000/info")),
                AllOf(HasSubstr("handle=1000\ndevice=16\n"), HasSubstr("\nsegmentid=1\n")));
    EXPECT_EQ(kernel.text("/sys/kernel/debug/dri/0/wy/devices/16/info"), "name = context\npid = 41001\nhandle = 10\n");
}

TEST(LeakScene, GainsThreeFramesWithEachListing) {
    FakeKernel kernel;
    build(kernel, "leak");
    const auto first = listing();
    EXPECT_THAT(first, AllOf(Contains("50002"), Not(Contains("50003"))));
    EXPECT_THAT(listing(), AllOf(Contains("50005"), Not(Contains("50006"))));
    EXPECT_THAT(kernel.text(kFolder + std::string("/50005/info")),
                AllOf(HasSubstr("device=32\n"), HasSubstr("width=1920\n")));
}

TEST(OldFamilyHeapsScene, WritesHexadecimalDevicesInFilesNamedLikeTheirFolder) {
    FakeKernel kernel;
    build(kernel, "old-family-heaps");
    const std::string driver = "/sys/kernel/debug/dri/0/qn/";
    EXPECT_THAT(kernel.text(driver + "allocations/1000/info"), HasSubstr("device=10\n"));
    EXPECT_THAT(kernel.text(driver + "devices/16/16"), HasSubstr("handle = 10\n"));
    EXPECT_THAT(kernel.text(driver + "heaps/heap_local/info"), HasSubstr("6442450944"));
}

TEST(SegmentNodeScene, NamesSevenSegmentsWithinAPageBuffer) {
    FakeKernel kernel;
    build(kernel, "segment-node");
    const std::string page = kernel.text("/sys/bus/pci/devices/0000:03:00.0/wy_info/segment_info");
    EXPECT_THAT(page, AllOf(SizeIs(::testing::Lt(512u)), HasSubstr("segment_id:6,"), Not(HasSubstr("segment_id:7,"))));
}

TEST(ChurnScene, VanishesAtEveryOtherListing) {
    FakeKernel kernel;
    build(kernel, "churn");
    EXPECT_THAT(listing(), SizeIs(52));
    EXPECT_FALSE(can_open("2000"));
    EXPECT_THAT(listing(), SizeIs(48));
    EXPECT_THAT(listing(), SizeIs(52));
}

TEST(BigScene, HasTenThousandAllocations) {
    FakeKernel kernel;
    build(kernel, "big");
    EXPECT_THAT(listing(), SizeIs(10'000));
}

} // namespace
