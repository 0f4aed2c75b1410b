// SPDX-License-Identifier: MIT
#pragma once
// The adapter that the library works on.

#include "observe/adapter/machine.hpp"

namespace kt3::observe {

// Binds an adapter for the life of the object. Usage accounting is switched on with it and off again at its end, also
// after a failed initialisation, which may have come as far as switching it on.
class Binding {
public:
    Binding(const Library& library, Machine& machine, const Adapter& adapter);
    ~Binding();
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;

    // False when the kernel-interface module is missing or unusable; nodes can be read nevertheless.
    [[nodiscard]] bool complete() const { return complete_; }

private:
    const Library& library_;
    int slot_;
    bool complete_ = false;
};

} // namespace kt3::observe
