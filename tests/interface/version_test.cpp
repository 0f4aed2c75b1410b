// SPDX-License-Identifier: MIT
#include "support/log_capture.hpp"

#include <gmock/gmock.h>

using kt3::tests::LogCapture;
using testing::ElementsAre;

namespace {

struct Row {
    std::int64_t client;
    std::int32_t code;
    const char* line;
};

constexpr const char* kMajor = "major version mismatch !!!\n";
constexpr const char* kOlder = "minor version compatile.\n";
constexpr const char* kNewer = "warning!!! client minor version > server minior vesion, might have compatible issue.\n";

constexpr Row kRows[] = {
    {23, 200, "client_interface_version ALL Match.\n"},
    {0, 201, kOlder},
    {22, 201, kOlder},
    {24, 202, kNewer},
    {65535, 202, kNewer},
    {65536, 100, kMajor},
    {65536 + 23, 100, kMajor},
    {0x7FFFFFFF, 100, kMajor},
    {-1, 100, kMajor},
    {INT32_MIN, 100, kMajor},
};

} // namespace

TEST(InterfaceVersion, IsTwentyThreeAndLogsNothing) {
    LogCapture log;
    EXPECT_EQ(get_interface_version(), 23);
    EXPECT_TRUE(LogCapture::lines().empty());
}

TEST(InterfaceVersion, EveryClientVersionGetsItsCodeItsLineAndTheServerVersion) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.client);
        LogCapture log;
        _GFX_INTERFACE_VERSION record{-5, static_cast<std::int32_t>(row.client), -5};
        EXPECT_EQ(get_interface_version_ext1(&record), 0);
        EXPECT_EQ(record.server_version, 23);
        EXPECT_EQ(record.client_version, row.client);
        EXPECT_EQ(record.match_result, row.code);
        EXPECT_THAT(LogCapture::lines(), ElementsAre(row.line));
    }
}

TEST(InterfaceVersion, ANullRecordIsNotTouched) {
    LogCapture log;
    EXPECT_EQ(get_interface_version_ext1(nullptr), 0);
    EXPECT_TRUE(LogCapture::lines().empty());
}

TEST(Stubs, DriverInfoReturnsZeroAndSaysNothing) {
    LogCapture log;
    EXPECT_EQ(get_driver_info(), 0);
    EXPECT_TRUE(LogCapture::lines().empty());
}

TEST(Stubs, SelfcheckAlwaysReportsHealthy) {
    std::int32_t status = 77;
    EXPECT_EQ(selfcheck_current_tool_status(&status), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(selfcheck_current_tool_status(nullptr), 0);
}
