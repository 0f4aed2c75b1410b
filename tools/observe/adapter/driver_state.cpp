#include "observe/adapter/driver_state.hpp"

#include "observe/owned.hpp"

#include <cerrno>
#include <fmt/format.h>

namespace kt3::observe {
namespace {

using Text = Reading<std::string>;

bool is_loaded(const char* file) {
    return file != nullptr && SharedObject(::dlopen(file, RTLD_LAZY | RTLD_NOLOAD));
}

Text loaded_module(const Adapter& adapter) {
    const ModuleFiles* files = find_module_files(adapter.chip_id);
    if (files == nullptr) {
        return Absence::driver;
    }
    if (is_loaded(files->first)) {
        return std::string(files->first);
    }
    return is_loaded(files->second) ? Text(files->second) : Absence::driver;
}

Text debugfs_of(const Adapter& adapter) {
    const std::string path = fmt::format("/sys/kernel/debug/dri/{}/{}", adapter.card, adapter.family->token);
    const Dir listing(::opendir(path.c_str()));
    return listing ? Text(path) : absence_of(errno);
}

} // namespace

DriverState read_driver_state(const Adapter& adapter, bool complete) {
    if (adapter.family == nullptr) {
        return {Absence::not_on_this_chip, Absence::not_on_this_chip, Absence::not_on_this_chip};
    }
    return {complete ? loaded_module(adapter) : Absence::driver,
            adapter.info_fd >= 0 ? Text(adapter.family->info_directory) : Absence::driver, debugfs_of(adapter)};
}

} // namespace kt3::observe
