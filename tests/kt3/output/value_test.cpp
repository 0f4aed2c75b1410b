// SPDX-License-Identifier: MIT
#include "output/value.hpp"

using namespace kt3::observe;
using namespace kt3::output;

TEST(Reading, HasTheValueAndTheReasonAsSiblingsInJson) {
    Json object;
    put_reading(object, "temperature_c", 45);
    put_reading(object, "fan0_rpm", Absence::no_node);
    EXPECT_EQ(object.dump(), R"({"temperature_c":45,"temperature_c_reason":null,)"
                             R"("fan0_rpm":null,"fan0_rpm_reason":"no_node"})");
}

TEST(Reading, ShowsUnitsAndReasonsOnScreen) {
    EXPECT_EQ(shown(45, "C"), "45 C");
    EXPECT_EQ(shown(0, "MHz"), "0 MHz");
    EXPECT_EQ(shown(true), "yes");
    EXPECT_EQ(shown(Absence::permission, "C"), "-  (permission denied)");
    EXPECT_EQ(shown_briefly(Absence::permission, "C"), "-");
}

TEST(Reading, IsBareInCommaSeparatedValues) {
    EXPECT_EQ(Value(45).csv(), "45");
    EXPECT_EQ(Value(false).csv(), "false");
    EXPECT_EQ(Value("a").csv(), "a");
    EXPECT_EQ(Value(Absence::driver).csv(), "");
}

TEST(Value, OfASizeIsBytesForProgramsAndUnitsForPeople) {
    EXPECT_EQ(Value(Bytes{1536}).text(), "1.5 KiB");
    EXPECT_EQ(Value(Bytes{1536}).csv(), "1536");
    EXPECT_EQ(Value(Bytes{1536}).json(), 1536);
}

TEST(Value, OfAnIdentifierIsHexadecimalOnScreenOnly) {
    EXPECT_EQ(Value(Hex{0x5C0E}).text(), "0x5c0e");
    EXPECT_EQ(Value(Hex{0x5C0E}).csv(), "23566");
    EXPECT_EQ(Value(Hex{0x5C0E}).json(), 0x5C0E);
}

TEST(Value, OfAListNamesItsItemsOrNone) {
    EXPECT_EQ(Value(std::vector<std::string>{"HDMI", "DP"}).text(), "HDMI, DP");
    EXPECT_EQ(Value(std::vector<std::string>{}).text(), "none");
    EXPECT_EQ(Value(std::vector<std::string>{"HDMI"}).json().dump(), R"(["HDMI"])");
}

TEST(Value, ThatIsNotThereIsEmptyAndNull) {
    const Value nothing = std::optional<std::int64_t>();
    EXPECT_EQ(nothing.text(), "");
    EXPECT_EQ(nothing.csv(), "");
    EXPECT_EQ(nothing.json(), nullptr);
}

TEST(Value, ReplacesBrokenTextInJsonAlone) {
    EXPECT_EQ(Value("a\xFF").json(), "a\xEF\xBF\xBD");
    EXPECT_EQ(Value("a\xFF").csv(), "a\xFF");
}
