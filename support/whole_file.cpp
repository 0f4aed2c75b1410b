// SPDX-License-Identifier: MIT
#include "support/whole_file.hpp"

#include "support/file_rights.hpp"
#include "support/interrupted_calls.hpp"
#include "support/named_file.hpp"
#include "support/temporary_file.hpp"

#include <algorithm>
#include <fcntl.h>

namespace kt3::support {
namespace {

constexpr mode_t kNewFileMode = 0666; // less the umask
constexpr std::size_t kReadAhead = 4096;

// False when a read fails or the file is too large after all, as one that does not tell its size may be.
bool read_to_end(int file, off_t expected, std::string& text) {
    std::size_t filled = 0;
    // One byte more than the file says, so that the end is met without growing.
    for (std::size_t more = expected > 0 ? static_cast<std::size_t>(expected) + 1 : kReadAhead;; more = text.size()) {
        text.resize(filled + more);
        while (filled < text.size()) {
            const ssize_t got =
                repeat_interrupted([&] { return ::read(file, text.data() + filled, text.size() - filled); });
            if (got <= 0) {
                text.resize(filled);
                return got == 0;
            }
            filled += static_cast<std::size_t>(got);
        }
        if (filled > static_cast<std::size_t>(kLargestFile)) {
            return false;
        }
    }
}

// How many bytes could be written: fewer than the text has when writing failed.
std::size_t write_all(int file, std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t put =
            repeat_interrupted([&] { return ::write(file, text.data() + written, text.size() - written); });
        if (put <= 0) {
            break;
        }
        written += static_cast<std::size_t>(put);
    }
    return written;
}

bool cut(int file, off_t size) {
    return repeat_interrupted([&] { return ::ftruncate(file, size); }) == 0;
}

// False when the space cannot be had. Not every file system can reserve any.
bool reserve(int file, off_t size) {
    return repeat_interrupted([&] { return ::fallocate(file, 0, 0, size); }) == 0 ||
           (errno != ENOSPC && errno != EDQUOT && errno != EFBIG);
}

// Some file systems have nothing to flush and say so.
bool flush_to_disk(int file) {
    return repeat_interrupted([&] { return ::fsync(file); }) == 0 || errno == EINVAL || errno == ENOTSUP ||
           errno == ENOSYS || errno == EROFS;
}

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

enum class Replaced {
    yes,
    failed,  // the disk is full or broken; the old text stays as it was
    refused, // no file may appear beside the target, be as the target was, or take its place
};

Replaced replace_by_renaming(const NamedFile& target, std::string_view text) {
    const bool is_new = !target.file;
    const Dir folder(::opendir(folder_of(target.path).c_str()));
    if (folder) {
        remove_left_over_files(folder.get(), target.path, is_new ? ::geteuid() : target.status.st_uid);
    }
    TemporaryFile temporary(target.path, is_new ? kNewFileMode : S_IRUSR | S_IWUSR);
    if (!temporary) {
        return Replaced::refused;
    }
    if (write_all(temporary.get(), text) < text.size()) {
        return Replaced::failed;
    }
    if (!is_new && !carry_over_rights(target.file.get(), target.status, temporary.get())) {
        return Replaced::refused;
    }
    if (!flush_to_disk(temporary.get())) {
        return Replaced::failed;
    }
    if (!temporary.take_place_of(target.path)) {
        return Replaced::refused;
    }
    if (folder) {
        ::fsync(::dirfd(folder.get()));
    }
    return Replaced::yes;
}

// Growing may meet a full disk halfway, so the space comes first; the end is cut when the new text is there. Reserved
// space reads as zero bytes, so what was not filled is given back.
SaveResult write_in_place(int file, off_t old_size, std::string_view text) {
    const auto size = static_cast<off_t>(text.size());
    const bool reserved = size <= old_size || reserve(file, size);
    const auto written = static_cast<off_t>(reserved ? write_all(file, text) : 0);
    if (written < size) {
        cut(file, std::max(written, old_size));
        return SaveResult::not_written;
    }
    return size >= old_size || cut(file, size) ? SaveResult::saved : SaveResult::not_written;
}

SaveResult create_in_place(const std::string& path, std::string_view text) {
    const Fd file(repeat_interrupted(
        [&] { return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode); }));
    if (!file) {
        return SaveResult::not_opened;
    }
    const SaveResult result = write_in_place(file.get(), 0, text);
    if (result != SaveResult::saved) {
        ::unlink(path.c_str());
    }
    return result;
}

} // namespace

WholeText read_whole(const char* path) {
    const NamedFile named = open_named(path, O_RDONLY);
    if (!named.file) {
        return {errno == ENOENT || errno == ENOTDIR ? ReadResult::absent : ReadResult::unreadable, {}};
    }
    WholeText read{ReadResult::whole, {}};
    if (S_ISREG(named.status.st_mode) && !read_to_end(named.file.get(), named.status.st_size, read.text)) {
        return {ReadResult::unreadable, {}};
    }
    return read;
}

SaveResult replace_file(const char* path, std::string_view text) {
    if (text.size() > static_cast<std::size_t>(kLargestFile)) {
        return SaveResult::not_written; // it could not be read again
    }
    const NamedFile target = open_named(path, O_WRONLY);
    if (!target.file && (errno != ENOENT || target.path.empty())) {
        return SaveResult::not_opened;
    }
    if (!target.file || target.status.st_nlink == 1) {
        const Replaced replaced = replace_by_renaming(target, text);
        if (replaced != Replaced::refused) {
            return replaced == Replaced::yes ? SaveResult::saved : SaveResult::not_written;
        }
    }
    return target.file ? write_in_place(target.file.get(), target.status.st_size, text)
                       : create_in_place(target.path, text);
}

} // namespace kt3::support
