// SPDX-License-Identifier: MIT
#include "observe/prefer/preference_text.hpp"

#include <cstring>

using namespace kt3::observe;
using ::testing::HasSubstr;

TEST(ApplicationName, IsWhatFollowsTheLastSeparator) {
    EXPECT_EQ(application_name("/usr/bin/app"), "app");
    EXPECT_EQ(application_name("C:\\apps\\game.exe"), "game.exe");
    EXPECT_EQ(application_name("a/b\\c"), "c");
    EXPECT_EQ(application_name("app"), "app");
    EXPECT_EQ(application_name("/usr/bin/"), "");
}

TEST(StorablePath, MayHoldWhateverTheFileCarriesBack) {
    for (const char* path : {"/usr/bin/app", "app", "/a]/b", "/a = b", "/a/[b", "/größe/ä", "/a b/c d", "/x#y"}) {
        EXPECT_EQ(why_not_storable(path), "") << path;
    }
}

TEST(StorablePath, IsRefusedForWhatTheFileWouldChange) {
    const struct {
        const char* path;
        const char* reason;
    } rows[] = {
        {"", "is empty"},          {"/usr/bin/", "file name is empty"},
        {"/a;b/c", "\";\""},       {"/a/b;c", "\";\""},
        {"/a/b]c", "\"]\""},       {"/a\nb/c", "line break"},
        {"/a/b\nc", "line break"}, {" /a/b", "white space"},
        {"/a/b ", "white space"},  {"/a/b\t", "white space"},
        {"/a/ b", "white space"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(why_not_storable(row.path), HasSubstr(row.reason)) << row.path;
    }
}

TEST(StorablePath, HoldsAtMost511BytesAndItsName63) {
    const std::string longest_name = "/" + std::string(63, 'n');
    EXPECT_EQ(why_not_storable(longest_name), "");
    EXPECT_THAT(why_not_storable(longest_name + "n"), HasSubstr("64 bytes"));
    const std::string longest_path = std::string(507, 'p') + "/app";
    EXPECT_EQ(longest_path.size(), 511U);
    EXPECT_EQ(why_not_storable(longest_path), "");
    EXPECT_THAT(why_not_storable("p" + longest_path), HasSubstr("512 bytes"));
}

TEST(GpuName, HoldsAtMost15Bytes) {
    EXPECT_EQ(why_no_gpu_name(std::string(15, 'g')), "");
    EXPECT_THAT(why_no_gpu_name(std::string(16, 'g')), HasSubstr("16 bytes"));
    EXPECT_THAT(why_no_gpu_name("a;b"), HasSubstr("\";\""));
}

TEST(PreferenceRecord, CarriesEveryFieldThereAndBack) {
    const Preference preference{"app", "/usr/bin/app", -7, "Gpu0:Vorla-55F0", {0xFFFF, 0xFE, 0x1F, 7}};
    EXPECT_EQ(preference_in(node_of(preference)), preference);
}

TEST(PreferenceRecord, IsZeroWhereNoValueStands) {
    const auto node = node_of({"app", "app", 1, "g", {}});
    _UTIL_GPU_PREFERENCE_NODE expected;
    std::memset(&expected, 0, sizeof expected);
    std::memcpy(expected.name, "app", 3);
    std::memcpy(expected.FullPath, "app", 3);
    expected.GpuPrefer = 1;
    expected.PreferGpuName[0] = 'g';
    EXPECT_EQ(std::memcmp(&node, &expected, sizeof node), 0);
}

TEST(StoredLines, HaveTheBusIdInDecimal) {
    EXPECT_EQ(stored_lines({"app", "/usr/bin/app", 2, "Gpu", {1, 0x0A, 0x1F, 7}}), "[app]\n"
                                                                                   "FullPath = /usr/bin/app\n"
                                                                                   "PreferGpuName = Gpu\n"
                                                                                   "PreferGpuBusID = 0001:10:31.7\n"
                                                                                   "GpuPrefer = 2\n");
}

TEST(Headings, AreCountedAtLineStartsOnly) {
    EXPECT_EQ(headings_in("; x\n\n[a]\nFullPath = [a]\n[ab]\n[a]", "a"), 2);
    EXPECT_EQ(headings_in("", "a"), 0);
    EXPECT_EQ(headings_in("\n\n", "a"), 0);
}
