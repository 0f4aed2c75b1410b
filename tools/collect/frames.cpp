// SPDX-License-Identifier: MIT
#include "collect/frames.hpp"

#include "support/owned.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::collect {
namespace {

constexpr std::size_t kLengthBytes = 4;
constexpr std::size_t kPiece = 64 * 1024;

bool write_all(int pipe, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(pipe, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

// Bytes are for machines; a reader of the trace learns how many there were.
Json for_people(const Json& message) {
    if (message.is_binary()) {
        return fmt::format("{} bytes", message.get_binary().size());
    }
    Json copy = message;
    if (copy.is_structured()) {
        for (Json& part : copy) {
            part = for_people(part);
        }
    }
    return copy;
}

} // namespace

bool send_message(int pipe, const Json& message) {
    trace_message("->", message);
    std::string bytes(kLengthBytes, '\0');
    Json::to_cbor(message, nlohmann::detail::output_adapter<char>(bytes));
    const std::size_t length = bytes.size() - kLengthBytes;
    for (std::size_t at = 0; at < kLengthBytes; ++at) {
        bytes[at] = static_cast<char>(length >> (8 * at) & 0xFF);
    }
    return write_all(pipe, bytes);
}

bool MessageReader::read_some(int pipe) {
    bytes_.erase(0, std::exchange(used_, 0));
    const std::size_t before = bytes_.size();
    bytes_.resize(before + kPiece);
    ssize_t got = 0;
    do {
        got = ::read(pipe, bytes_.data() + before, kPiece);
    } while (got < 0 && errno == EINTR);
    bytes_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got > 0;
}

std::optional<Json> MessageReader::next() {
    const std::string_view rest = std::string_view(bytes_).substr(used_);
    if (rest.size() < kLengthBytes) {
        return std::nullopt;
    }
    std::size_t length = 0;
    for (std::size_t at = 0; at < kLengthBytes; ++at) {
        length |= static_cast<std::size_t>(static_cast<std::uint8_t>(rest[at])) << (8 * at);
    }
    if (length > kLongestMessage) {
        throw Json::other_error::create(500, "a message of impossible length", nullptr);
    }
    if (rest.size() < kLengthBytes + length) {
        return std::nullopt;
    }
    used_ += kLengthBytes + length;
    Json message = Json::from_cbor(rest.substr(kLengthBytes, length));
    trace_message("<-", message);
    return message;
}

void trace_message(const char* direction, const Json& message) {
    static const char* const file = std::getenv("KT3_WORKER_TRACE");
    if (file == nullptr) {
        return;
    }
    const support::Fd trace(::open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600));
    const Json line = {{"pid", ::getpid()}, {"direction", direction}, {"message", for_people(message)}};
    (void)write_all(trace.get(), line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n');
}

} // namespace kt3::collect
