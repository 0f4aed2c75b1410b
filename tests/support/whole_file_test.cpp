// SPDX-License-Identifier: MIT
#include "support/whole_file.hpp"

#include "support/named_file.hpp"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using kt3::support::kLargestFile;
using kt3::support::read_whole;
using kt3::support::ReadResult;
using kt3::support::replace_file;
using kt3::support::SaveResult;

namespace {

struct WholeFile : testing::Test {
    WholeFile() { std::ofstream(path) << "text"; }
    ~WholeFile() override { std::filesystem::remove(path); }
    std::string path = testing::TempDir() + "kt3-whole-file-" + std::to_string(::getpid());
};

} // namespace

TEST_F(WholeFile, IsReadToItsEnd) {
    const auto read = read_whole(path.c_str());
    EXPECT_EQ(read.result, ReadResult::whole);
    EXPECT_EQ(read.text, "text");
}

TEST_F(WholeFile, MayBeEmpty) {
    std::filesystem::resize_file(path, 0);
    const auto read = read_whole(path.c_str());
    EXPECT_EQ(read.result, ReadResult::whole);
    EXPECT_EQ(read.text, "");
}

TEST_F(WholeFile, MayHaveSixtyFourMebibytesAndNoByteMore) {
    std::filesystem::resize_file(path, kLargestFile);
    const auto largest = read_whole(path.c_str());
    EXPECT_EQ(largest.result, ReadResult::whole);
    EXPECT_EQ(largest.text.size(), static_cast<std::size_t>(kLargestFile));
    std::filesystem::resize_file(path, kLargestFile + 1);
    EXPECT_EQ(read_whole(path.c_str()).result, ReadResult::unreadable);
}

TEST_F(WholeFile, IsNotReplacedByATextThatCouldNotBeReadAgain) {
    const std::string too_large(static_cast<std::size_t>(kLargestFile) + 1, 'x');
    EXPECT_EQ(replace_file(path.c_str(), too_large), SaveResult::not_written);
    EXPECT_EQ(read_whole(path.c_str()).text, "text");
}

TEST_F(WholeFile, IsReadToItsEndWhenItDoesNotTellItsSize) {
    EXPECT_EQ(std::filesystem::file_size("/proc/self/maps"), 0U);
    const auto read = read_whole("/proc/self/maps");
    EXPECT_EQ(read.result, ReadResult::whole);
    EXPECT_NE(read.text.find("[stack]"), std::string::npos);
}

TEST_F(WholeFile, IsAbsentOnlyWhenNothingHasItsName) {
    EXPECT_EQ(read_whole((path + ".missing").c_str()).result, ReadResult::absent);
    EXPECT_EQ(read_whole((path + "/below").c_str()).result, ReadResult::absent);
    EXPECT_EQ(read_whole("").result, ReadResult::absent);
    EXPECT_EQ(read_whole("/dev/null").result, ReadResult::unreadable);
}
