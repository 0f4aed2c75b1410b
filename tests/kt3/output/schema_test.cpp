// SPDX-License-Identifier: MIT
#include "output/schema.hpp"

using namespace kt3::output;
using kt3::observe::Reading;

namespace {

struct Engine {
    int slot = 0;
    std::string kind;
    std::optional<std::int64_t> owner;
    Reading<std::int64_t> clock;
};

// clang-format off
constexpr Column<Engine> kColumns[] = {
    column<&Engine::slot> ("slot",  "SLOT",  {.least = 0, .most = 2}),
    column<&Engine::kind> ("kind",  "KIND",  {.one_of = "codec 3d"}),
    column<&Engine::owner>("owner", "OWNER"),
    column<&Engine::owner>("shown", "SHOWN", {.forms = kText | kCsv}),
    column<&Engine::clock>("mhz",   "CLOCK", {.group = "clocks"}),
};
// clang-format on

} // namespace

TEST(Schema, TakesTypesBoundsAndWordsFromTheColumns) {
    const Json properties = form_of(kColumns)["properties"];
    EXPECT_EQ(properties["slot"].dump(), R"({"type":"integer","minimum":0,"maximum":2})");
    EXPECT_EQ(properties["kind"].dump(), R"({"enum":["codec","3d"]})");
    EXPECT_EQ(properties["owner"].dump(), R"({"type":["integer","null"]})");
}

TEST(Schema, RequiresTheMembersThatJsonHasAndNoOthers) {
    const Json form = form_of(kColumns);
    EXPECT_EQ(form["required"].dump(), R"(["slot","kind","owner","clocks"])");
    EXPECT_EQ(form["additionalProperties"], false);
    EXPECT_FALSE(form["properties"].contains("shown"));
}

TEST(Schema, TiesTheReasonOfAReadingToItsAbsence) {
    const Json clocks = form_of(kColumns)["properties"]["clocks"];
    EXPECT_EQ(clocks["required"].dump(), R"(["mhz","mhz_reason"])");
    EXPECT_EQ(clocks["properties"]["mhz_reason"].dump(), R"({"$ref":"#/definitions/reason"})");
    EXPECT_EQ(clocks["allOf"].dump(), R"([{"if":{"properties":{"mhz":{"type":"null"}}},)"
                                      R"("then":{"properties":{"mhz_reason":{"type":"string"}}},)"
                                      R"("else":{"properties":{"mhz_reason":{"type":"null"}}}}])");
}

TEST(Schema, TakesNullForWhatMayBeMissing) {
    EXPECT_EQ(nullable_form({{"enum", {"a", "b"}}}).dump(), R"({"enum":["a","b",null]})");
    EXPECT_EQ(nullable_form({{"$ref", "#/definitions/bdf"}}).dump(),
              R"({"anyOf":[{"$ref":"#/definitions/bdf"},{"type":"null"}]})");
}

TEST(Schema, RequiresTheMembersOfACommandUnlessSomethingWentWrong) {
    const Json schema =
        Json::parse(schema_text({{{"one", "two"}, nullptr, {{"rows", array_form(form_of(kColumns))}}}}));
    const Json& rule = schema["allOf"][0];
    EXPECT_EQ(rule["if"].dump(), R"({"properties":{"command":{"enum":["one","two"]}}})");
    EXPECT_EQ(rule["then"]["if"].dump(), R"({"properties":{"errors":{"maxItems":0}}})");
    EXPECT_EQ(rule["then"]["then"].dump(), R"({"required":["rows"]})");
    EXPECT_TRUE(rule["then"]["properties"]["rows"]["items"].contains("required"));
}
