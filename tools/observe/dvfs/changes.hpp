#pragma once
// Changing registers: wishes are checked against what the driver tells, confirmed, sent and read back. Nothing is sent
// to a register that could not be read.

#include "observe/dvfs/registers.hpp"

namespace kt3::cli {

struct DvfsWish {
    const DvfsRegister* row;
    std::int64_t value;
};

struct DvfsConsent {
    bool yes = false;     // do not ask
    bool dry_run = false; // show what would be sent and send nothing
};

// Throws Failure when a wished register cannot be read, nobody agrees, or the driver did not take a value.
ExitStatus change_dvfs(Session& session, const Adapter& adapter, const std::vector<DvfsWish>& wishes,
                       const DvfsConsent& consent);

} // namespace kt3::cli
