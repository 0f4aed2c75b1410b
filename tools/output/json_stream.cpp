// SPDX-License-Identifier: MIT
#include "output/json_stream.hpp"

namespace kt3::output {
namespace {

constexpr std::size_t kPieceSize = std::size_t{64} * 1024;
constexpr std::size_t kIndent = 2;

std::string dumped(const Json& value, bool compact) {
    return value.dump(compact ? -1 : static_cast<int>(kIndent), ' ', false, Json::error_handler_t::replace);
}

} // namespace

void JsonStream::new_line() {
    if (!compact_) {
        text_ += '\n';
        text_.append(kIndent * depth_, ' ');
    }
}

void JsonStream::begin_item() {
    if (text_.size() >= kPieceSize) {
        send_(text_);
        text_.clear();
    }
    if (depth_ > 0 && !behind_key_) {
        text_ += empty_ ? "" : ",";
        new_line();
    }
    empty_ = false;
    behind_key_ = false;
}

void JsonStream::open(char bracket) {
    begin_item();
    text_ += bracket;
    ++depth_;
    empty_ = true;
}

void JsonStream::close(char bracket) {
    --depth_;
    if (!empty_) {
        new_line();
    }
    text_ += bracket;
    empty_ = false;
}

void JsonStream::key(const std::string& name) {
    begin_item();
    text_ += dumped(name, true) + (compact_ ? ":" : ": ");
    behind_key_ = true;
}

// A dumped value is indented as if it stood alone. Newlines within texts are escaped, so every one begins a line.
void JsonStream::value(const Json& value) {
    begin_item();
    for (const char c : dumped(value, compact_)) {
        text_ += c;
        if (c == '\n') {
            text_.append(kIndent * depth_, ' ');
        }
    }
}

void JsonStream::value_in_line(const Json& value) {
    begin_item();
    text_ += dumped(value, true);
}

void JsonStream::finish() {
    text_ += '\n';
    send_(text_);
    text_.clear();
}

} // namespace kt3::output
