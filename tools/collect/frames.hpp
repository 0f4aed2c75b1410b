// SPDX-License-Identifier: MIT
#pragma once
// Messages between a reader process and the one that asks: four bytes of length, least significant first, then CBOR.
// With KT3_WORKER_TRACE=FILE every message is added to the file as a line of JSON.

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace kt3::collect {

using Json = nlohmann::json;

// No message is longer; a length beyond it is a broken stream.
inline constexpr std::size_t kLongestMessage = std::size_t{1} << 30;

// False when the other end is closed.
[[nodiscard]] bool send_message(int pipe, const Json& message);

// Puts together what arrives in pieces.
class MessageReader {
public:
    // Takes what can be read now; false at the end of the stream.
    [[nodiscard]] bool read_some(int pipe);

    // The next whole message. Throws Json::exception for what is no message.
    [[nodiscard]] std::optional<Json> next();

private:
    std::string bytes_;
    std::size_t used_ = 0;
};

// "<-" for messages that this process got, "->" for those that it sent.
void trace_message(const char* direction, const Json& message);

} // namespace kt3::collect
