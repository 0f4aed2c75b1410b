// SPDX-License-Identifier: MIT
// What /proc says of processes: control groups, whose names other programs choose, and the pages with numbers.

#include "observe/owner/control_group.hpp"
#include "observe/owner/process_pages.hpp"

#include <cstddef>
#include <cstdint>

using namespace kt3::observe;

namespace {

void expect(bool holds) {
    if (!holds) {
        __builtin_trap();
    }
}

bool no_empty_text(const ControlGroup& group) {
    for (const auto* text : {&group.unit, &group.container, &group.runtime, &group.pod, &group.job}) {
        if (*text && (*text)->empty()) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(bytes, bytes + size);
    const ControlGroup group = parse_control_group(text);
    expect(no_empty_text(group));
    expect(group.container || !group.runtime);
    expect(!group.pod || (group.pod->size() >= 32 && group.pod->size() <= 36));
    const auto stat = parse_process_stat(text);
    expect(!stat || stat->state.size() == 1);
    static_cast<void>(parse_process_status(text));
    static_cast<void>(parse_boot_time(text));
    return 0;
}
