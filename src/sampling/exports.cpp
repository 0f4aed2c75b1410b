// SPDX-License-Identifier: MIT
// Exported objects of sampling.

#include "kt3_mgmt/kt3_mgmt_interface.h"

int32_t gfxbusy_apiversion = KT3_BUSY_VERSION_1;
int32_t use_IOCTL_get_fps = 0;
