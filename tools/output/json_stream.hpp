// SPDX-License-Identifier: MIT
#pragma once
// A JSON document written piece by piece, for what would be too large to build first.

#include "output/json.hpp"

#include <functional>
#include <string>
#include <string_view>

namespace kt3::output {

class JsonStream {
public:
    using Send = std::function<void(std::string_view)>;

    // Two spaces deeper for each level, or all in one line when `compact`. Everything has been sent after finish().
    JsonStream(Send send, bool compact) : send_(std::move(send)), compact_(compact) {}

    void begin_object() { open('{'); }
    void end_object() { close('}'); }
    void begin_array() { open('['); }
    void end_array() { close(']'); }
    void key(const std::string& name);     // of the value, object or array that comes next
    void value(const Json& value);         // texts that are not UTF-8 are made so
    void value_in_line(const Json& value); // the same without line breaks within
    void member(const std::string& name, const Json& its_value) {
        key(name);
        value(its_value);
    }
    void finish(); // with a newline

private:
    void begin_item();
    void open(char bracket);
    void close(char bracket);
    void new_line();

    Send send_;
    bool compact_;
    std::string text_; // not sent yet
    std::size_t depth_ = 0;
    bool empty_ = true; // nothing in the innermost object or array yet
    bool behind_key_ = false;
};

} // namespace kt3::output
