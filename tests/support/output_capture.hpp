// SPDX-License-Identifier: MIT
#pragma once
// Collects what is written to standard output.

#include <cstdio>
#include <string>
#include <unistd.h>

namespace kt3::tests {

// Everything written to descriptor 1 since construction, through stdio or not.
class OutputCapture {
public:
    OutputCapture() : file_(std::tmpfile()), saved_(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        ::dup2(::fileno(file_), STDOUT_FILENO);
    }
    ~OutputCapture() {
        restore();
        std::fclose(file_);
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    // Ends the capture and returns the text.
    std::string text() {
        restore();
        std::string all;
        std::rewind(file_);
        for (int c = std::fgetc(file_); c != EOF; c = std::fgetc(file_)) {
            all.push_back(static_cast<char>(c));
        }
        return all;
    }

private:
    void restore() {
        if (saved_ >= 0) {
            std::fflush(stdout);
            ::dup2(saved_, STDOUT_FILENO);
            ::close(saved_);
            saved_ = -1;
        }
    }
    FILE* file_;
    int saved_;
};

} // namespace kt3::tests
