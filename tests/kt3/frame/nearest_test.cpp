// SPDX-License-Identifier: MIT
#include "kt3/nearest.hpp"

#include <gmock/gmock.h>

using namespace kt3::cli;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::vector<std::string> kNames = {"list", "leak", "info", "metric", "process", "prefer"};

} // namespace

TEST(TypingDistance, CountsSlipsOfOneCharacter) {
    EXPECT_EQ(typing_distance("list", "list"), 0U);
    EXPECT_EQ(typing_distance("lst", "list"), 1U);
    EXPECT_EQ(typing_distance("lisst", "list"), 1U);
    EXPECT_EQ(typing_distance("ilst", "list"), 1U) << "two in the wrong order";
    EXPECT_EQ(typing_distance("", "list"), 4U);
}

TEST(NearestNames, AreThoseThatAWordIsASlipOf) {
    EXPECT_THAT(nearest_names("ilst", kNames), ElementsAre("list"));
    EXPECT_THAT(nearest_names("metrics", kNames), ElementsAre("metric"));
    EXPECT_THAT(nearest_names("xyzzy", kNames), IsEmpty());
    EXPECT_THAT(nearest_names("", kNames), IsEmpty());
}

TEST(NearestNames, AreThoseThatItBegins) {
    EXPECT_THAT(nearest_names("pr", kNames), ElementsAre("process", "prefer"));
}

TEST(DidYouMean, AsksForOneOrAmongSeveral) {
    EXPECT_EQ(did_you_mean("ilst", kNames), "did you mean list?");
    EXPECT_EQ(did_you_mean("pr", kNames), "did you mean process or prefer?");
    EXPECT_EQ(did_you_mean("xyzzy", kNames), "");
}
