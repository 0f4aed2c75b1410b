// SPDX-License-Identifier: MIT
#include "allocation/process_map.hpp"

#include "allocation/device_page.hpp"
#include "allocation/package_name.hpp"
#include "interface/say_line.hpp"
#include "support/page_buffer.hpp"

#include <algorithm>
#include <cstring>

namespace kt3::allocation {
namespace {

// Processes usually open several devices; each command line is read once per call.
class NamesOfOneCall {
public:
    void write_name(std::int32_t pid, char (&name)[64]) {
        const Known* const end = known_ + count_;
        const Known* found = std::find_if(static_cast<const Known*>(known_), end,
                                          [pid](const Known& known) { return known.pid == pid; });
        if (found == end) {
            found = look_up(pid);
        }
        if (found->readable) { // an unreadable command line leaves the name as it was
            std::memcpy(name, found->name, std::strlen(found->name) + 1);
        }
    }

private:
    struct Known {
        std::int32_t pid;
        bool readable;
        char name[64];
    };

    // The last place is used again once all are taken.
    const Known* look_up(std::int32_t pid) {
        count_ = std::min(count_ + 1, std::size(known_));
        Known& known = known_[count_ - 1];
        known.pid = pid;
        known.readable = read_package_name(pid, known.name, sizeof known.name);
        return &known;
    }

    Known known_[ALLOCATION_SUMMARY_MAX];
    std::size_t count_ = 0;
};

} // namespace

bool read_process_map(const DebugTree& tree, ProcessMap maps) {
    std::fill(maps.begin(), maps.end(), _GFX_DEVICE_PID_MAP{});
    support::Listing listing = list_directory(tree, "devices");
    support::PageBuffer pages;
    NamesOfOneCall names;
    std::size_t filled = 0;
    while (const char* entry = listing.next()) {
        const auto page = pages.read(open_page(listing, entry, tree.va_driver ? "info" : entry));
        if (!page) {
            interface::say_line("Fail to read devices info. skip...");
            return false;
        }
        _GFX_DEVICE_PID_MAP& map = maps[filled];
        const auto take_pid = [&](std::int32_t pid) {
            map.pid = pid;
            names.write_name(pid, map.name);
        };
        parse_device_page(*page, take_pid, [&](std::int32_t handle) { map.handle = handle; });
        ++filled;
        if (filled == maps.size()) {
            // Reported for the fiftieth device even when it is the last one.
            interface::say_line("exceed ALLOCATION_SUMMARY_MAX!!! ");
            return true;
        }
    }
    return is_listed_whole(listing);
}

} // namespace kt3::allocation
