// SPDX-License-Identifier: MIT
#include "observe/adapter/accounting.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace kt3::observe {
namespace {

constexpr const char* kFolder = "/run/kt3";

support::Fd open_in(const std::string& folder, const BusId& bus) {
    ::mkdir(folder.c_str(), 0755);
    const std::string path = fmt::format("{}/accounting-{}", folder, bus_text(bus));
    return support::Fd(::open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644));
}

support::Fd open_file(const BusId& bus) {
    support::Fd file = open_in(kFolder, bus);
    const char* own = std::getenv("XDG_RUNTIME_DIR");
    return file || own == nullptr || own[0] != '/' ? std::move(file) : open_in(std::string(own) + "/kt3", bus);
}

} // namespace

AccountingShare::AccountingShare(const BusId& bus) : file_(open_file(bus)) {
    if (file_) {
        ::flock(file_.get(), LOCK_SH);
    }
}

// Giving up comes first: of two that leave at the same time one gets the whole lock.
bool AccountingShare::was_the_last() {
    if (!file_) {
        return true;
    }
    ::flock(file_.get(), LOCK_UN);
    return ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0;
}

} // namespace kt3::observe
