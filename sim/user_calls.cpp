// SPDX-License-Identifier: MIT
// Names of users, interposed: a machine that brings /etc/passwd has no other users than those.

#include "real_calls.hpp"
#include "redirect.hpp"
#include "support/owned.hpp"

#include <cerrno>
#include <cstdio>
#include <pwd.h>

namespace {

kt3::support::File machine_users() {
    const char* root = kt3::sim::machine_root();
    char path[kt3::sim::kPathSize];
    if (root == nullptr || std::snprintf(path, sizeof path, "%s/etc/passwd", root) >= static_cast<int>(sizeof path)) {
        return {};
    }
    return kt3::support::File(std::fopen(path, "re"));
}

} // namespace

extern "C" int getpwuid_r(uid_t user, passwd* entry, char* buffer, std::size_t size, passwd** result) {
    static const auto real = kt3::sim::next<int(uid_t, passwd*, char*, std::size_t, passwd**)>("getpwuid_r");
    const kt3::support::File users = machine_users();
    if (!users) {
        return real(user, entry, buffer, size, result);
    }
    int error = 0;
    do {
        error = ::fgetpwent_r(users.get(), entry, buffer, size, result);
    } while (error == 0 && entry->pw_uid != user);
    if (error != 0) {
        *result = nullptr;
    }
    return error == ENOENT ? 0 : error; // there is no such user
}
