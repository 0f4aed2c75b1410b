// SPDX-License-Identifier: MIT
#pragma once
// Changing registers on behalf of the user, who is asked first.

#include "kt3/session.hpp"
#include "observe/dvfs/changes.hpp"

namespace kt3::cli {

struct DvfsConsent {
    bool yes = false;     // do not ask
    bool dry_run = false; // show what would be sent and send nothing
};

// Throws Failure when a wished register cannot be read, nobody agrees, or the driver did not take a value.
ExitStatus change_dvfs(Session& session, const Adapter& adapter, const std::vector<DvfsWish>& wishes,
                       const DvfsConsent& consent);

// What the JSON of an adapter is after that.
[[nodiscard]] Json changed_adapter_form();

} // namespace kt3::cli
