#include "kt3/report.hpp"
#include "observe/reading.hpp"

#include <cerrno>

using namespace kt3::cli;

TEST(Reading, HasTheValueAndTheReasonAsSiblingsInJson) {
    Json object;
    put(object, "temperature_c", {45});
    put(object, "fan0_rpm", absent(Absence::no_node));
    EXPECT_EQ(object.dump(), R"({"temperature_c":45,"temperature_c_reason":null,)"
                             R"("fan0_rpm":null,"fan0_rpm_reason":"no_node"})");
}

TEST(Reading, NamesEachReason) {
    EXPECT_STREQ(reason_code(Absence::permission), "permission");
    EXPECT_STREQ(reason_code(Absence::no_node), "no_node");
    EXPECT_STREQ(reason_code(Absence::not_on_this_chip), "not_on_this_chip");
    EXPECT_STREQ(reason_code(Absence::parse_error), "parse_error");
    EXPECT_STREQ(reason_code(Absence::driver), "driver");
}

TEST(Reading, TakesTheReasonFromTheErrorOfTheFile) {
    EXPECT_EQ(absence_of(EACCES), Absence::permission);
    EXPECT_EQ(absence_of(EPERM), Absence::permission);
    EXPECT_EQ(absence_of(ENOENT), Absence::no_node);
    EXPECT_EQ(absence_of(EIO), Absence::driver);
}

TEST(Reading, ShowsUnitsAndReasonsOnScreen) {
    EXPECT_EQ(shown({45}, "C"), "45 C");
    EXPECT_EQ(shown({0}, "MHz"), "0 MHz");
    EXPECT_EQ(shown({true}), "yes");
    EXPECT_EQ(shown(absent(Absence::permission), "C"), "-  (permission denied)");
    EXPECT_EQ(shown_briefly(absent(Absence::permission), "C"), "-");
}

TEST(Reading, IsBareInCommaSeparatedValues) {
    EXPECT_EQ(bare({45}), "45");
    EXPECT_EQ(bare({false}), "false");
    EXPECT_EQ(bare({"a"}), "a");
    EXPECT_EQ(bare(absent(Absence::driver)), "");
}

namespace {

std::string line_of(const Report& report) {
    std::string text;
    write_document(report, true, [&](std::string_view piece) { text += piece; });
    return text;
}

} // namespace

TEST(Document, HasItsMembersInOneOrderAndReplacesBrokenText) {
    Report report;
    report.command = "list";
    report.interface_version = 23;
    report.errors.push_back({ExitStatus::failure, "x", "a\xFF"});
    const std::string text = line_of(report);
    const std::string tail = R"("command":"list","adapters":[],"errors":[{"code":"x","message":"a)"
                             "\xEF\xBF\xBD"
                             R"(","fix":null,"slot":null}]})"
                             "\n";
    EXPECT_EQ(text.substr(0, 35), R"({"schema_version":1,"tool_version":)");
    EXPECT_NE(text.find(tail), std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << "a stream has one document per line";
}

TEST(Document, SaysNullForAnInterfaceThatWasNotAsked) {
    EXPECT_NE(line_of({}).find("\"interface_version\":null"), std::string::npos);
}
