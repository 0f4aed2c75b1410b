#include "support/whole_file.hpp"

#include "support/interrupted_calls.hpp"
#include "support/named_file.hpp"
#include "support/temporary_file.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace kt3::support {
namespace {

constexpr mode_t kNewFileMode = 0666; // less the umask
constexpr mode_t kPermissionBits = 07777;
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

bool write_all(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t put = ::write(file, text.data(), text.size());
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(put));
    }
    return true;
}

std::string folder_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// The owner first: changing it takes the special mode bits away.
bool take_over_rights(int file, const struct stat& old) {
    if (::fchown(file, old.st_uid, old.st_gid) != 0) {
        [[maybe_unused]] const int group_kept = ::fchown(file, static_cast<uid_t>(-1), old.st_gid);
    }
    return ::fchmod(file, old.st_mode & kPermissionBits) == 0;
}

// Some file systems have nothing to flush and say so.
bool flush_to_disk(int file) {
    return ::fsync(file) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS;
}

enum class Replaced {
    yes,
    no_room, // the old text stays as it was
    refused, // no file may appear beside the target or take its place
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
    if ((!is_new && !take_over_rights(temporary.get(), target.status)) || !write_all(temporary.get(), text) ||
        !flush_to_disk(temporary.get())) {
        return Replaced::no_room;
    }
    if (!temporary.take_place_of(target.path)) {
        return Replaced::refused;
    }
    if (folder) {
        ::fsync(::dirfd(folder.get()));
    }
    return Replaced::yes;
}

// Growing may meet a full disk halfway, so the room comes first; the end is cut when the new text is there.
void write_in_place(int file, off_t old_size, std::string_view text) {
    const auto size = static_cast<off_t>(text.size());
    if (size > old_size && ::fallocate(file, 0, 0, size) != 0 && errno != EOPNOTSUPP && errno != ENOSYS) {
        [[maybe_unused]] const int cut_back = ::ftruncate(file, old_size);
        return;
    }
    if (write_all(file, text) && size < old_size) {
        [[maybe_unused]] const int cut = ::ftruncate(file, size);
    }
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

bool replace_file(const char* path, std::string_view text) {
    NamedFile target = open_named(path, O_WRONLY);
    const bool exists = static_cast<bool>(target.file);
    if (!exists && (errno != ENOENT || target.path.empty())) {
        return false;
    }
    if (!exists || target.status.st_nlink == 1) {
        if (replace_by_renaming(target, text) != Replaced::refused) {
            return true;
        }
    }
    if (!exists) {
        target.file.reset(::open(target.path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode));
        if (!target.file) {
            return false;
        }
    }
    write_in_place(target.file.get(), target.status.st_size, text);
    return true;
}

} // namespace kt3::support
