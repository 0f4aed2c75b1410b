// SPDX-License-Identifier: MIT
#pragma once
// Who has the usage of an adapter counted. The driver has one switch for all, so tools that need it tell each other:
// each holds a shared lock on a file in /run/kt3, or where that may not be written in $XDG_RUNTIME_DIR/kt3.

#include "observe/adapter/machine.hpp"
#include "support/owned.hpp"

namespace kt3::observe {

class AccountingShare {
public:
    // Waits while somebody switches counting off at this moment.
    explicit AccountingShare(const BusId& bus);

    // Gives the share up. True when nobody else has one; until the object ends nobody can get one then.
    [[nodiscard]] bool was_the_last();

private:
    support::Fd file_; // without one every tool is on its own
};

} // namespace kt3::observe
