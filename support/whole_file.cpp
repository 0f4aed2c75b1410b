#include "support/whole_file.hpp"

#include "support/file_reading.hpp"
#include "support/owned.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kt3::support {
namespace {

// As many links as the kernel itself follows.
constexpr int kMostLinks = 40;

constexpr mode_t kNewFileMode = 0666; // less the umask
constexpr mode_t kPermissionBits = 07777;
constexpr std::size_t kReadAhead = 4096;

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

// Replaces `path`, a symbolic link, by what it points to.
bool follow_link(std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    if (length <= 0 || length == static_cast<ssize_t>(sizeof target)) {
        return false;
    }
    const std::string_view text(target, static_cast<std::size_t>(length));
    path = text.front() == '/' ? std::string(text) : folder_of(path) + "/" + std::string(text);
    return true;
}

// Opens what `path` finally names and leaves its own path there. Empty with errno set when that cannot be done. The
// links of /proc/self/fd lead to open files whose names may be gone; those are opened through the link itself.
Fd open_target(std::string& path) {
    const std::string given = path;
    for (int links = 0; links < kMostLinks; ++links) {
        Fd file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW));
        if (!file && errno == ENOENT && links > 0) {
            file.reset(::open(given.c_str(), O_WRONLY | O_CLOEXEC));
        }
        if (file || errno != ELOOP || !follow_link(path)) {
            return file;
        }
    }
    return {};
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
void write_in_place(int file, const struct stat& old, std::string_view text) {
    const auto size = static_cast<off_t>(text.size());
    const bool regular = S_ISREG(old.st_mode);
    if (regular && size > old.st_size && ::fallocate(file, 0, 0, size) != 0 && errno != EOPNOTSUPP && errno != ENOSYS) {
        [[maybe_unused]] const int cut_back = ::ftruncate(file, old.st_size);
        return;
    }
    if (write_all(file, text) && regular && size < old.st_size) {
        [[maybe_unused]] const int cut = ::ftruncate(file, size);
    }
}

} // namespace

std::string read_to_end(int file) {
    struct stat status {};
    const bool sized = ::fstat(file, &status) == 0 && status.st_size > 0;
    std::string text;
    std::size_t filled = 0;
    // One byte more than the file says, so that the first read already meets the end.
    for (std::size_t room = sized ? static_cast<std::size_t>(status.st_size) + 1 : kReadAhead;; room = text.size()) {
        text.resize(filled + room);
        filled += read_page(file, text.data() + filled, room);
        if (filled < text.size()) {
            text.resize(filled);
            return text;
        }
    }
}

bool replace_file(const char* path, std::string_view text) {
    std::string target = path;
    Fd file = open_target(target);
    struct stat old {};
    if (file && ::fstat(file.get(), &old) != 0) {
        return false;
    }
    const bool exists = static_cast<bool>(file);
    const bool replaceable = exists ? S_ISREG(old.st_mode) && old.st_nlink == 1 : errno == ENOENT && !target.empty();
    if (replaceable) {
        if (replace_by_renaming(target, exists ? &old : nullptr, text) != Replaced::refused) {
            return true;
        }
    }
    if (!exists) {
        file.reset(::open(path, O_WRONLY | O_CREAT | O_CLOEXEC, kNewFileMode));
        if (!file || ::fstat(file.get(), &old) != 0) {
            return false;
        }
    }
    write_in_place(file.get(), old, text);
    return true;
}

} // namespace kt3::support
