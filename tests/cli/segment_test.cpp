// SPDX-License-Identifier: MIT
// kt3 segment: each source, its unit and its limits.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

using namespace kt3::tests;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

TEST(Kt3Segment, MarksTheLaterOfSevenSegmentsAsPartsOfTheFifth) {
    const json segments = parse_json(run_kt3("segment-node", {"segment", "--json"}).out)["segments"][0];
    EXPECT_EQ(segments["source"], "node");
    ASSERT_THAT(segments["segments"], SizeIs(7));
    EXPECT_EQ(segments["segments"][4]["used_bytes"], 875'000'000);
    EXPECT_EQ(segments["segments"][4]["total_bytes"], 7'000'000'000);
    EXPECT_TRUE(segments["segments"][4]["part_of"].is_null());
    EXPECT_EQ(segments["segments"][5]["part_of"], 4);
    EXPECT_EQ(segments["segments"][6]["part_of"], 4);
}

TEST(Kt3Segment, ShowsHeapsOfMoreThanFourGibibytesAsTheyAre) {
    const json segments = parse_json(run_kt3("old-family-heaps", {"segment", "--json"}).out)["segments"][0];
    EXPECT_EQ(segments["source"], "heap_pages");
    const json& local = segments["segments"][1];
    EXPECT_EQ(local["total_bytes"], 6LL << 30);
    EXPECT_EQ(local["used_bytes"], 67108864 + 20LL * 8294400) << "what the driver itself uses, and the allocations";
    EXPECT_EQ(segments["unit_bytes"], 1);
    EXPECT_THAT(run_kt3("old-family-heaps", {"segment"}).out, HasSubstr("6.0 GiB"));
}

TEST(Kt3Segment, LeavesOutWhatAHeapPageDoesNotSay) {
    const Scratch scratch;
    const Ended run = run_script("old-family-heaps",
                                 "rm \"$KT3_SIM_ROOT\"/sys/kernel/debug/dri/0/qn/heaps/heap_pcie_snoop/info; "
                                 "\"$KT3\" segment --json",
                                 scratch);
    const json document = parse_json(run.out);
    EXPECT_EQ(document["segments"][0]["source"], "heap_pages");
    EXPECT_TRUE(document["segments"][0]["segments"][3]["used_bytes"].is_null());
    EXPECT_EQ(document["segments"][0]["segments"][1]["total_bytes"], 6LL << 30);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(document["errors"][0]["message"].get<std::string>(), HasSubstr("heap_pcie_snoop/info"));
}

TEST(Kt3Segment, SaysThatTheNodeIsRounded) {
    EXPECT_THAT(run_kt3("segment-node", {"segment"}).out, HasSubstr("rounded down to thousands of kilobytes"));
}

TEST(Kt3Segment, FallsBackToAllocationSumsAndSaysSo) {
    const Scratch scratch;
    const Ended run = run_script("busy",
                                 "rm \"$KT3_SIM_ROOT\"/sys/bus/pci/devices/*/wy_info/segment_info; "
                                 "\"$KT3\" segment --json",
                                 scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    const json segments = parse_json(run.out)["segments"][0];
    EXPECT_EQ(segments["source"], "allocation_sums");
    EXPECT_EQ(segments["unit_bytes"], 1 << 20);
    EXPECT_GT(segments["segments"][1]["used_bytes"].get<std::int64_t>(), 6LL << 30);
    EXPECT_TRUE(segments["segments"][1]["total_bytes"].is_null());
}

TEST(Kt3Segment, DrawsBarsForThoseWhoLookOnly) {
    EXPECT_THAT(run_kt3("segment-node", {"segment"}).out, Not(HasSubstr("[#")));
    EXPECT_THAT(run_kt3("segment-node", {"segment", "--color", "always"}).out, HasSubstr("[###############.....]"));
}

TEST(Kt3Segment, ReportsUnreadableSourcesByTheirCause) {
    EXPECT_EQ(run_kt3("no-gpu", {"segment"}).status, 3);
    EXPECT_EQ(run_kt3("missing-nodes", {"segment"}).status, 5);
    EXPECT_EQ(run_kt3("no-rights", {"segment"}).status, 4);
}
