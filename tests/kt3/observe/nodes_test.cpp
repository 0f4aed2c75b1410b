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
    [[nodiscard]] Reading<std::int64_t> read(const char* name, Quantity quantity = Quantity::any) const {
        return number_at(folder.get(), name, quantity);
    }
    [[nodiscard]] Reading<std::int64_t> temperature(const char* text) const {
        publish("temp1_input", text);
        Adapter adapter;
        adapter.hwmon_fd = folder.get();
        return read_temperature(adapter);
    }
};

} // namespace

TEST_F(Nodes, TellARealZeroFromAMalformedAndFromAMissingNode) {
    publish("zero", "0\n");
    publish("junk", "junk\n");
    EXPECT_EQ(read("zero").value(), 0);
    EXPECT_EQ(read("junk").absence(), Absence::parse_error);
    EXPECT_EQ(read("absent").absence(), Absence::no_node);
}

TEST_F(Nodes, AreReadToTheirEnd) {
    publish("long", (std::string(4000, ' ') + "12\n").c_str());
    EXPECT_EQ(read("long").value(), 12);
}

TEST_F(Nodes, ThatCannotBeAreImplausibleWithTheirText) {
    publish("usage", " 250 \nmore\n");
    publish("clock", "10001\n");
    publish("least", "-1\n");
    EXPECT_EQ(read("usage", Quantity::percent).absence(), Absence::implausible);
    EXPECT_EQ(read("usage", Quantity::percent).raw(), "250");
    EXPECT_EQ(read("usage").value(), 250);
    EXPECT_EQ(read("clock", Quantity::megahertz).raw(), "10001");
    EXPECT_EQ(read("least", Quantity::percent).raw(), "-1");
    EXPECT_EQ(read("absent", Quantity::percent).raw(), "");
}

TEST_F(Nodes, TakeLargeTemperaturesForThousandths) {
    EXPECT_EQ(temperature("45 *C\n").value(), 45);
    EXPECT_EQ(temperature("45000\n").value(), 45);
    EXPECT_EQ(temperature("-5\n").value(), -5);
    EXPECT_EQ(temperature("-5000\n").value(), -5);
    EXPECT_EQ(temperature("-50\n").value(), -50);
    EXPECT_EQ(temperature("150\n").value(), 150);
    EXPECT_EQ(temperature("0\n").value(), 0);
    EXPECT_EQ(temperature("1000\n").value(), 1);
    for (const char* text : {"-51\n", "151\n", "999\n", "151000\n", "4294967295\n"}) {
        EXPECT_EQ(temperature(text).absence(), Absence::implausible) << text;
    }
    EXPECT_EQ(temperature("none\n").absence(), Absence::parse_error);
}

TEST(NumberIn, IsWhatTheTextBeginsWith) {
    EXPECT_EQ(number_in(" \t45 *C\n").value(), 45);
    EXPECT_EQ(number_in("-3").value(), -3);
    EXPECT_EQ(number_in("+3").value(), 3);
    for (const char* text : {"", " ", "-", "+", "x1", "+-1"}) {
        EXPECT_FALSE(number_in(text).present()) << text;
    }
}
