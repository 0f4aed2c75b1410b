// SPDX-License-Identifier: MIT
#include "observe/owner/attribution.hpp"

#include "cli/scratch.hpp"

using namespace kt3::observe;
using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

namespace fs = std::filesystem;

constexpr const char* kInitial = "pid:[4026531836]";
constexpr const char* kNested = "pid:[4026532999]";
constexpr std::int64_t kBoot = 1'767'225'600;

// A /proc of files.
struct Processes : ::testing::Test {
    Processes() {
        fs::create_directories(scratch.folder / "self/ns");
        enter(kInitial);
        write("stat", "cpu  0 0\nbtime " + std::to_string(kBoot) + "\n");
        start(1, 1, "init");
    }

    void write(const std::string& path, const std::string& text) const {
        fs::create_directories((scratch.folder / path).parent_path());
        std::ofstream(scratch.folder / path, std::ios::binary) << text;
    }
    void enter(const char* pid_namespace) const {
        fs::remove(scratch.folder / "self/ns/pid");
        fs::create_symlink(pid_namespace, scratch.folder / "self/ns/pid");
    }
    void put_stat(int pid, std::uint64_t start_time, const std::string& name, char state = 'S') const {
        write(std::to_string(pid) + "/stat", std::to_string(pid) + " (" + name + ") " + state +
                                                 " 1 1 1 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 " +
                                                 std::to_string(start_time) + " 0 0\n");
    }
    void start(int pid, std::uint64_t start_time, const std::string& name, const std::string& unit = "a.service",
               unsigned user = 4'000'000'001U) const {
        put_stat(pid, start_time, name);
        const std::string uid = std::to_string(user);
        write(std::to_string(pid) + "/status", "Name:\t" + name + "\nUid:\t" + uid + "\t" + uid + "\t" + uid + "\t" +
                                                   uid + "\nNSpid:\t" + std::to_string(pid) + "\t7\n");
        write(std::to_string(pid) + "/cgroup", "0::/system.slice/" + unit + "\n");
    }
    void end(int pid) const { fs::remove_all(scratch.folder / std::to_string(pid)); }
    Attribution look(std::int32_t pid) {
        const Attributions read = reader.read({pid});
        EXPECT_THAT(read, SizeIs(1));
        EXPECT_EQ(read.at(0).pid, pid);
        return read.at(0);
    }

    kt3::tests::Scratch scratch;
    AttributionReader reader{scratch.folder.string()};
};

// Neither seen nor ended, and nothing else either.
void expect_unknown(const Attribution& attribution) {
    EXPECT_FALSE(attribution.visible);
    EXPECT_FALSE(attribution.ended);
    EXPECT_EQ(attribution.user, std::nullopt);
    EXPECT_EQ(attribution.unit, std::nullopt);
    EXPECT_EQ(attribution.start_time, std::nullopt);
}

} // namespace

TEST_F(Processes, BelongToUsersAndUnits) {
    start(4711, 500'000, "game", "game.service", 0);
    const Attribution game = look(4711);
    EXPECT_TRUE(game.visible);
    EXPECT_FALSE(game.ended);
    EXPECT_EQ(game.name, "game");
    EXPECT_EQ(game.uid, 0U);
    EXPECT_EQ(game.user, "root");
    EXPECT_EQ(game.unit, "game.service");
    EXPECT_EQ(game.container, std::nullopt);
    EXPECT_EQ(game.state, "S");
    EXPECT_EQ(game.inner_pid, 7);
    EXPECT_EQ(game.start_time, 500'000U);
    EXPECT_EQ(started_at(game), kBoot + 500'000 / ::sysconf(_SC_CLK_TCK));
}

TEST_F(Processes, AreOfANumberWhenTheUserHasNoName) {
    EXPECT_EQ(look(1).user, "4000000001");
}

TEST_F(Processes, AreReadOnceEachInTheOrderOfTheirPids) {
    start(30, 5, "b");
    start(20, 5, "a");
    const Attributions read = reader.read({30, 20, 30});
    ASSERT_THAT(read, SizeIs(2));
    EXPECT_EQ(read[0].pid, 20);
    EXPECT_EQ(read[1].pid, 30);
}

TEST_F(Processes, ThatAreNotListedHaveEnded) {
    EXPECT_TRUE(look(4711).ended);
    EXPECT_FALSE(look(4711).visible);
    start(4711, 5, "game");
    EXPECT_TRUE(look(4711).visible);
    end(4711);
    EXPECT_TRUE(look(4711).ended);
    EXPECT_EQ(look(4711).user, std::nullopt);
}

TEST_F(Processes, AreNotVisibleInAnotherPidNamespace) {
    start(4711, 5, "namesake");
    enter(kNested);
    expect_unknown(look(4711));
    expect_unknown(look(4712));
}

TEST_F(Processes, AreNotVisibleWhenTheNamespaceIsNotKnown) {
    fs::remove(scratch.folder / "self/ns/pid");
    expect_unknown(look(4711));
}

TEST_F(Processes, AreNotVisibleWhereThoseOfOthersAreHidden) {
    start(4711, 5, "own");
    end(1);
    expect_unknown(look(4712));
    EXPECT_TRUE(look(4711).visible) << "what can be looked at is known all the same";
}

TEST_F(Processes, WhosePageIsMalformedAreNotVisible) {
    write("4711/stat", "4711 (game");
    expect_unknown(look(4711));
}

TEST_F(Processes, WithoutAPidAreNotVisible) {
    expect_unknown(look(0));
    expect_unknown(look(-5));
}

TEST_F(Processes, KeepWhatWasReadWhileTheyLive) {
    start(4711, 5, "game", "first.service");
    EXPECT_EQ(look(4711).unit, "first.service");
    write("4711/cgroup", "0::/system.slice/second.service\n");
    put_stat(4711, 5, "renamed", 'D');
    EXPECT_EQ(look(4711).unit, "first.service");
    EXPECT_EQ(look(4711).state, "D") << "read each time";
    EXPECT_EQ(look(4711).name, "renamed");
}

TEST_F(Processes, InheritNothingFromAnEarlierOneWithTheirPid) {
    start(4711, 5, "game", "first.service", 0);
    EXPECT_EQ(look(4711).user, "root");
    end(4711);
    put_stat(4711, 6, "other");
    const Attribution other = look(4711);
    EXPECT_TRUE(other.visible);
    EXPECT_EQ(other.start_time, 6U);
    EXPECT_EQ(other.unit, std::nullopt);
    EXPECT_EQ(other.user, std::nullopt);
    EXPECT_EQ(other.uid, std::nullopt);
}

TEST_F(Processes, HaveNoMomentOfTheirStartWithoutThatOfTheBoot) {
    write("stat", "cpu  0 0\n");
    EXPECT_TRUE(look(1).visible);
    EXPECT_EQ(started_at(look(1)), std::nullopt);
}
