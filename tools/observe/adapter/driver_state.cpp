// SPDX-License-Identifier: MIT
#include "observe/adapter/driver_state.hpp"

#include "support/owned.hpp"

#include <cerrno>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

using Text = Reading<std::string>;

bool is_loaded(const char* file) {
    return file != nullptr && support::Library(::dlopen(file, RTLD_LAZY | RTLD_NOLOAD));
}

Text loaded_module(const Adapter& adapter) {
    const adapter::Chip* chip = adapter::find_chip_by_id(adapter.chip_id);
    if (chip == nullptr) {
        return Absence::driver;
    }
    if (is_loaded(chip->module)) {
        return std::string(chip->module);
    }
    return is_loaded(chip->second_module) ? Text(chip->second_module) : Absence::driver;
}

Text debugfs_of(const Adapter& adapter) {
    const std::string path = fmt::format("/sys/kernel/debug/dri/{}/{}", adapter.card, adapter.family->token);
    const support::Dir listing(::opendir(path.c_str()));
    return listing ? Text(path) : absence_of(errno);
}

} // namespace

DriverState read_driver_state(const Adapter& adapter, bool complete) {
    if (adapter.family == nullptr) {
        return {Absence::not_on_this_chip, Absence::not_on_this_chip, Absence::not_on_this_chip};
    }
    return {complete ? loaded_module(adapter) : Absence::driver,
            adapter.info_fd >= 0 ? Text(adapter.family->info_dir) : Absence::driver, debugfs_of(adapter)};
}

} // namespace kt3::observe
