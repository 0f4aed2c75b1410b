// SPDX-License-Identifier: MIT
#include "observe/adapter/binding.hpp"

#include "observe/adapter/nodes.hpp"
#include "support/owned.hpp"

#include <fcntl.h>

namespace kt3::observe {
namespace {

constexpr const char* kSwitch = "enable_usage";

} // namespace

Binding::Binding(const Library& library, Machine& machine, const Adapter& adapter)
    : library_(library), adapter_(adapter), share_(adapter.bus) {
    machine.record.current_index = adapter.slot;
    complete_ = library_.calls.gfx_global_init(&machine.record) != -1;
}

Binding::~Binding() {
    if (share_.was_the_last()) {
        library_.calls.gfx_global_exit(adapter_.slot);
    }
}

void Binding::keep_counting() const {
    const Reading<std::int64_t> counts = number_at(adapter_.info_fd, kSwitch);
    if (counts.present() && counts.value() == 0) {
        const support::Fd node(::openat(adapter_.info_fd, kSwitch, O_WRONLY | O_CLOEXEC));
        [[maybe_unused]] const ssize_t written = ::write(node.get(), "1", 1);
    }
}

} // namespace kt3::observe
