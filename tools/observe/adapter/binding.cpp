// SPDX-License-Identifier: MIT
#include "observe/adapter/binding.hpp"

#include "observe/interrupt.hpp"

namespace kt3::observe {

Binding::Binding(const Library& library, Machine& machine, const Adapter& adapter)
    : library_(library), slot_(adapter.slot) {
    check_interrupt();
    machine.record.current_index = adapter.slot;
    complete_ = library_.calls.gfx_global_init(&machine.record) != -1;
}

Binding::~Binding() {
    library_.calls.gfx_global_exit(slot_);
}

} // namespace kt3::observe
