// SPDX-License-Identifier: MIT
#include "kt3/peer_words.hpp"

#include <gmock/gmock.h>

using kt3::cli::in_own_words;
using ::testing::ElementsAre;

TEST(PeerWords, OfCommandsBecomeOwnCommands) {
    EXPECT_THAT(in_own_words({"ps"}), ElementsAre("process"));
    EXPECT_THAT(in_own_words({"static", "--json"}), ElementsAre("info", "--json"));
    EXPECT_THAT(in_own_words({"dmon"}), ElementsAre("metric", "-w", "1"));
    EXPECT_THAT(in_own_words({"-L"}), ElementsAre("list"));
    EXPECT_THAT(in_own_words({"-q"}), ElementsAre("info"));
    EXPECT_THAT(in_own_words({"--json", "ps"}), ElementsAre("--json", "process"));
}

TEST(PeerWords, OfOptionsBecomeOwnOptions) {
    EXPECT_THAT(in_own_words({"metric", "-i", "0", "-l", "2"}), ElementsAre("metric", "-g", "0", "-w", "2"));
    EXPECT_THAT(in_own_words({"metric", "--id=1"}), ElementsAre("metric", "-g", "1"));
    EXPECT_THAT(in_own_words({"metric", "-l"}), ElementsAre("metric", "-w", "5"));
    EXPECT_THAT(in_own_words({"metric", "--loop", "--json"}), ElementsAre("metric", "-w", "5", "--json"));
    EXPECT_THAT(in_own_words({"--query-gpu=name,memory.used", "--format=csv,noheader,nounits"}),
                ElementsAre("--query", "name,memory.used", "--noheader", "--nounits"));
}

TEST(PeerWords, ThatAreNoneStayAsTheyAre) {
    EXPECT_THAT(in_own_words({"--query-gpu=name", "--format=xml"}), ElementsAre("--query", "name", "--format=xml"));
    EXPECT_THAT(in_own_words({"metric", "-w", "-1"}), ElementsAre("metric", "-w", "-1"));
    EXPECT_THAT(in_own_words({}), ElementsAre());
    EXPECT_THAT(in_own_words({"help"}), ElementsAre("--help"));
    EXPECT_THAT(in_own_words({"help", "metric"}), ElementsAre("metric", "--help"));
}

TEST(PeerWords, CountInThePlaceOfACommandOnly) {
    EXPECT_THAT(in_own_words({"prefer", "get", "ps"}), ElementsAre("prefer", "get", "ps"));
    EXPECT_THAT(in_own_words({"-o", "ps", "list"}), ElementsAre("-o", "ps", "list"));
    EXPECT_THAT(in_own_words({"info", "-q"}), ElementsAre("info", "-q"));
    EXPECT_THAT(in_own_words({"info", "--", "-i"}), ElementsAre("info", "--", "-i"));
}
