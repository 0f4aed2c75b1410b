#pragma once
// The names in a directory, in the order in which the kernel lists them.

#include "support/owned.hpp"

#include <cerrno>

namespace kt3::support {

class Listing {
public:
    explicit Listing(const char* path) : directory_(::opendir(path)), failed_(!directory_) {}

    // The next name other than "." and ".."; null at the end and after a failure.
    const char* next() {
        while (!failed_) {
            errno = 0;
            const dirent* entry = ::readdir(directory_.get());
            if (entry == nullptr) {
                failed_ = errno != 0;
                return nullptr;
            }
            if (!is_dot_entry(entry->d_name)) {
                return entry->d_name;
            }
        }
        return nullptr;
    }

    // Whether the directory could not be opened, or an error ended the listing before its end.
    [[nodiscard]] bool failed() const { return failed_; }

    // For calls that take names in the directory; -1 when it could not be opened.
    [[nodiscard]] int descriptor() const { return directory_ ? ::dirfd(directory_.get()) : -1; }

private:
    static bool is_dot_entry(const char* name) {
        return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
    }

    Dir directory_;
    bool failed_;
};

} // namespace kt3::support
