// SPDX-License-Identifier: MIT
#pragma once
// kt3 at a terminal: somebody reads the question and types an answer.

#include "cli/run_kt3.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace kt3::tests {

// What keys of a terminal send.
inline constexpr std::string_view kEndOfInput = "\x04";
inline constexpr std::string_view kInterruptKey = "\x03";

// A pseudo terminal. It neither echoes nor changes line ends, so that its screen shows what the program wrote.
class Terminal {
public:
    explicit Terminal(unsigned short columns = 80) : keys_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(keys_), 0);
        EXPECT_EQ(::unlockpt(keys_), 0);
        line_ = ::open(::ptsname(keys_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(line_, 0);
        termios settings{};
        EXPECT_EQ(::tcgetattr(line_, &settings), 0);
        settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
        EXPECT_EQ(::tcsetattr(line_, TCSANOW, &settings), 0);
        const winsize size{24, columns, 0, 0};
        EXPECT_EQ(::ioctl(line_, TIOCSWINSZ, &size), 0);
    }
    ~Terminal() {
        leave_to_child();
        ::close(keys_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // In a child: the terminal becomes its own, with standard input and standard error on it.
    void take() const {
        ::setsid();
        ::ioctl(line_, TIOCSCTTY, 0);
        ::dup2(line_, 0);
        ::dup2(line_, 2);
    }

    // In the parent: from here on the screen ends when the last program lets go of it.
    void leave_to_child() {
        if (line_ >= 0) {
            ::close(line_);
            line_ = -1;
        }
    }

    void type(std::string_view text) const {
        EXPECT_EQ(::write(keys_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Reads on until the screen shows the text, or to its end.
    void read_until(std::string_view text) {
        char piece[512];
        while (screen.find(text) == std::string::npos) {
            const ssize_t got = ::read(keys_, piece, sizeof piece);
            if (got <= 0) {
                return;
            }
            screen.append(piece, static_cast<std::size_t>(got));
        }
    }
    void read_to_end() {
        char piece[512];
        for (ssize_t got = 0; (got = ::read(keys_, piece, sizeof piece)) > 0;) {
            screen.append(piece, static_cast<std::size_t>(got));
        }
    }

    std::string screen;

private:
    int keys_;
    int line_ = -1;
};

// A shell script as run_script, with its input and its standard error on a terminal where `answer` is typed once the
// question is on the screen. `err` of the result is the screen.
inline Ended run_script_on_terminal(const std::string& scene, const std::string& script, std::string_view question,
                                    std::string_view answer, const Scratch& scratch) {
    const std::string out = scratch.folder / "stdout";
    const auto arguments = in_scene(scene, {"sh", "-c", script}, scratch);
    Terminal terminal;
    const pid_t child = ::fork();
    if (child == 0) {
        terminal.take();
        ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        become(arguments, scratch, kScriptNames);
    }
    terminal.leave_to_child();
    terminal.read_until(question);
    if (terminal.screen.find(question) != std::string::npos) {
        terminal.type(answer);
    }
    terminal.read_to_end();
    const int status = status_of(child);
    return {status, file_text(out), terminal.screen};
}

} // namespace kt3::tests
