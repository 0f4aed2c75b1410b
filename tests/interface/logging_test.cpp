// SPDX-License-Identifier: MIT
#include "support/log_capture.hpp"

#include <gmock/gmock.h>

using kt3::tests::LogCapture;
using kt3::tests::OutputCapture;
using testing::ElementsAre;

TEST(Logging, TheCallbackIsPrintfFromLoadTimeOn) {
    EXPECT_EQ(reinterpret_cast<void (*)()>(pServerPrintCallback), reinterpret_cast<void (*)()>(&std::printf));
}

TEST(Logging, TheDefaultCallbackPrintsTheLineWithoutAddingANewline) {
    OutputCapture output;
    EXPECT_EQ(lib_print_func("%d-%s", 7, "x"), 0);
    EXPECT_EQ(output.text(), "7-x");
}

TEST(Logging, ALonePercentSignInAFinishedLineIsPrintedByTheDefaultCallback) {
    OutputCapture output;
    lib_print_func("%s", "50% of %s %n\n");
    EXPECT_EQ(output.text(), "50% of %s %n\n");
}

TEST(Logging, APairOfPercentSignsInAFinishedLinePrintsAsOneByTheDefaultCallback) {
    OutputCapture output;
    lib_print_func("%s", "100%%\n");
    EXPECT_EQ(output.text(), "100%\n");
}

TEST(Logging, AnInstalledCallbackGetsTheLineUntouched) {
    LogCapture log;
    lib_print_func("%s", "50% 100%% %s\n");
    EXPECT_THAT(LogCapture::lines(), ElementsAre("50% 100%% %s\n"));
}

TEST(Logging, InstallingACallbackIsConfirmedThroughIt) {
    LogCapture log;
    EXPECT_EQ(set_print_callback(pServerPrintCallback), 0);
    EXPECT_THAT(LogCapture::lines(), ElementsAre("set_print_callback.\n"));
}

TEST(Logging, ANullCallbackSilencesEverythingWithItsOwnConfirmation) {
    OutputCapture output;
    EXPECT_EQ(set_print_callback(nullptr), 0);
    EXPECT_EQ(lib_print_func("nobody hears this\n"), 0);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(pServerPrintCallback, nullptr);
}

TEST(Logging, AMessageOf1023CharactersIsWholeAndOneMoreLosesItsLast) {
    LogCapture log;
    const std::string whole(1023, 'a');
    lib_print_func("%s", whole.c_str());
    lib_print_func("%sb", whole.c_str());
    lib_print_func("%s", std::string(5000, 'a').c_str());
    EXPECT_THAT(LogCapture::lines(), ElementsAre(whole, whole, whole));
}

TEST(Logging, ALineOf1023PercentSignsIsPrintedWholeByTheDefaultCallback) {
    OutputCapture output;
    std::string signs;
    for (int i = 0; i < 341; ++i) {
        signs += "% %";
    }
    lib_print_func("%s", signs.c_str());
    // Two signs that meet at a seam form a pair, which prints as one.
    std::string expected;
    for (std::size_t at = 0; at < signs.size(); ++at) {
        expected.push_back(signs[at]);
        at += signs.compare(at, 2, "%%") == 0 ? 1 : 0;
    }
    EXPECT_EQ(output.text(), expected);
}
