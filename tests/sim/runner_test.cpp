// SPDX-License-Identifier: MIT
// kt3-sim as a process: what it prints, the status it returns, what it leaves behind.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Runs the runner with a folder of its own for temporary files, which has to be empty again afterwards.
struct Runner : ::testing::Test {
    Runner() {
        std::string pattern = (fs::temp_directory_path() / "kt3-runner-test-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        fs::create_directory(folder / "tmp");
    }
    ~Runner() override { fs::remove_all(folder); }

    pid_t start(std::vector<std::string> arguments) const {
        const pid_t child = ::fork();
        if (child == 0) {
            arguments.insert(arguments.begin(), KT3_TEST_RUNNER);
            std::vector<char*> words;
            for (std::string& argument : arguments) {
                words.push_back(argument.data());
            }
            words.push_back(nullptr);
            ::setenv("TMPDIR", (folder / "tmp").c_str(), 1);
            if (std::freopen((folder / "out").c_str(), "w", stdout) == nullptr ||
                std::freopen((folder / "err").c_str(), "w", stderr) == nullptr) {
                ::_exit(99);
            }
            ::execv(words[0], words.data());
            ::_exit(99);
        }
        return child;
    }
    Result finish(pid_t child) const {
        int status = 0;
        ::waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), read_file(folder / "out"),
                read_file(folder / "err")};
    }
    Result run(const std::vector<std::string>& arguments) const { return finish(start(arguments)); }
    Result shell(const std::string& scene, const std::string& script) const {
        return run({"run", scene, "--", "sh", "-c", script});
    }
    std::vector<std::string> left_behind() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder / "tmp")) {
            names.push_back(entry.path().filename());
        }
        return names;
    }

    fs::path folder;
};

TEST_F(Runner, ListsScenesWithOneLineEach) {
    const Result result = run({"scenes"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(StartsWith("idle "), HasSubstr("\ntwo-families "), HasSubstr("\nno-rights ")));
}

TEST_F(Runner, PrintsHelpAndVersion) {
    EXPECT_THAT(run({"--help"}).out, HasSubstr("kt3-sim run SCENE -- COMMAND"));
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_THAT(run({"--version"}).out, MatchesRegex("kt3-sim [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Runner, RejectsWrongCommandLines) {
    const std::vector<std::vector<std::string>> wrong = {
        {}, {"walk"}, {"run"}, {"run", "idle"}, {"run", "idle", "--"}, {"tree", "idle"}, {"scenes", "more"}};
    for (const std::vector<std::string>& arguments : wrong) {
        const Result result = run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.out, IsEmpty());
        EXPECT_THAT(result.err, AllOf(StartsWith("kt3-sim: "), HasSubstr("--help")));
    }
}

TEST_F(Runner, NamesTheValidScenesForAnUnknownOne) {
    const Result result = run({"run", "moon", "--", "true"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, AllOf(HasSubstr("unknown scene 'moon'"), HasSubstr("idle, two-families, demo")));
    EXPECT_EQ(run({"tree", "moon", folder / "moon"}).status, 2);
    EXPECT_FALSE(fs::exists(folder / "moon"));
}

TEST_F(Runner, ReturnsTheStatusOfTheCommandAndCleansUp) {
    EXPECT_EQ(shell("idle", "exit 0").status, 0);
    EXPECT_EQ(shell("idle", "exit 7").status, 7);
    EXPECT_THAT(left_behind(), IsEmpty());
}

TEST_F(Runner, ReturnsTheSignalThatKilledTheCommand) {
    EXPECT_EQ(shell("idle", "kill -9 $$").status, 128 + SIGKILL);
    EXPECT_THAT(left_behind(), IsEmpty());
}

TEST_F(Runner, ReportsACommandThatCannotBeRun) {
    EXPECT_EQ(run({"run", "idle", "--", "no-such-command"}).status, 127);
    EXPECT_EQ(run({"run", "idle", "--", "/"}).status, 126);
    EXPECT_THAT(left_behind(), IsEmpty());
}

TEST_F(Runner, ShowsTheMachineToOrdinaryTools) {
    const Result result = shell("demo", "ls /dev/dri; cat /sys/class/drm/card0/device/wy_info/eclk /proc/gpuinfo_1");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, StartsWith("card0\ncard1\ncard2\nrenderD128\nrenderD129\nrenderD130\n300\nDevice ID : "));
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Runner, ShowsDeviceNodesAsCharacterDevices) {
    const Result result = shell("idle", "test -c /dev/dri/card0 && stat -c '%F %t:%T' /dev/dri/renderD128");
    EXPECT_EQ(result.out, "character special file e2:80\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Runner, ShowsTheMachineToAProgramThatUsesLibdrm) {
    const Result result = run({"run", "four-devices", "--", KT3_TEST_LIST_DEVICES});
    EXPECT_EQ(result.out, "/dev/dri/card0 7a52:5c0e\n/dev/dri/card1 1f41:5c01\n/dev/dri/card2 7a52:5c05\n"
                          "/dev/dri/card3 1002:73bf\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(run({"run", "no-gpu", "--", KT3_TEST_LIST_DEVICES}).out, IsEmpty());
}

TEST_F(Runner, RefusesFilesOfTheSceneToRootAsWell) {
    const Result result = shell("no-rights", "cat /sys/class/drm/card0/device/wy_info/eclk; ls /sys/kernel/debug");
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.out, IsEmpty());
    EXPECT_THAT(result.err, HasSubstr("Permission denied"));
}

TEST_F(Runner, ProvidesTheToolsThatTellAboutTheMachine) {
    const Result result = shell("idle", "dmidecode -t memory | grep -c CHANNEL; dmidecode; echo $?; "
                                        "mkdir $KT3_SIM_ROOT/bin-data/ps; echo game > $KT3_SIM_ROOT/bin-data/ps/12; "
                                        "ps -p 12 -o comm=; ps -p 13 -o comm=; echo $?; ps -p ../x -o comm=; echo $?");
    EXPECT_EQ(result.out, "2\n1\ngame\n1\n1\n");
    EXPECT_THAT(result.err, IsEmpty());
}

TEST_F(Runner, KeepsTheHomeFolderInsideTheMachine) {
    EXPECT_EQ(shell("idle", "test \"$HOME\" = \"$KT3_SIM_ROOT/home\" -a -d \"$HOME\"").status, 0);
}

TEST_F(Runner, OffersTheModulesThatTheSceneHas) {
    EXPECT_THAT(shell("idle", "ls ${LD_LIBRARY_PATH%%:*}").out, HasSubstr("libvorlakeinterface_v2.so.0.0.0\n"));
    EXPECT_EQ(shell("no-module", "test -e ${LD_LIBRARY_PATH%%:*}/libvorlakeinterface_v2.so.0.0.0").status, 1);
}

TEST_F(Runner, LogsEveryWriteInOrder) {
    const Result result = shell("idle", "cd /; n=/sys/bus/pci/devices/0000:03:00.0/wy_info\n"
                                        "echo 1 > $n/enable_usage; echo 0 1 7f > $n/pwm_wait_count\n"
                                        "echo rubbish > $n/dvfs_level; cat $n/pwm_wait_count; kt3-sim log");
    EXPECT_EQ(result.out, "pg_3d:0x10 cg_3d:0x20\npg_vcp:0x7f cg_vcp:0x40\npg_vpp:0x50 cg_vpp:0x60\n"
                          "/sys/bus/pci/devices/0000:03:00.0/wy_info/enable_usage\t\"1\\n\"\n"
                          "/sys/bus/pci/devices/0000:03:00.0/wy_info/pwm_wait_count\t\"0 1 7f\\n\"\n"
                          "/sys/bus/pci/devices/0000:03:00.0/wy_info/dvfs_level\t\"rubbish\\n\"\trefused\n");
    EXPECT_EQ(result.status, 0);
}

TEST_F(Runner, LogsNothingOutsideARun) {
    const Result result = run({"log"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("inside a run"));
}

TEST_F(Runner, WritesAMachineOutToLookAt) {
    const fs::path tree = folder / "tree";
    EXPECT_EQ(run({"tree", "two-families", tree}).status, 0);
    EXPECT_EQ(read_file(tree / "sys/bus/pci/devices/0000:05:00.0/qn_info/eclk"), "200\n");
    EXPECT_EQ(read_file(tree / "sys/class/drm/card1/device/vendor"), "0x1f41\n");
    const Result again = run({"tree", "two-families", tree});
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.err, HasSubstr("is not empty"));
}

TEST_F(Runner, RunsOnACopyOfAMachineThatWasWrittenOutAndChanged) {
    const fs::path tree = folder / "tree";
    EXPECT_EQ(run({"tree", "idle", tree}).status, 0);
    const fs::path node = tree / "sys/devices/pci0000:00/0000:03:00.0/wy_info/eclk";
    std::ofstream(node) << "777\n";
    const std::string seen = "/sys/class/drm/card0/device/wy_info/eclk";
    EXPECT_EQ(run({"run", tree, "--", "cat", seen}).out, "777\n");
    EXPECT_EQ(shell(tree, "echo 5 >" + seen + "; cat " + seen).out, "5\n");
    EXPECT_EQ(read_file(node), "777\n") << "the next run begins as this one did";
    EXPECT_EQ(shell(tree, "ls $KT3_SIM_ROOT/lib | grep -c keinterface; kt3-sim log").status, 0);
    EXPECT_THAT(left_behind(), IsEmpty());
}

TEST_F(Runner, KeepsWhenTheFilesOfAMachineWereMade) {
    const fs::path tree = folder / "tree";
    EXPECT_EQ(run({"tree", "orphans", tree}).status, 0);
    const std::string ask = "stat -c %Y /sys/kernel/debug/dri/0/wy/devices/21/info";
    EXPECT_EQ(shell(tree, ask).out, "1767231600\n");
    EXPECT_EQ(shell("orphans", ask).out, "1767231600\n");
}

TEST_F(Runner, TakesUpWhatSomebodyAddedToAMachine) {
    const fs::path tree = folder / "tree";
    EXPECT_EQ(run({"tree", "idle", tree}).status, 0);
    const std::string node = "/sys/bus/pci/devices/0000:03:00.0/wy_info/";
    std::ofstream(tree / "lost-nodes") << node << "eclk\t1\t19\n";
    std::ofstream(tree / "moving-nodes") << node << "vclk\t\tramp\t5\t5\t1000\n";
    EXPECT_EQ(shell(tree, "cat " + node + "vclk; cat " + node + "eclk 2>/dev/null || echo lost").out, "5\nlost\n");
    const fs::path clock = tree / "sys/devices/pci0000:00/0000:03:00.0/wy_info/coreclk";
    fs::remove(clock);
    ASSERT_EQ(::mkfifo(clock.c_str(), 0600), 0);
    EXPECT_EQ(shell(tree, "test -p " + node + "coreclk && echo FIFO").out, "FIFO\n");
    EXPECT_THAT(left_behind(), IsEmpty());
}

TEST_F(Runner, RunsWithTheModulesThatAMachineBrings) {
    const fs::path tree = folder / "tree";
    EXPECT_EQ(run({"tree", "idle", tree}).status, 0);
    fs::create_directories(tree / "lib");
    std::ofstream(tree / "lib/libdrm_vorla2.so.0.0.0") << "own\n";
    EXPECT_EQ(shell(tree, "cat $KT3_SIM_ROOT/lib/libdrm_vorla2.so.0.0.0").out, "own\n");
}

TEST_F(Runner, SaysWhenAFolderHoldsNoMachine) {
    for (const fs::path& none : {folder / "absent", folder / "tmp"}) {
        const Result result = run({"run", none, "--", "true"});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("does not hold a machine"));
    }
    EXPECT_THAT(left_behind(), IsEmpty());
}

struct RunnerSignals : Runner, ::testing::WithParamInterface<int> {};

// The command says that it runs by creating a file; the runner passes the signal on and clears up behind it.
TEST_P(RunnerSignals, EndTheCommandAndLeaveNothingBehind) {
    const std::string ready = folder / "ready";
    const pid_t runner = start({"run", "idle", "--", "sh", "-c", "touch " + ready + "; exec sleep 100"});
    while (!fs::exists(ready)) {
        ::usleep(1000);
    }
    EXPECT_EQ(left_behind().size(), 1u);
    ::kill(runner, GetParam());
    EXPECT_EQ(finish(runner).status, 128 + GetParam());
    EXPECT_THAT(left_behind(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, RunnerSignals, ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT));

TEST_F(Runner, LetsACommandHandleASignalInItsOwnWay) {
    const std::string ready = folder / "ready";
    const pid_t runner =
        start({"run", "idle", "--", "sh", "-c", "trap 'kill $! ; exit 5' TERM; sleep 100 & touch " + ready + "; wait"});
    while (!fs::exists(ready)) {
        ::usleep(1000);
    }
    ::kill(runner, SIGTERM);
    EXPECT_EQ(finish(runner).status, 5);
    EXPECT_THAT(left_behind(), IsEmpty());
}

// The runner itself is such a program in a sanitized build.
TEST_F(Runner, RunsProgramsBuiltWithSanitizers) {
    const Result result = run({"run", "idle", "--", KT3_TEST_RUNNER, "scenes"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, IsEmpty());
}

} // namespace
