// SPDX-License-Identifier: MIT
#include "support/temporary_file.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>

namespace kt3::support {
namespace {

constexpr std::string_view kSuffix = ".tmp";
constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz012345";
constexpr std::size_t kLetterCount = 6;
constexpr int kTries = 100;
constexpr std::time_t kHour = 3600;

// Random, because two programs that save at the same time may have the same process id, each in its own container.
std::string random_letters() {
    std::array<unsigned char, kLetterCount> bytes{};
    [[maybe_unused]] const int filled =
        ::getentropy(bytes.data(), bytes.size()); // without it a name that is free will do
    std::string letters;
    for (const unsigned char byte : bytes) {
        letters.push_back(kLetters[byte % kLetters.size()]);
    }
    return letters;
}

// "BASE.xxxxxx.tmp"
bool is_temporary_name(std::string_view name, std::string_view base) {
    if (name.size() != base.size() + 1 + kLetterCount + kSuffix.size() || name.substr(0, base.size()) != base ||
        name[base.size()] != '.' || name.substr(name.size() - kSuffix.size()) != kSuffix) {
        return false;
    }
    return name.substr(base.size() + 1, kLetterCount).find_first_not_of(kLetters) == name.npos;
}

bool is_left_over(const struct stat& status, uid_t target_owner) {
    const bool ours = status.st_uid == ::geteuid() || status.st_uid == target_owner;
    return ours && S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_mtime < std::time(nullptr) - kHour;
}

} // namespace

// mkostemp gives every file the mode 0600; a new file is to have what the umask and the folder's access control list
// leave of `mode`, which only the opening call can give it.
TemporaryFile::TemporaryFile(const std::string& target, mode_t mode) {
    for (int tries = 0; tries < kTries && !file_; ++tries) {
        std::string name = target + "." + random_letters() + std::string(kSuffix);
        file_.reset(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (file_) {
            name_ = std::move(name);
        } else if (errno != EEXIST && errno != EINTR) {
            return;
        }
    }
}

TemporaryFile::~TemporaryFile() {
    if (!name_.empty()) {
        ::unlink(name_.c_str());
    }
}

bool TemporaryFile::take_place_of(const std::string& target) {
    const bool renamed = std::rename(name_.c_str(), target.c_str()) == 0;
    if (renamed) {
        name_.clear();
    }
    return renamed;
}

void remove_left_over_files(DIR* folder, const std::string& target, uid_t target_owner) {
    const std::string_view base = std::string_view(target).substr(target.rfind('/') + 1);
    while (const dirent* entry = ::readdir(folder)) {
        struct stat status {};
        if (is_temporary_name(entry->d_name, base) &&
            ::fstatat(::dirfd(folder), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            is_left_over(status, target_owner)) {
            ::unlinkat(::dirfd(folder), entry->d_name, 0);
        }
    }
}

} // namespace kt3::support
