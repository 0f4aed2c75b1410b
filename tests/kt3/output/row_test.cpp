// SPDX-License-Identifier: MIT
#include "output/row.hpp"

using namespace kt3::output;
using kt3::observe::Absence;
using kt3::observe::Reading;
using ::testing::ElementsAre;

namespace {

struct Engine {
    std::string name;
    std::int64_t count = 0;
    Reading<std::int64_t> clock;
};

Bytes memory_of(const Engine& engine) {
    return {engine.count * 1024};
}

std::string loud_name(const Engine& engine) {
    return engine.name + '!';
}

constexpr Column<Engine> kColumns[] = {
    column<&Engine::name, loud_name>("name", "NAME"),
    column<memory_of>("bytes", "MEMORY"),
    column<&Engine::clock>("mhz", "CLOCK", {.unit = "MHz", .group = "clocks"}),
    column<&Engine::count>("shown", "COUNT", {.forms = kText}),
    member<&Engine::count>("count"),
};

const std::vector<Engine> kEngines = {{"3d", 2, 300}, {"video", 1, Absence::no_node}};

} // namespace

TEST(Rows, AreCellsWithUnitsOnScreen) {
    const Table table = table_of(kColumns, kEngines, Format::text);
    EXPECT_EQ(aligned(table, {}), "NAME     MEMORY    CLOCK  COUNT\n"
                                  "3d!     2.0 KiB  300 MHz      2\n"
                                  "video!  1.0 KiB        -      1\n");
}

TEST(Rows, AreBareValuesUnderTheirKeysInCsv) {
    EXPECT_EQ(comma_separated(table_of(kColumns, kEngines, Format::csv)), "name,bytes,clocks.mhz\n"
                                                                          "3d,2048,300\n"
                                                                          "video,1024,\n");
}

TEST(Rows, AreObjectsWithGroupsAndReasonsInJson) {
    EXPECT_EQ(array_of(kColumns, kEngines).dump(),
              R"([{"name":"3d","bytes":2048,"clocks":{"mhz":300,"mhz_reason":null},"count":2},)"
              R"({"name":"video","bytes":1024,"clocks":{"mhz":null,"mhz_reason":"no_node"},"count":1}])");
}

TEST(Rows, KeepTheirHeadingsWithoutARecord) {
    EXPECT_EQ(comma_separated(table_of(kColumns, std::vector<Engine>(), Format::csv)), "name,bytes,clocks.mhz\n");
}

TEST(Rows, GiveACellByItsKey) {
    const Row row = row_of(kColumns, kEngines[0], Format::json);
    EXPECT_EQ(cell_named(row, "mhz").value.json(), 300);
}
