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
