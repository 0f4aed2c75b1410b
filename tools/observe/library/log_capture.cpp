// SPDX-License-Identifier: MIT
#include "observe/library/log_capture.hpp"

#include <exception>
#include <utility>

namespace kt3::observe {
namespace {

constexpr std::size_t kKept = 1000;

struct LogState {
    std::vector<std::string> lines; // grows with each callback; emptied by take_log_lines
    Words words;                    // set once, before the callback is installed
};

LogState& log_state() {
    static LogState state;
    return state;
}

std::string without_line_end(std::string line) {
    line.erase(line.find_last_not_of(" \n") + 1);
    return line;
}

extern "C" void kt3_keep_log_line(const char* line) {
    LogState& state = log_state();
    if (state.lines.size() == kKept) {
        state.lines.erase(state.lines.begin());
    }
    state.lines.push_back(without_line_end(line));
    if (state.words.verbose && !state.lines.back().empty()) {
        state.words.show("log: " + state.lines.back());
    }
}

} // namespace

void capture_log(const Library& library) {
    log_state().words = library.words;
    library.calls.set_print_callback(kt3_keep_log_line);
}

std::vector<std::string> take_log_lines() {
    return std::exchange(log_state().lines, {});
}

} // namespace kt3::observe
