// SPDX-License-Identifier: MIT
#include "kt3/options.hpp"

#include <cstdlib>

using kt3::cli::Options;
using kt3::cli::wants_color;

namespace {

struct Colors : ::testing::Test {
    Colors() {
        ::unsetenv("NO_COLOR");
        ::setenv("TERM", "xterm", 1);
    }
    Options options;
};

} // namespace

TEST_F(Colors, AreForTerminals) {
    EXPECT_TRUE(wants_color(options, true));
    EXPECT_FALSE(wants_color(options, false));
}

TEST_F(Colors, AreOffWhenTheEnvironmentSaysSo) {
    ::setenv("NO_COLOR", "1", 1);
    EXPECT_FALSE(wants_color(options, true));
    ::setenv("NO_COLOR", "", 1);
    EXPECT_TRUE(wants_color(options, true)) << "an empty value does not count";
}

TEST_F(Colors, AreOffOnADumbTerminal) {
    ::setenv("TERM", "dumb", 1);
    EXPECT_FALSE(wants_color(options, true));
}

TEST_F(Colors, FollowTheOptionBeforeAnythingElse) {
    ::setenv("NO_COLOR", "1", 1);
    options.color = "always";
    EXPECT_TRUE(wants_color(options, false));
    options.color = "never";
    ::unsetenv("NO_COLOR");
    EXPECT_FALSE(wants_color(options, true));
}
