/* SPDX-License-Identifier: MIT */
/* Has one of the entry points that kt3 needs. */
#include <stdint.h>

int32_t get_interface_version(void);
int32_t get_interface_version(void) {
    return 23;
}
