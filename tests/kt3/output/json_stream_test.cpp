// SPDX-License-Identifier: MIT
#include "output/json_stream.hpp"

#include <gtest/gtest.h>

#include <random>

using kt3::output::Json;
using kt3::output::JsonStream;

namespace {

Json random_value(std::mt19937& random, int depth) {
    switch (random() % (depth == 0 ? 5 : 7)) {
    case 0:
        return nullptr;
    case 1:
        return random() % 2 == 0;
    case 2:
        return static_cast<std::int64_t>(random()) - 1'000'000;
    case 3:
        return "a \"text\"\n\twith \\ and \xc3\xa4";
    case 4:
        return "";
    case 5: {
        Json list = Json::array();
        for (unsigned count = random() % 4; count > 0; --count) {
            list.push_back(random_value(random, depth - 1));
        }
        return list;
    }
    default: {
        Json object = Json::object();
        for (unsigned count = random() % 4; count > 0; --count) {
            object["key " + std::to_string(count)] = random_value(random, depth - 1);
        }
        return object;
    }
    }
}

// Down to `depth` piece by piece, below it as whole values.
void write(JsonStream& json, const Json& value, int depth) {
    if (depth == 0 || (!value.is_object() && !value.is_array())) {
        json.value(value);
    } else if (value.is_object()) {
        json.begin_object();
        for (const auto& [name, member] : value.items()) {
            json.key(name);
            write(json, member, depth - 1);
        }
        json.end_object();
    } else {
        json.begin_array();
        for (const Json& item : value) {
            write(json, item, depth - 1);
        }
        json.end_array();
    }
}

std::string streamed(const Json& value, int depth, bool compact) {
    std::string text;
    JsonStream json([&](std::string_view piece) { text += piece; }, compact);
    write(json, value, depth);
    json.finish();
    return text;
}

} // namespace

TEST(JsonStream, WritesWhatDumpingTheWholeDocumentWrites) {
    std::mt19937 random(3);
    for (int round = 0; round < 2'000; ++round) {
        const Json value = random_value(random, 4);
        for (const int depth : {0, 1, 2, 5}) {
            ASSERT_EQ(streamed(value, depth, false), value.dump(2) + '\n');
            ASSERT_EQ(streamed(value, depth, true), value.dump() + '\n');
        }
    }
}

TEST(JsonStream, SendsLongDocumentsInPieces) {
    std::size_t pieces = 0;
    std::size_t longest = 0;
    JsonStream json(
        [&](std::string_view piece) {
            ++pieces;
            longest = std::max(longest, piece.size());
        },
        false);
    json.begin_array();
    for (int item = 0; item < 100'000; ++item) {
        json.value(item);
    }
    json.end_array();
    json.finish();
    EXPECT_GT(pieces, 10U);
    EXPECT_LT(longest, 70'000U);
}

TEST(JsonStream, ReplacesBytesThatAreNoText) {
    EXPECT_EQ(streamed("\xff!", 0, true), "\"\xef\xbf\xbd!\"\n");
}
