// SPDX-License-Identifier: MIT
#include "observe/library/library_lines.hpp"

#include "support/owned.hpp"

#include <cstdio>
#include <sys/mman.h>

namespace kt3::observe {
namespace {

struct KnownLine {
    const char* text;
    bool LibraryLines::*mark;
};

// clang-format off
constexpr KnownLine kKnownLines[] = {
    {"Fail to read allocation info. skip...", &LibraryLines::reread},
    {"exceed ALLOCATION_SUMMARY_MAX!!! ",     &LibraryLines::overflow},
    {"exceed ALLOCATION_SUMMARY_MAX !!! ",    &LibraryLines::overflow},
    {"invalid segmentid !!! ",                &LibraryLines::misplaced},
    {"Error opening directory",               &LibraryLines::unlisted},
    {"Fail to read devices info. skip...",    &LibraryLines::unreadable},
    {"exceed  MAX_CHIP_NUM. ",                &LibraryLines::unslotted},
};
// clang-format on

// Standard output goes into a file of its own for the life of the object.
struct Diversion {
    support::Fd usual{(std::fflush(stdout), ::dup(STDOUT_FILENO))};
    support::Fd file{::memfd_create("kt3-lines", MFD_CLOEXEC)};

    Diversion() { ::dup2(file.get(), STDOUT_FILENO); }
    ~Diversion() { end(); }
    Diversion(const Diversion&) = delete;
    Diversion& operator=(const Diversion&) = delete;

    void end() {
        std::fflush(stdout);
        ::dup2(usual.get(), STDOUT_FILENO);
    }
    [[nodiscard]] std::string text() const {
        std::string whole;
        char piece[4096];
        ssize_t got = 0;
        while ((got = ::pread(file.get(), piece, sizeof piece, static_cast<off_t>(whole.size()))) > 0) {
            whole.append(piece, static_cast<std::size_t>(got));
        }
        return whole;
    }
};

bool note(LibraryLines& lines, const std::string& line) {
    for (const KnownLine& known : kKnownLines) {
        if (line == known.text) {
            lines.*known.mark = true;
            return true;
        }
    }
    return false;
}

} // namespace

LibraryLines lines_during(const Library& library, const std::function<void()>& calls) {
    Diversion diversion;
    calls();
    diversion.end();
    LibraryLines lines;
    const std::string text = diversion.text();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = text.substr(at, end - at);
        if (!note(lines, line) || library.words.verbose) {
            library.words.show(line);
        }
        at = end + 1;
    }
    return lines;
}

} // namespace kt3::observe
