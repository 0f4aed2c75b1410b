// SPDX-License-Identifier: MIT
#include "kt3/report.hpp"

using namespace kt3::cli;
using kt3::observe::ExitStatus;

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
    EXPECT_EQ(text.substr(0, 35), R"({"schema_version":2,"tool_version":)");
    EXPECT_NE(text.find(tail), std::string::npos) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << "a stream has one document per line";
}

TEST(Document, SaysNullForAnInterfaceThatWasNotAsked) {
    EXPECT_NE(line_of({}).find("\"interface_version\":null"), std::string::npos);
}
