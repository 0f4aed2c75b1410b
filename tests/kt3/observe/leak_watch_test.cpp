// SPDX-License-Identifier: MIT
#include "observe/memory/leak_watch.hpp"

using namespace kt3::observe;

namespace {

LeakGroup grown(int longest) {
    LeakGroup group;
    group.longest = longest;
    return group;
}

} // namespace

TEST(LeakWatch, CallsALeakWhatGrewAtEveryLook) {
    EXPECT_TRUE(leaks(grown(4), {.looks = 5}));
    EXPECT_FALSE(leaks(grown(3), {.looks = 5}));
    EXPECT_FALSE(leaks(grown(1), {.looks = 2})) << "one growth is none yet";
}

TEST(LeakWatch, CallsALeakWhatReachesTheGate) {
    EXPECT_TRUE(leaks(grown(2), {.looks = 9, .gate = 2}));
    EXPECT_FALSE(leaks(grown(1), {.looks = 9, .gate = 2}));
}

TEST(LeakWatch, NamesTheLargestHolderFirst) {
    LeakGroup group;
    group.devices = {{7, 2}, {8, 5}};
    const auto owners = owners_of(group, {{7, 41, "player"}});
    EXPECT_EQ(owners[0].second, 5);
    EXPECT_FALSE(owners[0].first.pid);
    EXPECT_EQ(owners[1].first.name, "player");
}
