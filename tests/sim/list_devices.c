/* SPDX-License-Identifier: MIT */
/* A plain program that uses libdrm and knows nothing of any simulator: prints a line per device. */

#include <stdio.h>
#include <xf86drm.h>

int main(void) {
    drmDevicePtr devices[8] = {NULL};
    int count = drmGetDevices2(0, devices, 8);
    for (int at = 0; at < count && at < 8; ++at) {
        printf("%s %04x:%04x\n", devices[at]->nodes[DRM_NODE_PRIMARY], devices[at]->deviceinfo.pci->vendor_id,
               devices[at]->deviceinfo.pci->device_id);
    }
    if (count > 0) {
        drmFreeDevices(devices, count < 8 ? count : 8);
    }
    return 0;
}
