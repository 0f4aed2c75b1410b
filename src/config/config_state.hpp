// SPDX-License-Identifier: MIT
#pragma once
// What the folder remembers besides the exported list and path.

namespace kt3::config {

struct ConfigState {
    bool loaded = false; // set by the first get or set, whether there was a file or not; never reset
    bool unread = false; // whether the user's file was there but could not be read when it was loaded last: then the
                         // list does not hold what the file holds, and saving it would lose that
};
ConfigState& config_state();

} // namespace kt3::config
