// SPDX-License-Identifier: MIT
#include "observe/memory/opening_times.hpp"

#include "observe/adapter/nodes.hpp"
#include "support/checked_numbers.hpp"
#include "support/owned.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <sys/stat.h>

namespace kt3::observe {
namespace {

struct Opening {
    std::int32_t device;
    std::int64_t time;
};

// The page is ENTRY/info, or ENTRY/ENTRY when the driver numbers its devices in hexadecimal.
std::optional<Opening> opening_in(int directory, const std::string& entry) {
    for (const std::string& page : {entry + "/info", fmt::format("{0}/{0}", entry)}) {
        const Reading<std::string> text = read_page(directory, page.c_str());
        struct stat status {};
        const auto device = text.present() ? device_in(text.value()) : std::nullopt;
        if (device && ::fstatat(directory, page.c_str(), &status, 0) == 0) {
            return Opening{*device, status.st_mtime};
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::int32_t> device_in(std::string_view page) {
    constexpr std::string_view kKey = "handle =";
    while (!page.empty()) {
        const std::string_view line = page.substr(0, page.find('\n'));
        if (line.substr(0, kKey.size()) == kKey) {
            const support::LeadingNumber found = support::scan_leading_number(line.substr(kKey.size()), 16);
            const bool fits =
                found.any_digit && !found.overflow && found.value >= INT32_MIN && found.value <= INT32_MAX;
            return fits ? std::optional(static_cast<std::int32_t>(found.value)) : std::nullopt;
        }
        page.remove_prefix(std::min(line.size() + 1, page.size()));
    }
    return std::nullopt;
}

void take_opening_times(const Adapter& adapter, OpenDevices& devices) {
    if (devices.empty()) {
        return;
    }
    const support::Dir listing(
        ::opendir(fmt::format("/sys/kernel/debug/dri/{}/{}/devices", adapter.card, adapter.family->token).c_str()));
    while (const dirent* entry = listing ? ::readdir(listing.get()) : nullptr) {
        const auto opening = entry->d_name[0] == '.' ? std::nullopt : opening_in(::dirfd(listing.get()), entry->d_name);
        for (OpenDevice& device : devices) {
            if (opening && device.device == opening->device) {
                device.opened = opening->time;
            }
        }
    }
}

} // namespace kt3::observe
