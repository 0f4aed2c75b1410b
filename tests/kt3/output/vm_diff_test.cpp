// SPDX-License-Identifier: MIT
#include "output/vm/diff.hpp"

TEST(VmDiff, MatchesWhatOccursSeveralTimesInOrder) {
    const auto nodes = [](const std::vector<std::pair<const char*, int>>& list) {
        kt3::output::Json document = {{"command", "vm nodes"}, {"nodes", kt3::output::Json::array()}};
        for (const auto& [handle, size] : list) {
            document["nodes"].push_back(
                {{"pid", 1}, {"name", "x"}, {"handle", handle}, {"gpu_va", 16}, {"size_bytes", size}});
        }
        return document;
    };
    const auto differences = kt3::output::compare_dumps(nodes({{"a", 1}, {"b", 1}, {"a", 2}, {"a", 4}}),
                                                        nodes({{"a", 1}, {"c", 1}, {"a", 3}, {"a", 4}}));
    EXPECT_EQ(kt3::output::differences_text(differences, {}), "- pid 1 x handle b address 0x10: 1 B\n"
                                                              "~ pid 1 x handle a address 0x10: 2 B -> 3 B\n"
                                                              "+ pid 1 x handle c address 0x10: 1 B\n"
                                                              "1 added, 1 removed, 1 changed\n");
}
