// SPDX-License-Identifier: MIT
#include "kt3/peer_words.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>
#include <utility>

namespace kt3::cli {
namespace {

struct CommandWord {
    std::string_view word;
    std::vector<std::string> own;
};

// Only as the first word that is not an option.
const std::vector<CommandWord>& command_words() {
    static const auto& words = *new std::vector<CommandWord>{
        {"ps", {"process"}},
        {"static", {"info"}},
        {"stats", {"metric"}},
        {"dump", {"metric"}},
        {"dmon", {"metric", "-w", "1"}},
        {"discovery", {"list"}},
        {"health", {"doctor"}},
        {"top", {"-w", "1"}},
        {"monitor", {"-w", "1"}},
    };
    return words;
}

struct OptionWord {
    std::string_view word;
    std::string_view own;
    std::string_view usual; // its value when none is given; empty: it needs one, or has none
};

// clang-format off
constexpr OptionWord kOptionWords[] = {
    {"-i",          "-g",      ""},
    {"--id",        "-g",      ""},
    {"-l",          "-w",      "5"},
    {"--loop",      "-w",      "5"},
    {"--interval",  "-w",      ""},
    {"--query-gpu", "--query", ""},
};

// In the place of a command.
constexpr OptionWord kCommandOptions[] = {
    {"-L",          "list",   ""},
    {"--list-gpus", "list",   ""},
    {"-q",          "info",   ""},
};

constexpr OptionWord kFormatWords[] = {
    {"csv",      "",           ""}, // queries know no other
    {"noheader", "--noheader", ""},
    {"nounits",  "--nounits",  ""},
};
// clang-format on

constexpr std::string_view kFormat = "--format=";

// Own options that take the next word for their value, whatever it says.
constexpr std::string_view kValueFollows[] = {"-g", "--gpu",   "-o",      "--output",  "-w",      "--wait",
                                              "-n", "--count", "--color", "--library", "--query", "--timeout"};

bool is_option(std::string_view text) {
    return text.size() > 1 && text[0] == '-' && std::isdigit(static_cast<unsigned char>(text[1])) == 0;
}

template<std::size_t N>
const OptionWord* find_word(const OptionWord (&words)[N], std::string_view word) {
    for (const OptionWord& row : words) {
        if (row.word == word) {
            return &row;
        }
    }
    return nullptr;
}

// False when one of the words is not known; nothing is added then.
bool add_format(std::string_view text, std::vector<std::string>& into) {
    std::vector<std::string> added;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(','), text.size());
        const OptionWord* word = find_word(kFormatWords, text.substr(0, end));
        if (word == nullptr) {
            return false;
        }
        if (!word->own.empty()) {
            added.emplace_back(word->own);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    into.insert(into.end(), added.begin(), added.end());
    return true;
}

class Translation {
public:
    explicit Translation(const std::vector<std::string>& arguments) : arguments_(arguments) {}

    std::vector<std::string> whole() {
        for (; at_ < arguments_.size(); ++at_) {
            if (arguments_[at_] == "--") {
                own_.insert(own_.end(), arguments_.begin() + static_cast<std::ptrdiff_t>(at_), arguments_.end());
                break;
            }
            if (is_option(arguments_[at_])) {
                option(arguments_[at_]);
            } else {
                word(arguments_[at_]);
            }
        }
        return std::move(own_);
    }

private:
    void option(const std::string& text) {
        const std::size_t sign = text.find('=');
        const std::string name = text.substr(0, sign);
        if (text.starts_with(kFormat) && add_format(std::string_view(text).substr(kFormat.size()), own_)) {
            return;
        }
        if (const OptionWord* row = find_word(kCommandOptions, text); row != nullptr && !command_seen_) {
            own_.emplace_back(row->own);
            command_seen_ = true;
            return;
        }
        const OptionWord* row = find_word(kOptionWords, name);
        if (row == nullptr) {
            own_.push_back(text);
            value_expected_ =
                std::find(std::begin(kValueFollows), std::end(kValueFollows), text) != std::end(kValueFollows);
            return;
        }
        own_.emplace_back(row->own);
        const bool value_follows = at_ + 1 < arguments_.size() && !is_option(arguments_[at_ + 1]);
        if (sign != std::string::npos) {
            own_.push_back(text.substr(sign + 1));
        } else if (value_follows) {
            own_.push_back(arguments_[++at_]);
        } else if (!row->usual.empty()) {
            own_.emplace_back(row->usual);
        }
    }

    void word(const std::string& text) {
        const bool is_a_value = std::exchange(value_expected_, false);
        for (const CommandWord& row : command_words()) {
            if (row.word == text && !command_seen_ && !is_a_value) {
                own_.insert(own_.end(), row.own.begin(), row.own.end());
                command_seen_ = true;
                return;
            }
        }
        command_seen_ = command_seen_ || !is_a_value;
        own_.push_back(text);
    }

    const std::vector<std::string>& arguments_;
    std::vector<std::string> own_;
    std::size_t at_ = 0;
    bool command_seen_ = false;
    bool value_expected_ = false;
};

} // namespace

std::vector<std::string> in_own_words(const std::vector<std::string>& arguments) {
    if (!arguments.empty() && arguments.front() == "help") {
        std::vector<std::string> own(arguments.begin() + 1, arguments.end());
        own.emplace_back("--help");
        return own;
    }
    return Translation(arguments).whole();
}

} // namespace kt3::cli
