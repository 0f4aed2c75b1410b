// SPDX-License-Identifier: MIT
#pragma once
// A file that is written beside another one and then takes its place.

#include "support/owned.hpp"

#include <string>
#include <sys/types.h>

namespace kt3::support {

// Has a name of its own, "TARGET.xxxxxx.tmp", and is removed unless it took the place of its target.
class TemporaryFile {
public:
    TemporaryFile(const std::string& target, mode_t mode);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] int get() const { return file_.get(); }
    explicit operator bool() const { return static_cast<bool>(file_); } // false when it could not be made

    // True when it has the name of its target now.
    bool take_place_of(const std::string& target);

private:
    std::string name_; // empty once there is nothing to remove
    Fd file_;
};

// Removes what processes that were killed left beside `target` more than an hour ago: files of such a name that belong
// to the caller or to the owner of the target. A younger one may be in use.
void remove_left_over_files(DIR* folder, const std::string& target, uid_t target_owner);

} // namespace kt3::support
