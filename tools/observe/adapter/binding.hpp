// SPDX-License-Identifier: MIT
#pragma once
// The adapter that the library works on.

#include "observe/adapter/accounting.hpp"

namespace kt3::observe {

// Binds an adapter for the life of the object; there is one in a process. Usage accounting is switched on with it, and
// off again at its end when no other tool needs it, also after a failed initialisation, which may have come as far as
// switching it on.
class Binding {
public:
    Binding(const Library& library, Machine& machine, const Adapter& adapter);

    // When others still count, the library is not told, because it would switch counting off: the process has to end
    // without calling it again.
    ~Binding();
    Binding(const Binding&) = delete;
    Binding& operator=(const Binding&) = delete;

    // False when the kernel-interface module is missing or unusable; nodes can be read nevertheless.
    [[nodiscard]] bool complete() const { return complete_; }

    // Switches accounting on again when a tool that knows of no others has switched it off.
    void keep_counting() const;

private:
    const Library& library_;
    const Adapter& adapter_;
    AccountingShare share_;
    bool complete_ = false;
};

} // namespace kt3::observe
