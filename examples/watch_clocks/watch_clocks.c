/* SPDX-License-Identifier: MIT */
/* Shows the clocks and the temperature of the first adapter every second, until Ctrl-C. */
#define _POSIX_C_SOURCE 200809L /* sigtimedwait */

#include <kt3_mgmt/kt3_mgmt_interface.h>

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static void show_sample(void) {
    uint32_t clocks[3] = {0, 0, 0};
    uint32_t temperature_is_known = 0;
    get_dvfs_info(clocks);
    const uint32_t temperature = gpuinfo_get_temparature_value_int(&temperature_is_known);
    printf("engine %u MHz, video %u MHz, memory %u MHz", clocks[0], clocks[1], clocks[2]);
    if (temperature_is_known) {
        printf(", %u C", temperature);
    }
    printf("\n");
    fflush(stdout); /* also when the output goes into a pipe */
}

/* The signals are held back, so they arrive here and never in the middle of a sample. */
static void watch_until(const sigset_t* ending) {
    const struct timespec second = {1, 0};
    do {
        show_sample();
    } while (sigtimedwait(ending, NULL, &second) < 0);
}

int main(void) {
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    sigprocmask(SIG_BLOCK, &ending, NULL);

    find_adapter adapters; /* has to stay until the last reading call */
    memset(&adapters, 0, sizeof adapters);
    adapters.vendor_filter = 0xFFFF; /* both families */
    set_print_callback(NULL);        /* no log lines between ours */
    gfx_find_adapter(&adapters);
    if (adapters.chip_num == 0) {
        fprintf(stderr, "no adapter\n");
        return 1;
    }
    adapters.current_index = 0;
    const int bound = gfx_global_init(&adapters) != -1;
    if (bound) {
        printf("%s at %s\n", adapters.name[0], adapters.gpu_infos[0].bus_id);
        watch_until(&ending);
    } else {
        fprintf(stderr, "%s cannot be bound\n", adapters.name[0]);
    }
    gfx_global_exit(0); /* switches the driver's usage accounting off again, which a failed binding leaves on as well */
    return bound ? 0 : 1;
}
