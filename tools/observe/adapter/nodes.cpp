// SPDX-License-Identifier: MIT
#include "observe/adapter/nodes.hpp"

#include "observe/interrupt.hpp"
#include "observe/text.hpp"
#include "support/owned.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>

namespace kt3::observe {
namespace {

constexpr std::size_t kPageBytes = 4096;

// The directory an adapter's nodes stand in is missing: what to blame.
Absence without_directory(const Adapter& adapter) {
    return adapter.family == nullptr ? Absence::not_on_this_chip : Absence::driver;
}

// An adapter without a hwmon directory publishes no sensors; without a sysfs directory its driver is gone.
Absence without_hwmon(const Adapter& adapter) {
    return adapter.family != nullptr && adapter.sysfs_fd >= 0 ? Absence::no_node : without_directory(adapter);
}

} // namespace

Reading<std::string> read_page(int directory, const char* name) {
    const support::Fd node(::openat(directory, name, O_RDONLY | O_CLOEXEC));
    check_interrupt();
    if (!node) {
        return absence_of(errno);
    }
    std::string text(kPageBytes, '\0');
    const ssize_t got = ::read(node.get(), text.data(), text.size());
    check_interrupt();
    if (got < 0) {
        return absence_of(errno);
    }
    text.resize(static_cast<std::size_t>(got));
    return text;
}

Reading<std::int64_t> number_in(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    text.remove_prefix(text.starts_with('+') && !text.starts_with("+-") ? 1 : 0);
    std::int64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() ? Reading(number) : Absence::parse_error;
}

Reading<std::int64_t> number_at(int directory, const char* name) {
    const Reading<std::string> page = read_page(directory, name);
    return page.present() ? number_in(page.value()) : page.absence();
}

Reading<std::int64_t> judged(std::int64_t value, int directory, const char* name) {
    check_interrupt(); // it may be why nothing was read
    return value != 0 ? Reading(value) : number_at(directory, name);
}

void make_current(const Library& library, Machine& machine, const Adapter& adapter) {
    if (adapter.family != nullptr) {
        machine.record.current_index = adapter.slot;
        library.calls.gpuinfo_select_new_chip(&machine.record);
    }
}

Reading<std::int64_t> read_number(const Library& library, const Adapter& adapter, std::int32_t index) {
    check_interrupt();
    if (adapter.info_fd < 0) {
        return without_directory(adapter);
    }
    return judged(library.calls.gpuinfo_get_wyinfoFD_value_int(index), adapter.info_fd, nodes::kDriverNodes[index]);
}

Reading<std::int64_t> read_hwmon_number(const Library& library, const Adapter& adapter, std::int32_t index) {
    check_interrupt();
    if (adapter.hwmon_fd < 0) {
        return without_hwmon(adapter);
    }
    std::uint32_t bytes = 0;
    const std::int32_t value = library.calls.gpuinfo_get_hwmonFD_value_int(index, &bytes);
    return judged(value, adapter.hwmon_fd, nodes::kHwmonNodes[index]);
}

Reading<std::int64_t> read_temperature(const Library& library, const Adapter& adapter) {
    check_interrupt();
    if (adapter.hwmon_fd < 0) {
        return without_hwmon(adapter);
    }
    std::uint32_t status = 0;
    const std::uint32_t degrees = library.calls.gpuinfo_get_temparature_value_int(&status);
    return status == 1 ? Reading<std::int64_t>(degrees)
                       : judged(0, adapter.hwmon_fd, nodes::kHwmonNodes[nodes::kTemperature]);
}

Reading<std::string> read_text(const Adapter& adapter, const char* name) {
    check_interrupt();
    if (adapter.info_fd < 0) {
        return without_directory(adapter);
    }
    const Reading<std::string> page = read_page(adapter.info_fd, name);
    if (!page.present()) {
        return page.absence();
    }
    std::string line = page.value().substr(0, page.value().find('\n'));
    line.erase(line.find_last_not_of(" \t\r") + 1);
    line.erase(0, line.find_first_not_of(" \t"));
    return line.empty() ? Reading<std::string>(Absence::parse_error) : valid_utf8(line);
}

} // namespace kt3::observe
