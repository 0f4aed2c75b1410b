// SPDX-License-Identifier: MIT
#pragma once
// The entries of a directory, in the order in which the kernel lists them.

#include "support/owned.hpp"

#include <cerrno>
#include <utility>

namespace kt3::support {

class Listing {
public:
    explicit Listing(const char* path) : Listing(Dir(::opendir(path))) {}
    explicit Listing(Fd directory) : Listing(Dir(directory ? ::fdopendir(directory.get()) : nullptr)) {
        if (directory_) {
            static_cast<void>(directory.release()); // closed with the listing
        }
    }

    // The next entry other than "." and ".."; null at the end and after a failure.
    const dirent* next_entry() {
        while (!failed_) {
            errno = 0;
            const dirent* entry = ::readdir(directory_.get());
            if (entry == nullptr) {
                failed_ = errno != 0;
                return nullptr;
            }
            if (!is_dot_entry(entry->d_name)) {
                return entry;
            }
        }
        return nullptr;
    }

    // Its name.
    const char* next() {
        const dirent* entry = next_entry();
        return entry == nullptr ? nullptr : entry->d_name;
    }

    // Whether the directory could not be opened, or an error ended the listing before its end.
    [[nodiscard]] bool failed() const { return failed_; }

    // For calls that take names in the directory; -1 when it could not be opened.
    [[nodiscard]] int descriptor() const { return directory_ ? ::dirfd(directory_.get()) : -1; }

private:
    explicit Listing(Dir directory) : directory_(std::move(directory)), failed_(!directory_) {}

    static bool is_dot_entry(const char* name) {
        return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
    }

    Dir directory_;
    bool failed_;
};

} // namespace kt3::support
