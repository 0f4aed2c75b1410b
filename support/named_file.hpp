// SPDX-License-Identifier: MIT
#pragma once
// A small file of the user, opened by a path that others may have had a hand in.

#include "support/owned.hpp"

#include <string>
#include <sys/stat.h>

namespace kt3::support {

// Nobody's file grows to more than this; what is larger is neither read nor written.
inline constexpr off_t kLargestFile = off_t{64} << 20;

struct NamedFile {
    Fd file;               // empty with errno set when there is no such file or it cannot be had
    struct stat status {}; // of the open file
    std::string path;      // what the given path finally names, whether it exists or not
};

// Opens the regular file, or for reading also the folder, that `path` finally names; `access` is O_RDONLY or O_WRONLY.
// A FIFO, a device, a socket or a file that is too large is refused at once instead of waited for.
//
// The last part of the path may be a symbolic link, or lead through several. Somebody else's link is followed to a file
// of that same owner only, or, when it is root's, to a file of the caller: otherwise who may place a link could have a
// more powerful user write over any file. The kernel has the same rule for shared folders, where it is switched on.
NamedFile open_named(const char* path, int access);

} // namespace kt3::support
