#include "output/reading_text.hpp"

using namespace kt3::observe;
using namespace kt3::output;

TEST(Reading, HasTheValueAndTheReasonAsSiblingsInJson) {
    Json object;
    put(object, "temperature_c", {45});
    put(object, "fan0_rpm", absent(Absence::no_node));
    EXPECT_EQ(object.dump(), R"({"temperature_c":45,"temperature_c_reason":null,)"
                             R"("fan0_rpm":null,"fan0_rpm_reason":"no_node"})");
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
