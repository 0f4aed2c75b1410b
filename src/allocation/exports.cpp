// SPDX-License-Identifier: MIT
// The routines of this folder under their exported names, and the list of the leak tracker.
// A null client pointer is never followed and is answered like a failure.

#include "allocation/bound_tree.hpp"
#include "allocation/leak_groups.hpp"
#include "allocation/leak_matching.hpp"
#include "allocation/package_name.hpp"
#include "allocation/process_map.hpp"
#include "allocation/raw_list.hpp"
#include "allocation/snapshot.hpp"
#include "allocation/sums.hpp"
#include "interface/lifetime.hpp"
#include "interface/typed_name.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

using namespace kt3::allocation;
using kt3::interface::containers_alive;

constinit std::vector<_GFX_ALLOCATION_INFO> vec_memleak_result;
static constinit kt3::interface::ContainerWatch tracked_watch;

KT3_EXPORT int get_current_allocation_data_try(std::vector<_GFX_ALLOCATION_INFO>& records, int, int is_va_driver) {
    return walk_allocations(bound_tree(is_va_driver), records) ? 0 : -1;
}

KT3_EXPORT int get_current_allocation_data(std::vector<_GFX_ALLOCATION_INFO>& records, int, int is_va_driver) {
    return take_snapshot(bound_tree(is_va_driver), records) ? 0 : -1;
}

KT3_EXPORT int getPackageNameFromPid(int pid, char* name, int limit) {
    return name != nullptr && read_package_name(pid, name, limit) ? 0 : -1;
}

KT3_EXPORT bool compare_allo_device(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b) {
    return a.device < b.device;
}

KT3_EXPORT bool compare_allo_sum(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b) {
    return a.sum_count > b.sum_count;
}

KT3_EXPORT void compare_memleak_list(std::vector<_GFX_ALLOCATION_INFO>& current,
                                     std::vector<_GFX_ALLOCATION_INFO>& tracked) {
    match_tracked(current, tracked);
}

extern "C" {

KT3_EXPORT int32_t get_segment_info_through_allocation(unsigned int* totals, int, int is_va_driver) {
    if (totals == nullptr) {
        return -1;
    }
    return read_segment_totals(bound_tree(is_va_driver), SegmentTotals(totals, KT3_SEGMENT_SLOTS)) ? 0 : -1;
}

KT3_EXPORT int32_t get_device_pid_maps_internal(_GFX_DEVICE_PID_MAP* maps, int, int is_va_driver) {
    if (maps == nullptr) {
        return -1;
    }
    return read_process_map(bound_tree(is_va_driver), ProcessMap(maps, ALLOCATION_SUMMARY_MAX)) ? 0 : -1;
}

KT3_EXPORT int32_t get_device_allocation_summary_internal(_GFX_DEVICE_ALLOCATION_SUMMARY* summary, int,
                                                          int is_va_driver) {
    if (summary == nullptr) {
        return -1;
    }
    return read_summary(bound_tree(is_va_driver), Summary(summary, ALLOCATION_SUMMARY_MAX)) ? 0 : -1;
}

KT3_EXPORT int32_t get_device_allocation_summary_internal_ext1(_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1* summary, int,
                                                               int is_va_driver) {
    if (summary == nullptr) {
        return -1;
    }
    return read_summary(bound_tree(is_va_driver), SummaryExt1(summary, ALLOCATION_SUMMARY_MAX)) ? 0 : -1;
}

KT3_EXPORT int32_t get_allocation_raw_list_internal(_GFX_ALLOCATION_RAW_LIST* raw_list, find_adapter* adapters) {
    if (raw_list == nullptr || !containers_alive()) {
        return -1;
    }
    return answer_raw_list(tree_of_current_slot(adapters), *raw_list) ? 0 : -1;
}

KT3_EXPORT void get_memleak_information(_GFX_ALLOCATION_INFO* result, int, int is_va_driver) {
    if (result != nullptr && containers_alive()) {
        look_for_leaks(bound_tree(is_va_driver), vec_memleak_result, LeakResult(result, KT3_MEMLEAK_GROUPS));
    }
}

} // extern "C"

KT3_TYPED_NAME(get_segment_info_through_allocation, "_Z35get_segment_info_through_allocationPjii");
KT3_TYPED_NAME(get_device_pid_maps_internal, "_Z28get_device_pid_maps_internalP19_GFX_DEVICE_PID_MAPii");
KT3_TYPED_NAME(get_device_allocation_summary_internal,
               "_Z38get_device_allocation_summary_internalP30_GFX_DEVICE_ALLOCATION_SUMMARYii");
KT3_TYPED_NAME(get_device_allocation_summary_internal_ext1,
               "_Z43get_device_allocation_summary_internal_ext1P35_GFX_DEVICE_ALLOCATION_SUMMARY_EXT1ii");
KT3_TYPED_NAME(get_allocation_raw_list_internal,
               "_Z32get_allocation_raw_list_internalP24_GFX_ALLOCATION_RAW_LISTP12find_adapter");
KT3_TYPED_NAME(get_memleak_information, "_Z23get_memleak_informationP20_GFX_ALLOCATION_INFOii");
