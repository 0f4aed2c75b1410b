// SPDX-License-Identifier: MIT
#include "support/file_rights.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <sys/xattr.h>
#include <unistd.h>

namespace kt3::support {
namespace {

constexpr std::size_t kAttributeCapacity = 4096;
constexpr mode_t kPermissionBits = 07777;

// Bytes that the kernel filled in: the names of a file's attributes, each with a zero byte at its end, or one value.
struct AttributeText {
    std::array<char, kAttributeCapacity> bytes;
    ssize_t size;

    [[nodiscard]] std::string_view text() const { return {bytes.data(), static_cast<std::size_t>(size)}; }
};

bool read_names(int file, AttributeText& names) {
    names.size = ::flistxattr(file, names.bytes.data(), names.bytes.size());
    if (names.size < 0 && (errno == ENOTSUP || errno == ENOSYS)) {
        names.size = 0;
    }
    return names.size >= 0;
}

bool read_value(int file, const char* name, AttributeText& value) {
    value.size = ::fgetxattr(file, name, value.bytes.data(), value.bytes.size());
    return value.size >= 0;
}

// Takes the first name off `rest`; it is followed by its zero byte.
const char* take_name(std::string_view& rest) {
    const char* name = rest.data();
    rest.remove_prefix(std::strlen(name) + 1);
    return name;
}

bool has_name(std::string_view names, std::string_view wanted) {
    while (!names.empty()) {
        if (take_name(names) == wanted) {
            return true;
        }
    }
    return false;
}

// An attribute that both have alike is left alone: not everybody may set a security label, not even to what it is.
bool copy_attribute(int original, int copy, const char* name) {
    AttributeText wanted;
    AttributeText present;
    if (!read_value(original, name, wanted)) {
        return false;
    }
    return (read_value(copy, name, present) && present.text() == wanted.text()) ||
           ::fsetxattr(copy, name, wanted.bytes.data(), wanted.text().size(), 0) == 0;
}

// A new file may have attributes from the start: the folder's default access control list, for one.
bool carry_over_attributes(int original, int copy) {
    AttributeText wanted;
    AttributeText present;
    if (!read_names(original, wanted) || !read_names(copy, present)) {
        return false;
    }
    for (std::string_view rest = present.text(); !rest.empty();) {
        const char* name = take_name(rest);
        if (!has_name(wanted.text(), name) && ::fremovexattr(copy, name) != 0) {
            return false;
        }
    }
    for (std::string_view rest = wanted.text(); !rest.empty();) {
        if (!copy_attribute(original, copy, take_name(rest))) {
            return false;
        }
    }
    return true;
}

} // namespace

// What counts is what the copy has in the end: a call may be refused where there is nothing to change, and some file
// systems take a mode without keeping it.
bool carry_over_rights(int original, const struct stat& status, int copy) {
    [[maybe_unused]] const int owned = ::fchown(copy, status.st_uid, status.st_gid);
    if (!carry_over_attributes(original, copy)) {
        return false;
    }
    ::fchmod(copy, status.st_mode & kPermissionBits);
    struct stat made {};
    return ::fstat(copy, &made) == 0 && made.st_uid == status.st_uid && made.st_gid == status.st_gid &&
           made.st_mode == status.st_mode;
}

} // namespace kt3::support
