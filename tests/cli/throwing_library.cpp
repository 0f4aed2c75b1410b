// SPDX-License-Identifier: MIT
// Finds one adapter and throws as the library does on malformed numbers: in its summary, when KT3_THROWS_AT_ONCE is 1,
// or when the rates of a second sample are asked for.

#include "kt3_mgmt/kt3_mgmt_interface.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

extern "C" {

int32_t gfxbusy_apiversion = KT3_BUSY_VERSION_1;
int32_t use_IOCTL_get_fps = 1;

int32_t get_interface_version() {
    return KT3_INTERFACE_VERSION;
}
int32_t get_interface_version_ext1(_GFX_INTERFACE_VERSION* record) {
    record->match_result = KT3_VERSION_MAJOR_MISMATCH;
    return 0;
}
int32_t set_print_callback(kt3_print_callback) {
    return 0;
}
int32_t gfx_find_adapter(find_adapter* record) {
    record->chip_num = 1;
    record->chip_id[0] = 0x5C0E;
    std::strcpy(record->name[0], "Gpu0:Vorla-55F0");
    record->gpu_infos[0].info_fd = 2; // any open descriptor
    return 0;
}
int32_t gfx_find_adapter_ext1(find_adapter_ext1* record) {
    record->vendor_id[0] = 0x7A52;
    return 0;
}
int32_t gfx_global_init(find_adapter* record) {
    return record->chip_id[0];
}
int32_t gfx_global_exit(int32_t) {
    std::fputs("let go\n", stderr);
    return 0;
}
int32_t gpuinfo_vorla_init() {
    return 1;
}
int32_t gpuinfo_select_new_chip(find_adapter*) {
    return 0;
}
int32_t get_adapter_summary(_GPU_ADAPTER_SUMMARY*, const find_adapter*) {
    if (KT3_THROWS_AT_ONCE != 0) {
        throw std::invalid_argument("stoi");
    }
    return 0;
}
int32_t gfxbusy_init() {
    return 0;
}
int32_t get_gpubusy_info(_GFX_BUSY_INFO*) {
    return 0;
}
int32_t fps_init() {
    return 0;
}
int32_t get_fps_info(_GFX_FRAME_RATES*) {
    throw std::out_of_range("stoll");
}
int32_t bandwidth_init() {
    return 0;
}
int32_t get_bandwidth_info(_GFX_BANDWIDTH_INFO*) {
    return 0;
}
int32_t get_adapter_summary_ext2(_GPU_ADAPTER_SUMMARY_EXT2*, const find_adapter*) {
    return 0;
}

} // extern "C"
