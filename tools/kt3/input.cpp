// SPDX-License-Identifier: MIT
#include "kt3/input.hpp"

#include "observe/failure.hpp"
#include "observe/interrupt.hpp"
#include "output/screen_text.hpp"
#include "support/owned.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::cli {

using namespace observe;

FileText read_whole_file(const std::string& path) {
    FileText file;
    const support::Fd descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor) {
        file.error = errno;
        check_interrupt(); // it may be why
        return file;
    }
    char piece[16 * 1024];
    ssize_t got = 0;
    while ((got = ::read(descriptor.get(), piece, sizeof piece)) > 0) {
        file.text.append(piece, static_cast<std::size_t>(got));
    }
    file.error = got < 0 ? errno : 0;
    check_interrupt();
    return file;
}

std::string text_of_file(const std::string& path) {
    FileText file = read_whole_file(path);
    if (file.error != 0) {
        const bool denied = file.error == EACCES || file.error == EPERM;
        throw Failure{denied ? ExitStatus::permission : ExitStatus::failure, "input",
                      fmt::format("cannot read {}: {}", output::screen_safe(path), std::strerror(file.error))};
    }
    return std::move(file.text);
}

} // namespace kt3::cli
