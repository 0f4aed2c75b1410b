// SPDX-License-Identifier: MIT
#pragma once
// Whose a file is and what others may do with it.

#include <sys/stat.h>

namespace kt3::support {

// Gives `copy` the owner, the group, the mode and the extended attributes of `original`, access control lists among
// them. False when it does not have them all afterwards, or when there are more attributes than anybody uses.
bool carry_over_rights(int original, const struct stat& status, int copy);

} // namespace kt3::support
