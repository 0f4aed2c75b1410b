/* SPDX-License-Identifier: MIT */
/* Lists the graphics adapters that the library finds. */
#include <kt3_mgmt/kt3_mgmt_interface.h>

#include <stdio.h>
#include <string.h>

int main(void) {
    find_adapter adapters;
    memset(&adapters, 0, sizeof adapters);
    adapters.vendor_filter = 0xFFFF; /* both families */
    set_print_callback(NULL);        /* no log lines between ours */
    gfx_find_adapter(&adapters);
    printf("%d adapters\n", adapters.chip_num);
    for (int32_t slot = 0; slot < adapters.chip_num; ++slot) {
        printf("%d: %s at %s, /dev/dri/card%d\n", slot, adapters.name[slot], adapters.gpu_infos[slot].bus_id,
               adapters.drm_card_idx[slot]);
    }
    return 0;
}
