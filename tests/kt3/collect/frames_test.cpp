// SPDX-License-Identifier: MIT
#include "collect/frames.hpp"
#include "support/owned.hpp"

#include <fcntl.h>

using namespace kt3::collect;
using kt3::support::Fd;

namespace {

struct Pipe {
    Fd reading, writing;
    Pipe() {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        reading.reset(ends[0]);
        writing.reset(ends[1]);
    }
    void put(const std::string& bytes) const {
        ASSERT_EQ(::write(writing.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
};

} // namespace

TEST(Messages, ArriveInTheirOrder) {
    const Pipe pipe;
    EXPECT_TRUE(send_message(pipe.writing.get(), {{"a", 1}}));
    EXPECT_TRUE(send_message(pipe.writing.get(), {{"b", nullptr}}));
    MessageReader reader;
    EXPECT_TRUE(reader.read_some(pipe.reading.get()));
    EXPECT_EQ(reader.next(), Json({{"a", 1}}));
    EXPECT_EQ(reader.next(), Json({{"b", nullptr}}));
    EXPECT_EQ(reader.next(), std::nullopt);
}

TEST(Messages, ArePutTogetherFromSinglePieces) {
    const Pipe whole;
    EXPECT_TRUE(send_message(whole.writing.get(), {{"text", "0123456789"}}));
    char bytes[256];
    const ssize_t length = ::read(whole.reading.get(), bytes, sizeof bytes);
    const Pipe pieces;
    MessageReader reader;
    for (ssize_t at = 0; at < length; ++at) {
        EXPECT_EQ(reader.next(), std::nullopt) << at;
        pieces.put(std::string(1, bytes[at]));
        EXPECT_TRUE(reader.read_some(pieces.reading.get()));
    }
    EXPECT_EQ(reader.next(), Json({{"text", "0123456789"}}));
}

TEST(Messages, EndWithTheOtherEnd) {
    Pipe pipe;
    pipe.writing.reset();
    MessageReader reader;
    EXPECT_FALSE(reader.read_some(pipe.reading.get()));
}

TEST(Messages, AreNotSentToNobody) {
    Pipe pipe;
    pipe.reading.reset();
    ::signal(SIGPIPE, SIG_IGN);
    EXPECT_FALSE(send_message(pipe.writing.get(), {{"a", 1}}));
}

TEST(Messages, AreRefusedWhenTheyAreNone) {
    for (const std::string& bytes : {std::string("\x02\0\0\0\xff\xff", 6), std::string("\xff\xff\xff\xff", 4),
                                     std::string("\x01\0\0\0\xa1", 5), std::string("\0\0\0\0", 4)}) {
        const Pipe pipe;
        pipe.put(bytes);
        MessageReader reader;
        EXPECT_TRUE(reader.read_some(pipe.reading.get()));
        EXPECT_THROW((void)reader.next(), Json::exception);
    }
}
