/* SPDX-License-Identifier: MIT */
/* A client in plain C99 that knows the public header and nothing else. */
#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <stdio.h>
#include <string.h>

static int failures;
static int lines_heard;

static void expect(int holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "not so: %s\n", what);
        ++failures;
    }
}

static void hear(const char* line) {
    lines_heard += line[0] != '\0';
}

int main(void) {
    _GFX_INTERFACE_VERSION version = {0, KT3_INTERFACE_VERSION, 0};
    find_adapter record;
    find_adapter_ext1 extended;
    int32_t status = 7;
    int32_t count = 3;

    expect(get_interface_version() == 23, "the interface version is 23");
    expect(set_print_callback(hear) == 0 && lines_heard == 1, "an installed callback hears its confirmation");
    expect(get_interface_version_ext1(&version) == 0, "negotiation returns 0");
    expect(version.server_version == 23 && version.match_result == KT3_VERSION_MATCH, "the versions match");
    expect(lib_print_func("%s %d\n", "line", 1) == 0 && lines_heard == 3, "log lines reach the callback");
    expect(selfcheck_current_tool_status(&status) == 0 && status == 0, "the tool is healthy");
    expect(get_driver_info() == 0, "driver info returns 0");

    memset(&record, 0, sizeof record);
    record.current_index = MAX_CHIP_NUM;
    expect(gfx_global_init(&record) == -1, "a slot that does not exist cannot be bound");
    expect(gfx_find_adapter_ext1(&extended) == 0, "the extended record is copied");
    expect(gfx_global_exit(0) == 0, "exit returns 0");

    expect(initGPUPreference_config() == 0 && uninitGPUPreference_config() == 0, "preferences are emptied");
    expect(get_gpu_preference(NULL, &count) == 0 && count >= 0, "preferences are counted");
    expect(sizeof UTIL_CONFIG_PATH == 512, "the path buffer has 512 characters");

    expect(set_print_callback(NULL) == 0 && pServerPrintCallback == NULL, "a null callback switches logging off");
    return failures == 0 ? 0 : 1;
}
