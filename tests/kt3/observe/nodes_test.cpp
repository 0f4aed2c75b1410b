// SPDX-License-Identifier: MIT
#include "observe/adapter/nodes.hpp"

#include "cli/scratch.hpp"
#include "support/owned.hpp"

#include <fcntl.h>

using namespace kt3::observe;

namespace {

struct Nodes : ::testing::Test {
    kt3::tests::Scratch scratch;
    kt3::support::Fd folder{::open(scratch.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};

    void publish(const char* name, const char* text) const { std::ofstream(scratch.folder / name) << text; }
    [[nodiscard]] Reading<std::int64_t> judged_node(std::int64_t value, const char* name) const {
        return judged(value, folder.get(), name);
    }
};

} // namespace

TEST_F(Nodes, TakeANumberOfTheLibraryAsItIs) {
    EXPECT_EQ(judged_node(7, "absent").value(), 7);
}

TEST_F(Nodes, TellARealZeroFromAMalformedAndFromAMissingNode) {
    publish("zero", "0\n");
    publish("junk", "junk\n");
    EXPECT_EQ(judged_node(0, "zero").value(), 0);
    EXPECT_EQ(judged_node(0, "junk").absence(), Absence::parse_error);
    EXPECT_EQ(judged_node(0, "absent").absence(), Absence::no_node);
}

TEST_F(Nodes, TakeValueAndJudgementFromOneReading) {
    publish("clock", "250\n"); // by now: it could not be read when the library answered 0
    EXPECT_EQ(judged_node(0, "clock").value(), 250);
}

TEST(NumberIn, IsWhatTheTextBeginsWith) {
    EXPECT_EQ(number_in(" \t45 *C\n").value(), 45);
    EXPECT_EQ(number_in("-3").value(), -3);
    EXPECT_EQ(number_in("+3").value(), 3);
    for (const char* text : {"", " ", "-", "+", "x1", "+-1"}) {
        EXPECT_FALSE(number_in(text).present()) << text;
    }
}
