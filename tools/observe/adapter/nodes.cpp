// SPDX-License-Identifier: MIT
#include "observe/adapter/nodes.hpp"

#include "observe/adapter/avoided.hpp"
#include "observe/interrupt.hpp"
#include "observe/text.hpp"
#include "support/owned.hpp"
#include "support/text_edges.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fcntl.h>

namespace kt3::observe {
namespace {

constexpr std::size_t kPageBytes = 4096;

// A sensor value of this size or more is in thousandths.
constexpr std::int64_t kThousandths = 1000;

// Without white space at its ends.
std::string first_line(std::string_view text) {
    return valid_utf8(support::trimmed(text.substr(0, text.find('\n'))));
}

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
    if (is_avoided(directory, name)) {
        return Absence::timeout;
    }
    const support::Fd node(::openat(directory, name, O_RDONLY | O_CLOEXEC));
    check_interrupt();
    if (!node) {
        return absence_of(errno);
    }
    std::string text(kPageBytes, '\0');
    std::size_t used = 0;
    while (used < text.size()) {
        const ssize_t got = ::read(node.get(), text.data() + used, text.size() - used);
        const int error = errno;
        check_interrupt(); // it may be why nothing was read
        if (got < 0 && error != EINTR) {
            return absence_of(error);
        }
        if (got == 0) {
            break;
        }
        used += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    text.resize(used);
    return text;
}

Reading<std::int64_t> number_in(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    text.remove_prefix(text.starts_with('+') && !text.starts_with("+-") ? 1 : 0);
    std::int64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() ? Reading(number) : Absence::parse_error;
}

Reading<std::int64_t> number_in(std::string_view text, Quantity quantity) {
    const Reading<std::int64_t> number = number_in(text);
    return !number.present() || is_plausible(number.value(), quantity) ? number : Implausible{first_line(text)};
}

Reading<std::int64_t> number_at(int directory, const char* name, Quantity quantity) {
    const Reading<std::string> page = read_page(directory, name);
    return page.present() ? number_in(page.value(), quantity) : page.absence();
}

void make_current(const Library& library, Machine& machine, const Adapter& adapter) {
    if (adapter.family != nullptr) {
        machine.record.current_index = adapter.slot;
        library.calls.gpuinfo_select_new_chip(&machine.record);
    }
}

Reading<std::int64_t> read_number(const Adapter& adapter, std::int32_t index, Quantity quantity) {
    return adapter.info_fd < 0 ? without_directory(adapter)
                               : number_at(adapter.info_fd, nodes::kDriverNodes[index], quantity);
}

Reading<std::int64_t> read_sensor(const Adapter& adapter, std::int32_t index, Quantity quantity) {
    return adapter.hwmon_fd < 0 ? without_hwmon(adapter)
                                : number_at(adapter.hwmon_fd, nodes::kHwmonNodes[index], quantity);
}

// "45 *C", or as other sensors have it in thousandths: "45000".
Reading<std::int64_t> read_temperature(const Adapter& adapter) {
    if (adapter.hwmon_fd < 0) {
        return without_hwmon(adapter);
    }
    const Reading<std::string> page = read_page(adapter.hwmon_fd, nodes::kHwmonNodes[nodes::kTemperature]);
    Reading<std::int64_t> number = page.present() ? number_in(page.value()) : page.absence();
    if (!number.present()) {
        return number;
    }
    const std::int64_t degrees = std::abs(number.value()) >= kThousandths ? number.value() / 1000 : number.value();
    return is_plausible(degrees, Quantity::degrees) ? Reading(degrees) : Implausible{first_line(page.value())};
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
    std::string line = first_line(page.value());
    return line.empty() ? Reading<std::string>(Absence::parse_error) : line;
}

} // namespace kt3::observe
