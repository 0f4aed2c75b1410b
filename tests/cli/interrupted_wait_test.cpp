// SPDX-License-Identifier: MIT
// A command that is interrupted while it waits between two looks, which would take an hour. It says what it saw before
// it waits, into a pipe: the signal follows once that has arrived. The end of the pipe shows that nobody holds it.

#include "cli/json.hpp"
#include "cli/run_kt3.hpp"

#include <cerrno>
#include <sys/prctl.h>

using namespace kt3::tests;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct Interrupted {
    Ended ended;
    std::vector<std::string> document; // the lines that the command had to say to its end
    std::string log;                   // what the driver was sent
    bool nobody_left = false;
};

// Whether no process is left that came from this one: those whose parents ended are ours from here on.
class Descendants {
public:
    Descendants() { EXPECT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0); }
    static bool gone() { return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }
};

// A shell starts background commands with SIGINT ignored, hence env.
constexpr const char* kScript = R"(
cd "$HOME"; mkfifo $channel
env --default-signal=$signal "$KT3" $command >out 2>err & child=$!
exec 3<$channel
while read -r line <&3; do
    echo "$line" >>seen
    case $line in *"$sign"*) break;; esac
done
kill -$signal $child; wait $child; status=$?
cat <&3 >rest
"$KT3_SIM" log >log
exit $status)";

// Sends a signal, named without SIG, to `kt3 command` when a line with `sign` has come out of `channel`: out or err.
Interrupted interrupt(const std::string& scene, const std::string& command, const std::string& channel,
                      const std::string& sign, const std::string& signal = "INT") {
    const Scratch scratch;
    const Descendants descendants;
    const std::string names =
        "command='" + command + "' channel=" + channel + " sign='" + sign + "' signal=" + signal + "\n";
    Interrupted result{run_script(scene, names + kScript, scratch), {}, {}, false};
    result.nobody_left = descendants.gone();
    result.document = lines_of(file_text(scratch.folder / (channel == "out" ? "rest" : "out")));
    result.log = file_text(scratch.folder / "log");
    EXPECT_THAT(file_text(scratch.folder / "seen"), HasSubstr(sign));
    return result;
}

// The values sent to the switch of usage accounting of one adapter, in their order.
std::vector<std::string> switched(const std::string& log, const std::string& adapter) {
    std::vector<std::string> values;
    for (const std::string& line : lines_of(log)) {
        if (line.find(adapter) != std::string::npos && line.find("/enable_usage\t") != std::string::npos) {
            values.push_back(line.substr(line.find('\t') + 1));
        }
    }
    return values;
}

constexpr const char* kOn = "\"1\"";
constexpr const char* kOff = "\"0\"";
constexpr const char* kFirstSample = "\"sample\":0";
constexpr const char* kFirstLook =
    "Fail to read allocation info. skip..."; // what the library said, told after the look

} // namespace

TEST(InterruptedWait, OfLeakEndsWith130AndLeavesNothingSwitchedOnAndNoProcess) {
    const Interrupted run = interrupt("churn", "leak -w 3600 -v", "err", kFirstLook);
    EXPECT_EQ(run.ended.status, 130) << run.ended.err;
    EXPECT_THAT(switched(run.log, "0000:03:00.0"), ElementsAre(kOn, kOff));
    EXPECT_TRUE(run.nobody_left);
    EXPECT_THAT(run.document, IsEmpty());
}

TEST(InterruptedWait, OfLeakStillPrintsADocumentAsJson) {
    const Interrupted run = interrupt("churn", "leak -w 3600 -v --json", "err", kFirstLook);
    EXPECT_EQ(run.ended.status, 130) << run.ended.err;
    std::string text;
    for (const std::string& line : run.document) {
        text += line + '\n';
    }
    const json document = parse_json(text);
    EXPECT_EQ(document["errors"][0]["code"], "interrupted");
    EXPECT_EQ(document["wait_s"], 3600.0);
    EXPECT_THAT(document["groups"], IsEmpty());
}

TEST(InterruptedWait, OfAllocDiffEndsWith130AndLeavesNothingSwitchedOnAndNoProcess) {
    const Interrupted run = interrupt("churn", "alloc diff -w 3600 -v", "err", kFirstLook);
    EXPECT_EQ(run.ended.status, 130) << run.ended.err;
    EXPECT_THAT(switched(run.log, "0000:03:00.0"), ElementsAre(kOn, kOff));
    EXPECT_TRUE(run.nobody_left);
    EXPECT_THAT(run.document, IsEmpty());
}

TEST(InterruptedWait, OfAStreamEndsWith130AndLeavesNothingSwitchedOnAndNoProcess) {
    for (const char* signal : {"INT", "TERM", "HUP"}) {
        const Interrupted run = interrupt("idle", "metric -w 3600 --json", "out", kFirstSample, signal);
        EXPECT_EQ(run.ended.status, 130) << signal << run.ended.err;
        EXPECT_THAT(switched(run.log, "0000:03:00.0"), ElementsAre(kOn, kOff)) << signal;
        EXPECT_TRUE(run.nobody_left) << signal;
        ASSERT_THAT(run.document, SizeIs(1)) << signal << ": one more line tells of it";
        EXPECT_EQ(parse_json(run.document[0])["errors"][0]["code"], "interrupted") << signal;
    }
}

TEST(InterruptedWait, OfAStreamOfSeveralAdaptersFindsNoneOfThemSwitchedOn) {
    const Interrupted run = interrupt("two-families", "metric -w 3600 --json", "out", kFirstSample);
    EXPECT_EQ(run.ended.status, 130) << run.ended.err;
    EXPECT_THAT(switched(run.log, "0000:03:00.0"), ElementsAre(kOn, kOff));
    EXPECT_THAT(switched(run.log, "0000:05:00.0"), ElementsAre(kOn, kOff));
    EXPECT_TRUE(run.nobody_left);
}

TEST(InterruptedWait, OfAStreamPrintsNoHalfLineAsCsv) {
    const Interrupted run = interrupt("idle", "metric -w 3600 --csv", "out", "0,300,");
    EXPECT_EQ(run.ended.status, 130) << run.ended.err;
    EXPECT_THAT(run.document, IsEmpty());
}
