// SPDX-License-Identifier: MIT
#pragma once
// Where data goes: the standard output the process was started with, or the file of -o. Nothing but data goes there.

#include "support/owned.hpp"

#include <string>
#include <string_view>

namespace kt3::cli {

// Keeps a private duplicate of descriptor 1 and points descriptor 1 at standard error, so that lines which the library
// and its modules print do not mix with data. Call it before the library is opened.
[[nodiscard]] support::Fd set_standard_output_aside();

class Output {
public:
    // An empty path means the descriptor.
    Output(const support::Fd& standard_output, std::string path)
        : standard_output_(standard_output), path_(std::move(path)) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output(); // without finish() an unfinished file is removed and the older one stays

    // Sends the text on. Throws Failure when that is not possible. Text for a file goes into a new file beside it.
    void write(std::string_view text);

    // Text for a file goes into the file itself from now on, so that others can follow it while it grows.
    void follow() { in_place_ = true; }

    // Puts the new file in the place of the older one.
    void finish();

    [[nodiscard]] bool is_terminal() const;

    // For a second output: the name /dev/stdout means this descriptor.
    [[nodiscard]] const support::Fd& standard_output() const { return standard_output_; }

private:
    void open_target();

    const support::Fd& standard_output_;
    std::string path_;
    std::string resolved_;  // the file that path_ names, links followed
    std::string temporary_; // the new file beside it; empty when written in place
    bool in_place_ = false;
    support::Fd target_;
};

} // namespace kt3::cli
