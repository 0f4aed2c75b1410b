// SPDX-License-Identifier: MIT
#include "output/vm/findings.hpp"

TEST(VmFindings, OfOneKindAreCountedOnScreenBeyondTheFirstTwenty) {
    const std::vector<kt3::observe::DumpFinding> findings(23,
                                                          {"1f", "/allocations/1f/vm_info", 0, "unreadable", "gone"});
    std::string expected = "Findings\n";
    for (int shown = 0; shown < 20; ++shown) {
        expected += "  allocation 1f, vm_info: gone\n";
    }
    EXPECT_EQ(kt3::output::findings_text(findings, {}),
              expected + "  and 3 more of the kind unreadable; --json has all\n");
    EXPECT_EQ(kt3::output::findings_json(findings).size(), 23U);
}

TEST(VmFindings, CountTheOtherLinesOfTheSameFault) {
    using kt3::output::finding_line;
    const std::string file = "/devices/1f/vm_info";
    EXPECT_EQ(finding_line({"1f", file, 4, "bad_number", "odd", 412}),
              "client 1f, vm_info line 4 and 411 more lines: odd");
    EXPECT_EQ(finding_line({"1f", file, 4, "bad_number", "odd", 2}), "client 1f, vm_info line 4 and 1 more line: odd");
    EXPECT_EQ(finding_line({"1f", file, 4, "bad_number", "odd"}), "client 1f, vm_info line 4: odd");
}
