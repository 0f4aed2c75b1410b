// SPDX-License-Identifier: MIT
// kt3 alloc and kt3 process: what they say on machines whose allocations are unusual.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

#include <cstdint>

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

constexpr const char* kDriver =
    "D=\"$KT3_SIM_ROOT/sys/kernel/debug/dri/0/wy\"; mkdir -p \"$D/allocations\" \"$D/devices\"; ";

Ended run_on_driver(const std::string& script) {
    const Scratch scratch;
    return run_script("idle", kDriver + script, scratch);
}

std::string add_allocation(const std::string& entry, const std::string& page) {
    return "mkdir \"$D/allocations/" + entry + "\"; printf '" + page + "' > \"$D/allocations/" + entry + "/info\"; ";
}

const json* entry_with(const json& list, const char* key, const json& value) {
    for (const json& entry : list) {
        if (entry[key] == value) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

TEST(Kt3Alloc, ShowsAnEmptySnapshotAsNoRows) {
    const Ended list = run_on_driver("\"$KT3\" alloc list --json");
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_THAT(parse_json(list.out)["allocations"], IsEmpty());
    const Ended summary = run_on_driver("\"$KT3\" alloc summary --json");
    EXPECT_EQ(summary.status, 0) << summary.err;
    EXPECT_EQ(parse_json(summary.out)["allocation_summaries"][0]["allocations"], 0);
    EXPECT_EQ(run_on_driver("\"$KT3\" alloc list --csv | wc -l").out, "1\n");
}

TEST(Kt3Alloc, EndsWithStatusThreeWithoutAnAdapter) {
    for (const char* command : {"list", "summary", "diff"}) {
        const Ended run = run_kt3("no-gpu", {"alloc", command, "--json"});
        EXPECT_EQ(run.status, 3) << command;
        EXPECT_THAT(parse_json(run.out)["errors"], SizeIs(1));
    }
    EXPECT_EQ(run_kt3("no-gpu", {"process"}).status, 3);
}

TEST(Kt3Alloc, RefusesAGpuOfAnotherVendor) {
    const Ended run = run_kt3("foreign-gpu", {"alloc", "list", "-g", "2"});
    EXPECT_EQ(run.status, 3);
    EXPECT_THAT(run.err, HasSubstr("another vendor"));
}

TEST(Kt3Alloc, TellsAMissingDirectoryFromMissingRights) {
    EXPECT_EQ(run_kt3("idle", {"alloc", "list"}).status, 5);
    const Ended run = run_kt3("no-rights", {"alloc", "list"});
    EXPECT_EQ(run.status, 4);
    EXPECT_THAT(run.err, HasSubstr("Permission denied"));
}

TEST(Kt3Alloc, ReportsAMalformedHandleAsAFinding) {
    for (const char* handle : {"zz", "80000000"}) {
        const std::string broken = add_allocation("1", std::string("handle=") + handle + "\\n");
        for (const char* command : {"alloc list", "alloc summary", "alloc diff -w 0", "process", "leak -w 0 -n 2"}) {
            const Ended run = run_on_driver(broken + "\"$KT3\" " + command + " --json");
            EXPECT_EQ(run.status, 1) << command << run.err;
            EXPECT_EQ(parse_json(run.out)["errors"][0]["code"], "parse_error") << command;
        }
    }
}

TEST(Kt3Alloc, ShowsAnOwnerWithoutProcessAsUnknown) {
    const json document = parse_json(run_kt3("busy", {"alloc", "list", "--json"}).out);
    const json* orphan = entry_with(document["allocations"], "device", 127);
    ASSERT_NE(orphan, nullptr);
    EXPECT_EQ((*orphan)["owner"], "unknown");
    EXPECT_TRUE((*orphan)["pid"].is_null());
    const json* gone = entry_with(document["allocations"], "pid", 5000001);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ((*gone)["owner"], "gone");
    EXPECT_THAT(run_kt3("busy", {"alloc", "list"}).out, AllOf(HasSubstr("(unknown)"), HasSubstr("(gone)")));
}

TEST(Kt3Alloc, EscapesControlCharactersOnScreenAndKeepsThemInJson) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"alloc", "list"}, {"alloc", "summary", "--top", "99"}, {"process"}}) {
        EXPECT_THAT(run_kt3("busy", command).out,
                    AllOf(Not(HasSubstr("\x1b")), HasSubstr("\\x1b[31mred\\x1b[0m\\x07 player\\n")));
    }
    const json document = parse_json(run_kt3("busy", {"process", "--json"}).out);
    const json* entry = entry_with(document["processes"], "pid", 41007);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ((*entry)["process"], "\x1b[31mred\x1b[0m\a player\n");
}

TEST(Kt3Alloc, CountsEachAllocationOnceWhenTheReadingHadToBeginAnew) {
    const json document = parse_json(run_kt3("churn", {"alloc", "summary", "--json"}).out);
    EXPECT_EQ(document["allocation_summaries"][0]["allocations"], 48);
}

TEST(Kt3Alloc, SumsTenThousandAllocations) {
    const Ended run = run_kt3("big", {"alloc", "summary", "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out)["allocation_summaries"][0]["allocations"], 10'000);
}

TEST(Kt3Alloc, ReadsTheSizeOfAnAllocationAsUnsigned) {
    const Ended run =
        run_on_driver(add_allocation("1", "handle=1\\ndevice=7\\nsize=3221225472\\n") + "\"$KT3\" alloc list --csv");
    EXPECT_THAT(run.out, HasSubstr(",3221225472,"));
}

TEST(Kt3Process, AddsUpMoreThanFourGibibytes) {
    const json document = parse_json(run_kt3("busy", {"process", "--json"}).out);
    const json* worker = entry_with(document["processes"], "pid", 41005);
    ASSERT_NE(worker, nullptr);
    EXPECT_GT((*worker)["segments_bytes"][1].get<std::int64_t>(), 6LL << 30);
}

TEST(Kt3Process, CountsEachAllocationOnceWhenTheReadingHadToBeginAnew) {
    const Ended run = run_kt3("churn", {"process", "--json"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(parse_json(run.out)["processes"][0]["total_bytes"], 8 * 8294400 + 16 * 4096);
}

TEST(Kt3Process, ShowsMoreDevicesThanTheLibrarySums) {
    std::string script = "for i in $(seq 1 60); do mkdir \"$D/allocations/$i\"; "
                         "printf \"handle=$i\\ndevice=$i\\nsize=4096\\n\" > \"$D/allocations/$i/info\"; done; ";
    const Ended run = run_on_driver(script + "\"$KT3\" process --json");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(parse_json(run.out)["processes"], SizeIs(60));
}

TEST(Kt3Process, SaysThatOwnersBeyondFiftyDevicesAreUnknown) {
    const Ended run = run_on_driver("for i in $(seq 1 51); do mkdir \"$D/devices/$i\"; "
                                    "printf \"pid = $i\\nhandle = $i\\n\" > \"$D/devices/$i/info\"; done; "
                                    "\"$KT3\" process --json");
    EXPECT_EQ(run.status, 1);
    const json document = parse_json(run.out);
    EXPECT_EQ(document["errors"][0]["code"], "too_many_devices");
    EXPECT_THAT(document["processes"], SizeIs(50));
}

TEST(Kt3AllocDiff, NamesTheGrowingShapeAndProcessFirst) {
    const json difference = parse_json(run_kt3("leak", {"alloc", "diff", "-w", "0", "--json"}).out)["difference"];
    EXPECT_EQ(difference["processes"][0]["process"], "/usr/bin/leaky-player");
    EXPECT_EQ(difference["processes"][0]["growth"]["allocations"], 3);
    EXPECT_EQ(difference["shapes"][0]["size_bytes"], 8294400);
    EXPECT_EQ(difference["shapes"][0]["growth"]["bytes"], 3 * 8294400);
    EXPECT_EQ(difference["appeared"], 3 + 8);
}

TEST(Kt3AllocDiff, ComparesTwoSavedListsAsTwoLooks) {
    const Scratch scratch;
    const Ended run = run_script("leak",
                                 "cd \"$HOME\"; \"$KT3\" alloc list --json -o a; \"$KT3\" alloc list --json -o b; "
                                 "\"$KT3\" alloc diff a b --csv",
                                 scratch);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, run_kt3("leak", {"alloc", "diff", "-w", "0", "--csv"}).out);
}

TEST(Kt3AllocDiff, FindsNoGrowthBetweenAFileAndItself) {
    const Scratch scratch;
    const Ended run =
        run_script("busy", "cd \"$HOME\"; \"$KT3\" alloc list --json -o a; \"$KT3\" alloc diff a a --json", scratch);
    const json difference = parse_json(run.out)["difference"];
    EXPECT_EQ(difference["appeared"], 0);
    EXPECT_THAT(difference["shapes"], IsEmpty());
    EXPECT_EQ(difference["totals"][0]["before"]["allocations"], 305);
}

TEST(Kt3AllocDiff, RefusesFilesThatHoldNoAllocations) {
    const Scratch scratch;
    const std::string cd = "cd \"$HOME\"; echo '{}' > empty; echo 'no json' > text; ";
    EXPECT_EQ(run_script("no-gpu", cd + "\"$KT3\" alloc diff empty empty", scratch).status, 1);
    EXPECT_EQ(run_script("no-gpu", cd + "\"$KT3\" alloc diff text text", scratch).status, 1);
    EXPECT_EQ(run_script("no-gpu", cd + "\"$KT3\" alloc diff absent text", scratch).status, 1);
    EXPECT_EQ(run_script("no-gpu", cd + "\"$KT3\" alloc diff empty", scratch).status, 2);
}
