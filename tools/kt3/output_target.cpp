// SPDX-License-Identifier: MIT
#include "kt3/output_target.hpp"

#include "observe/failure.hpp"
#include "observe/interrupt.hpp"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <sys/stat.h>

namespace kt3::cli {

using namespace observe;

namespace {

[[noreturn]] void cannot_write(const std::string& what, int error) {
    const bool denied = error == EACCES || error == EPERM || error == EROFS;
    throw Failure{denied ? ExitStatus::permission : ExitStatus::failure, "output",
                  fmt::format("cannot write {}: {}", what, std::strerror(error))};
}

constexpr int kMostLinks = 40; // as many as the kernel follows

// Where the name leads, also when the file is not there yet.
std::string follow_links(const std::string& path) {
    std::filesystem::path followed = path;
    for (int links = 0; links < kMostLinks; ++links) {
        if (char* real = ::realpath(followed.c_str(), nullptr)) {
            followed = real;
            std::free(real);
            return followed;
        }
        std::error_code no_link;
        const auto target = std::filesystem::read_symlink(followed, no_link);
        if (no_link) {
            return followed;
        }
        followed = followed.parent_path() / target;
    }
    cannot_write(path, ELOOP);
}

// Names of open descriptors. Opening them is not enough: descriptor 1 has been set aside, and a regular file that
// one of them names would be replaced although others go on writing into it.
std::optional<int> descriptor_named(std::string_view path) {
    if (path == "-" || path == "/dev/stdout") {
        return STDOUT_FILENO;
    }
    if (path == "/dev/stderr") {
        return STDERR_FILENO;
    }
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
        int number = -1;
        const char* end = path.data() + path.size();
        if (path.starts_with(folder) && std::from_chars(path.data() + folder.size(), end, number).ptr == end) {
            return number;
        }
    }
    return std::nullopt;
}

mode_t default_mode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

support::Fd set_standard_output_aside() {
    const bool closed = ::fcntl(STDOUT_FILENO, F_GETFD) < 0; // then data has nowhere to go, and writing it says so
    // Descriptors 0 to 2 must be taken, or a file opened later would receive what is meant for them.
    for (int number = 0; number <= 2; ++number) {
        if (::fcntl(number, F_GETFD) < 0) {
            static_cast<void>(support::Fd(::open("/dev/null", number == 0 ? O_RDONLY : O_WRONLY)).release());
        }
    }
    std::fflush(stdout);
    support::Fd aside(closed ? -1 : ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    return aside;
}

Output::~Output() {
    if (!temporary_.empty()) {
        ::unlink(temporary_.c_str());
    }
}

void Output::open_target() {
    if (const auto named = descriptor_named(path_)) {
        const int descriptor = *named == STDOUT_FILENO ? standard_output_.get() : *named;
        target_ = support::Fd(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
        if (!target_) {
            cannot_write(path_, errno);
        }
        return;
    }
    resolved_ = follow_links(path_);
    struct stat status {};
    const bool exists = ::stat(resolved_.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {
        target_ = support::Fd(::open(resolved_.c_str(), O_WRONLY | O_CLOEXEC));
    } else if (in_place_) {
        target_ = support::Fd(::open(resolved_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    } else {
        std::string name = resolved_ + ".XXXXXX";
        target_ = support::Fd(::mkostemp(name.data(), O_CLOEXEC));
        if (target_) {
            temporary_ = name;
            ::fchmod(target_.get(), exists ? status.st_mode & 07777 : default_mode());
        }
    }
    if (!target_) {
        cannot_write(path_, errno);
    }
}

void Output::write(std::string_view text) {
    if (!path_.empty() && !target_) {
        open_target();
    }
    const int descriptor = path_.empty() ? standard_output_.get() : target_.get();
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            throw ReaderLeft{};
        } else if (errno != EINTR) {
            cannot_write(path_.empty() ? "standard output" : path_, errno);
        } else {
            check_interrupt();
        }
    }
}

void Output::finish() {
    if (temporary_.empty()) {
        return;
    }
    if (::fsync(target_.get()) != 0 || ::rename(temporary_.c_str(), resolved_.c_str()) != 0) {
        cannot_write(path_, errno);
    }
    temporary_.clear();
    target_ = support::Fd();
}

bool Output::is_terminal() const {
    return path_.empty() && ::isatty(standard_output_.get()) == 1;
}

} // namespace kt3::cli
