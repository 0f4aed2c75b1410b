// SPDX-License-Identifier: MIT
// Whose memory it is: users, containers, pods and jobs, owners that have ended, and those that nobody can see.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

#include <cstdint>

using namespace kt3::tests;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

json document_of(const std::string& scene, std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    return parse_json(run_kt3(scene, std::move(arguments)).out);
}

// The entry of a process; null when there is none.
json entry_of(const json& list, std::int64_t pid) {
    for (const json& entry : list) {
        if (entry["pid"] == pid) {
            return entry;
        }
    }
    return nullptr;
}

json group_named(const json& groups, const char* name) {
    for (const json& group : groups) {
        if (group["group"] == name) {
            return group;
        }
    }
    return nullptr;
}

json group_of_kind(const json& groups, const char* kind) {
    for (const json& group : groups) {
        if (group["kind"] == kind) {
            return group;
        }
    }
    return nullptr;
}

std::int64_t sum(const json& list, const char* key) {
    std::int64_t bytes = 0;
    for (const json& entry : list) {
        bytes += entry[key].get<std::int64_t>();
    }
    return bytes;
}

std::int64_t segment_sum(const json& list, std::size_t segment) {
    std::int64_t bytes = 0;
    for (const json& entry : list) {
        bytes += entry["segments_bytes"][segment].get<std::int64_t>();
    }
    return bytes;
}

std::string on_machine(const std::string& script) {
    const Scratch scratch;
    return run_script("orphans", "P=\"$KT3_SIM_ROOT/proc\"; " + script, scratch).out;
}

constexpr const char* kScenes[] = {"containers", "orphans", "in-container", "busy", "demo"};
constexpr const char* kWords[] = {"user", "unit", "container", "pod", "job"};

} // namespace

TEST(Owners, AreKnownByUserUnitContainerPodAndJob) {
    const json processes = document_of("containers", {"process"})["processes"];
    const json docker = entry_of(processes, 42002);
    EXPECT_EQ(docker["user"], "desk");
    EXPECT_EQ(docker["uid"], 1000);
    EXPECT_EQ(docker["state"], "S");
    EXPECT_EQ(docker["runtime"], "docker");
    EXPECT_EQ(docker["container"].get<std::string>().substr(0, 12), "d0c4e1ab5e55");
    EXPECT_TRUE(docker["unit"].is_null());
    const json pod = entry_of(processes, 42005);
    EXPECT_EQ(pod["pod"], "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9");
    EXPECT_EQ(pod["runtime"], "containerd");
    EXPECT_EQ(pod["user"], "nobody");
    EXPECT_EQ(entry_of(processes, 42006)["pod"], "11112222-3333-4444-5555-666677778888");
    EXPECT_TRUE(entry_of(processes, 42006)["runtime"].is_null());
    EXPECT_EQ(entry_of(processes, 42008)["job"], "1234");
    EXPECT_EQ(entry_of(processes, 42009)["job"], "1235");
    const json service = entry_of(processes, 42011);
    EXPECT_EQ(service["unit"], "streamd.service");
    EXPECT_EQ(service["user"], "998") << "a user without a name";
    EXPECT_TRUE(service["container"].is_null());
}

TEST(Owners, StandInShortOnScreen) {
    EXPECT_THAT(run_kt3("containers", {"process"}).out,
                AllOf(HasSubstr("  container d0c4e1ab5e55\n"), HasSubstr("  pod 0a1b2c3d\n"), HasSubstr("  job 1234\n"),
                      HasSubstr("  unit streamd.service\n"), HasSubstr("  container encoder\n")));
}

TEST(Groups, AddUpToTheTotalToTheByte) {
    for (const char* scene : kScenes) {
        const json holders = document_of(scene, {"process"})["processes"];
        ASSERT_THAT(holders, Not(IsEmpty())) << scene;
        for (const char* word : kWords) {
            const json document = document_of(scene, {"process", "--by", word});
            const json& groups = document["groups"];
            EXPECT_EQ(document["by"], word);
            EXPECT_THAT(document["processes"], IsEmpty());
            EXPECT_EQ(sum(groups, "total_bytes"), sum(holders, "total_bytes")) << scene << ' ' << word;
            for (std::size_t segment = 0; segment < 5; ++segment) {
                EXPECT_EQ(segment_sum(groups, segment), segment_sum(holders, segment)) << scene << ' ' << word;
            }
        }
    }
}

TEST(Groups, OfAllocationsAddUpToTheTotalToTheByte) {
    for (const char* scene : kScenes) {
        for (const char* word : kWords) {
            const json document = document_of(scene, {"alloc", "summary", "--by", word});
            ASSERT_THAT(document["allocation_summaries"], Not(IsEmpty()));
            for (const json& sums : document["allocation_summaries"]) {
                EXPECT_EQ(sum(sums["groups"], "bytes"), sums["bytes"]) << scene << ' ' << word;
                EXPECT_EQ(sum(sums["groups"], "allocations"), sums["allocations"]) << scene << ' ' << word;
                EXPECT_THAT(sums["processes"], IsEmpty());
            }
        }
    }
}

TEST(Groups, CountProcessesAndGatherWhatBelongsToNone) {
    const json users = document_of("containers", {"process", "--by", "user"})["groups"];
    EXPECT_EQ(group_named(users, "root")["processes"], 2);
    EXPECT_EQ(group_named(users, "desk")["processes"], 3);
    const json jobs = document_of("containers", {"process", "--by", "job"})["groups"];
    EXPECT_THAT(jobs, SizeIs(3));
    EXPECT_EQ(group_of_kind(jobs, "none")["processes"], 9);
    EXPECT_TRUE(group_of_kind(jobs, "none")["group"].is_null());
    EXPECT_THAT(run_kt3("containers", {"process", "--by", "job"}).out, AllOf(HasSubstr("JOB"), HasSubstr("(none)")));
}

TEST(Groups, KeepEndedAndInvisibleOwnersApart) {
    const json ended = document_of("orphans", {"process", "--by", "user"})["groups"];
    EXPECT_EQ(group_of_kind(ended, "ended")["processes"], 2);
    EXPECT_EQ(group_of_kind(ended, "not_visible"), nullptr);
    EXPECT_THAT(run_kt3("orphans", {"process", "--by", "user"}).out, HasSubstr("(ended)"));
    const json hidden = document_of("in-container", {"process", "--by", "user"})["groups"];
    EXPECT_EQ(group_of_kind(hidden, "not_visible")["processes"], 6);
    EXPECT_EQ(group_of_kind(hidden, "ended"), nullptr);
    EXPECT_THAT(run_kt3("in-container", {"alloc", "summary", "--by", "user"}).out, HasSubstr("(not visible)"));
}

TEST(Groups, AreSortedAndCutAsRowsAre) {
    const json all = document_of("containers", {"process", "--by", "user", "--sort", "name"})["groups"];
    EXPECT_EQ(all[0]["group"], "998");
    EXPECT_EQ(all[1]["group"], "ada");
    const json top = document_of("containers", {"process", "--by", "user", "--top", "1"})["groups"];
    ASSERT_THAT(top, SizeIs(1));
    EXPECT_EQ(top[0]["total_bytes"],
              document_of("containers", {"process", "--by", "user"})["groups"][0]["total_bytes"]);
    EXPECT_THAT(run_kt3("containers", {"process", "--by", "user", "--top", "1"}).out, HasSubstr("6 more\n"));
    EXPECT_EQ(run_kt3("containers", {"process", "--by", "user", "--sort", "pid"}).status, 2);
    EXPECT_EQ(run_kt3("containers", {"process", "--by", "colour"}).status, 2);
}

TEST(Groups, ByProcessAreTheRowsThemselves) {
    EXPECT_EQ(run_kt3("orphans", {"process", "--by", "process"}).out, run_kt3("orphans", {"process"}).out);
    EXPECT_EQ(run_kt3("orphans", {"alloc", "summary", "--by", "process", "--csv"}).out,
              run_kt3("orphans", {"alloc", "summary", "--csv"}).out);
}

TEST(Orphans, AreThoseWhoseProcessHasEndedOrWhosePidBelongsToALaterOne) {
    const json processes = document_of("orphans", {"process", "--orphans"})["processes"];
    ASSERT_THAT(processes, SizeIs(2));
    EXPECT_EQ(entry_of(processes, 5'000'001)["owner"], "gone");
    const json replaced = entry_of(processes, 43005);
    EXPECT_EQ(replaced["owner"], "gone");
    for (const char* key : {"process", "user", "uid", "state", "unit", "container", "runtime", "pod", "job"}) {
        EXPECT_TRUE(replaced[key].is_null()) << key << ": nothing is inherited";
    }
    EXPECT_THAT(run_kt3("orphans", {"process"}).out, AllOf(HasSubstr("pid reused"), Not(HasSubstr("newcomer"))));
}

TEST(Orphans, BecomeSoWhenTheirPidIsTakenOver) {
    EXPECT_THAT(on_machine("\"$KT3\" process --orphans --csv | grep -c ',43001,'"), HasSubstr("0\n"));
    const std::string later = "sed -i 's/ 500000 / 700000 /' \"$P/43001/stat\"; ";
    EXPECT_THAT(on_machine(later + "\"$KT3\" process --orphans --csv | grep -c ',43001,'"), HasSubstr("1\n"));
}

TEST(Orphans, AreKnownToTheOlderFamilyAsWell) {
    const Scratch scratch;
    const std::string later = "sed -i 's/ 500000 / 700000 /' \"$KT3_SIM_ROOT/proc/41006/stat\"; ";
    EXPECT_THAT(run_script("demo", later + "\"$KT3\" process -g 1 --orphans --csv | wc -l", scratch).out, "2\n");
    EXPECT_THAT(run_script("demo", "\"$KT3\" process -g 1 --orphans --csv | wc -l", scratch).out, "1\n");
}

TEST(Orphans, LeaveNothingOutWithoutTheTimeOfTheBootExceptReplacedOnes) {
    const std::string out = on_machine("echo 'cpu 0' > \"$P/stat\"; \"$KT3\" process --orphans --csv");
    EXPECT_THAT(out, AllOf(HasSubstr(",5000001,"), Not(HasSubstr(",43005,"))));
}

TEST(Orphans, EndAGateWithStatusSix) {
    EXPECT_EQ(run_kt3("orphans", {"process", "--orphans"}).status, 0);
    EXPECT_EQ(run_kt3("orphans", {"process", "--orphans", "--gate"}).status, 6);
    EXPECT_EQ(run_kt3("orphans", {"process", "--orphans", "--gate", "--by", "user"}).status, 6);
    EXPECT_EQ(run_kt3("orphans", {"process", "--orphans", "--gate", "-n", "2", "-w", "0"}).status, 6);
    EXPECT_EQ(run_kt3("orphans", {"process", "--orphans", "--gate", "--pid", "43001"}).status, 0);
    EXPECT_EQ(run_kt3("containers", {"process", "--orphans", "--gate"}).status, 0);
    EXPECT_EQ(run_kt3("orphans", {"process", "--gate"}).status, 2);
}

TEST(Orphans, AreNotKnownWhereOwnersAreNotVisible) {
    const Ended run = run_kt3("in-container", {"process", "--orphans", "--gate", "--json"});
    EXPECT_EQ(run.status, 4) << "a gate that cannot look is not passed";
    const json document = parse_json(run.out);
    EXPECT_THAT(document["processes"], IsEmpty());
    ASSERT_THAT(document["errors"], SizeIs(1));
    EXPECT_EQ(document["errors"][0]["code"], "not_visible");
    EXPECT_EQ(document["errors"][0]["slot"], 0);
}

TEST(StuckOwners, AreMarkedOnScreen) {
    const std::string out = run_kt3("orphans", {"process"}).out;
    EXPECT_THAT(out, AllOf(HasSubstr("/usr/bin/defunct (stuck)"), HasSubstr("/usr/bin/hanging (stuck)"),
                           Not(HasSubstr("/usr/bin/paused (stuck)"))));
    const json processes = document_of("orphans", {"process"})["processes"];
    EXPECT_EQ(entry_of(processes, 43002)["state"], "Z");
    EXPECT_EQ(entry_of(processes, 43003)["state"], "T");
    EXPECT_EQ(entry_of(processes, 43004)["state"], "D");
    EXPECT_EQ(entry_of(processes, 43004)["process"], "/usr/bin/hanging");
}

TEST(StuckOwners, KeepTheNameThatTheKernelKnowsWhenTheirCommandLineIsGone) {
    const std::string out = on_machine(": > \"$P/43002/cmdline\"; \"$KT3\" process --json");
    const json zombie = entry_of(parse_json(out)["processes"], 43002);
    EXPECT_EQ(zombie["process"], "[defunct]");
    EXPECT_EQ(zombie["owner"], "process");
}

TEST(InvisibleOwners, AreNotTakenForEndedOnesInAContainer) {
    const json list = document_of("in-container", {"alloc", "list"})["allocations"];
    for (const json& one : list) {
        EXPECT_EQ(one["owner"], one["pid"].is_null() ? "unknown" : "not_visible");
        EXPECT_TRUE(one["process"].is_null()) << "the process that has the pid there is another one";
    }
    const std::vector<std::vector<std::string>> commands = {
        {"process"}, {"alloc", "list"}, {}, {"alloc", "summary"}, {"leak", "-w", "0", "-n", "2"}};
    for (const auto& command : commands) {
        const std::string out = run_kt3("in-container", command).out;
        EXPECT_THAT(out, AllOf(HasSubstr("not visible"), Not(HasSubstr("(gone)")), Not(HasSubstr("compositor"))));
        EXPECT_THAT(run_kt3("orphans", command).out, Not(HasSubstr("not visible")));
    }
}

TEST(InvisibleOwners, AreThoseThatProcHides) {
    // Process 1 cannot be looked at, so a process that is not listed may be there all the same.
    const std::string hide = "rm \"$P/1/stat\"; mkdir \"$P/1/stat\"; ";
    const json processes = parse_json(on_machine(hide + "\"$KT3\" process --json"))["processes"];
    EXPECT_EQ(entry_of(processes, 5'000'001)["owner"], "not_visible");
    EXPECT_EQ(entry_of(processes, 43001)["owner"], "process");
    EXPECT_EQ(entry_of(processes, 43005)["owner"], "gone") << "what can be seen is known";
}

TEST(InvisibleOwners, StayWhatTheyAreInSavedLists) {
    const std::string save = "cd \"$HOME\"; \"$KT3\" alloc list --json -o a; "
                             "rm -r \"$KT3_SIM_ROOT\"/sys/kernel/debug/dri/0/wy/allocations/*; "
                             "\"$KT3\" alloc list --json -o b; \"$KT3\" alloc diff a b";
    const Scratch inside, outside;
    EXPECT_THAT(run_script("in-container", save, inside).out,
                AllOf(HasSubstr("pid 43001 not visible here"), Not(HasSubstr("(gone)"))));
    EXPECT_THAT(run_script("orphans", save, outside).out,
                AllOf(HasSubstr("(gone) (5000001)"), Not(HasSubstr("not visible"))));
}

TEST(HelpPages, NameTheGroupsAndTheStatusOfTheGates) {
    EXPECT_THAT(run_kt3("no-gpu", {"process", "--help"}).out,
                AllOf(HasSubstr("{process,user,unit,container,pod,job}"), HasSubstr("status 6")));
    EXPECT_THAT(run_kt3("no-gpu", {"--help"}).out, HasSubstr("kt3 process --orphans --gate"));
}
