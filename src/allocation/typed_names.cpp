// Some clients link these routines by the names that encode their argument types. Each encoded name is a second door
// to the same body.

#include "kt3_mgmt/kt3_mgmt_interface.h"

extern "C" {

// get_segment_info_through_allocation(unsigned int*, int, int)
KT3_EXPORT int32_t typed_segment_totals(unsigned int*, int, int) __asm__("_Z35get_segment_info_through_allocationPjii");
int32_t typed_segment_totals(unsigned int* totals, int chip_id, int is_va_driver) {
    return get_segment_info_through_allocation(totals, chip_id, is_va_driver);
}

// get_device_pid_maps_internal(_GFX_DEVICE_PID_MAP*, int, int)
KT3_EXPORT int32_t typed_pid_maps(_GFX_DEVICE_PID_MAP*, int,
                                  int) __asm__("_Z28get_device_pid_maps_internalP19_GFX_DEVICE_PID_MAPii");
int32_t typed_pid_maps(_GFX_DEVICE_PID_MAP* maps, int chip_id, int is_va_driver) {
    return get_device_pid_maps_internal(maps, chip_id, is_va_driver);
}

// get_device_allocation_summary_internal(_GFX_DEVICE_ALLOCATION_SUMMARY*, int, int)
KT3_EXPORT int32_t typed_summary(_GFX_DEVICE_ALLOCATION_SUMMARY*, int, int) __asm__(
    "_Z38get_device_allocation_summary_internalP30_GFX_DEVICE_ALLOCATION_SUMMARYii");
int32_t typed_summary(_GFX_DEVICE_ALLOCATION_SUMMARY* summary, int chip_id, int is_va_driver) {
    return get_device_allocation_summary_internal(summary, chip_id, is_va_driver);
}

// get_device_allocation_summary_internal_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1*, int, int)
KT3_EXPORT int32_t typed_summary_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1*, int, int) __asm__(
    "_Z43get_device_allocation_summary_internal_ext1P35_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1ii");
int32_t typed_summary_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1* summary, int chip_id, int is_va_driver) {
    return get_device_allocation_summary_internal_ext1(summary, chip_id, is_va_driver);
}

// get_allocation_raw_list_internal(_GFX_ALLOCATION_RAW_LIST*, find_adapter*)
KT3_EXPORT int32_t typed_raw_list(_GFX_ALLOCATION_RAW_LIST*, find_adapter*) __asm__(
    "_Z32get_allocation_raw_list_internalP24_GFX_ALLOCATION_RAW_LISTP12find_adapter");
int32_t typed_raw_list(_GFX_ALLOCATION_RAW_LIST* raw_list, find_adapter* adapters) {
    return get_allocation_raw_list_internal(raw_list, adapters);
}

// get_memleak_information(_GFX_ALLOCATION_INFO*, int, int)
KT3_EXPORT void typed_memleak(_GFX_ALLOCATION_INFO*, int,
                              int) __asm__("_Z23get_memleak_informationP20_GFX_ALLOCATION_INFOii");
void typed_memleak(_GFX_ALLOCATION_INFO* result, int chip_id, int is_va_driver) {
    get_memleak_information(result, chip_id, is_va_driver);
}

} // extern "C"
