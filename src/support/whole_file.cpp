#include "support/whole_file.hpp"

#include "support/interrupted_calls.hpp"
#include "support/named_file.hpp"

#include <cerrno>
#include <cstdio>
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

// The process id keeps two programs apart that save at the same time; a file of that name can only be left over.
Fd create_beside(const std::string& target, mode_t mode, std::string& name) {
    name = target + "." + std::to_string(::getpid()) + ".tmp";
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    Fd file(::open(name.c_str(), kFlags, mode));
    if (!file && errno == EEXIST && ::unlink(name.c_str()) == 0) {
        file.reset(::open(name.c_str(), kFlags, mode));
    }
    return file;
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

// `old` is null when the target does not exist yet.
Replaced replace_by_renaming(const std::string& target, const struct stat* old, std::string_view text) {
    std::string name;
    const Fd file = create_beside(target, old == nullptr ? kNewFileMode : S_IRUSR | S_IWUSR, name);
    if (!file) {
        return Replaced::refused;
    }
    const bool filled = (old == nullptr || take_over_rights(file.get(), *old)) && write_all(file.get(), text) &&
                        flush_to_disk(file.get());
    if (!filled || std::rename(name.c_str(), target.c_str()) != 0) {
        ::unlink(name.c_str());
        return filled ? Replaced::refused : Replaced::no_room;
    }
    const Fd folder(::open(folder_of(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        ::fsync(folder.get());
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
        if (replace_by_renaming(target.path, exists ? &target.status : nullptr, text) != Replaced::refused) {
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
