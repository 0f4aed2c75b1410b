// SPDX-License-Identifier: MIT
#include "observe/vm/check.hpp"

using namespace kt3::observe;

namespace {

std::size_t counted_in_blocks(std::string_view text, std::size_t size) {
    EntryCounter counter;
    for (; !text.empty(); text.remove_prefix(std::min(size, text.size()))) {
        counter.take(text.substr(0, size));
    }
    return counter.finish();
}

} // namespace

TEST(EntryCounter, CountsTheSameWhereverBlocksEnd) {
    const std::string dump = "vm of client 1f\n"
                             "0:0: entry addr:0x1000, buffer:directory\n\n"
                             "  1:0: entry addr:0x2000, buffer:its 2:3\n"
                             "    1:511 Snoop:1 Segment:1 Addr:0x3000\n"
                             "7: 2:\n"
                             "x:y entry of no level\n"
                             "2:1 Snoop:1 Segment:1 Addr:0x4000"; // the end of the file ends the line
    for (std::size_t size = 1; size <= dump.size(); ++size) {
        EXPECT_EQ(counted_in_blocks(dump, size), 5U) << size;
    }
}

TEST(EntryCounter, SeesTextsInPiecesOf511CharactersUpToAZeroByte) {
    EXPECT_EQ(counted_in_blocks(std::string(510, '-') + "entry 1:2\n", 64), 0U) << "cut in the word";
    EXPECT_EQ(counted_in_blocks(std::string(511, '-') + "entry 1:2\n", 64), 1U);
    using namespace std::string_literals;
    EXPECT_EQ(counted_in_blocks("nothing\0entry\n1:2 Snoop\0entry\n"s, 64), 1U);
}
