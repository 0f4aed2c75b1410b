// SPDX-License-Identifier: MIT
// The routines and objects of this folder that clients link against by name. Arguments that are texts are strings by
// value because that is what the exported symbols say.

#include "interface/lifetime.hpp"
#include "interface/say_line.hpp"
#include "interface/typed_name.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/bounded_copy.hpp"
#include "support/retries.hpp"
#include "vmdump/allocation_nodes.hpp"
#include "vmdump/client_owner.hpp"
#include "vmdump/client_record.hpp"
#include "vmdump/client_walk.hpp"
#include "vmdump/debugfs_places.hpp"
#include "vmdump/digital_index.hpp"
#include "vmdump/line_fields.hpp"
#include "vmdump/page_table_reading.hpp"
#include "vmdump/rows.hpp"
#include "vmdump/table_lookup.hpp"

using namespace kt3;
using namespace std::chrono_literals;
using interface::containers_alive;

namespace {

// Between walks that are retried: one that keeps failing costs the client 10 ms of pauses.
constexpr auto kPause = 1ms;

// 0 or -1 for clients.
int status_of(bool succeeded) {
    return succeeded ? 0 : -1;
}

// After a failed snapshot there is nothing to hand out, and clients see this line.
bool say_no_snapshot_if_failed() {
    if (Get_Local_Data_Status < 0) {
        interface::say_line("\nThe function is being tested on this Chip......");
        return true;
    }
    return false;
}

// A number error on the way leaves the status at -1, so a half-made snapshot is never handed out.
void refresh_snapshot() {
    Pagetable_List.clear();
    Allocation_List.clear();
    Get_Local_Data_Status = -1;
    Get_Local_Data_Status = get_current_PageTable_data(Pagetable_List, Allocation_List);
}

} // namespace

// ---- objects --------------------------------------------------------------------------------------------------------

constinit int32_t Get_Local_Data_Status = 0;
constinit std::vector<data_vectors> Pagetable_List;
constinit std::vector<allcation_Info> Allocation_List;
static constinit interface::ContainerWatch lists_watch;

// ---- records --------------------------------------------------------------------------------------------------------

KT3_EXPORT data_vectors create_vector() {
    return vmdump::make_record();
}

KT3_EXPORT void clean_vector(data_vectors* record) {
    vmdump::empty_sequences(*record);
}

// ---- line fields ----------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t find_Level_in_Table(std::string line) {
    return vmdump::level_of_line(line);
}

KT3_EXPORT int32_t find_Index_in_Table(std::string line) {
    return vmdump::index_of_line(line);
}

KT3_EXPORT std::string find_Addr_in_Table(std::string line, std::string key) {
    return std::string(vmdump::address_of_line(line, key));
}

KT3_EXPORT std::string find_Buffer_in_Table(std::string line, std::string key) {
    return std::string(vmdump::buffer_of_line(line, key));
}

KT3_EXPORT int32_t find_value_in_subTable(std::string line, std::string key) {
    return vmdump::sub_table_value(line, key);
}

KT3_EXPORT std::string extractValue(std::string text, std::string key) {
    return std::string(vmdump::node_value(text, key));
}

KT3_EXPORT void update_PageTable_Flags(int& in_level0, int& in_level1, int& in_level2, int level) {
    vmdump::set_level_flags(in_level0, in_level1, in_level2, level);
}

// ---- clients --------------------------------------------------------------------------------------------------------

KT3_EXPORT int get_Pid_info(data_vectors* record, char* info_path) {
    return status_of(vmdump::read_process_id(info_path, *record));
}

KT3_EXPORT std::string find_Pid_number(std::string line) {
    return std::string(vmdump::pid_of_line(line));
}

KT3_EXPORT int get_AppName_info(data_vectors* record) {
    return status_of(vmdump::take_process_name(vmdump::ask_process_name(*record), *record));
}

KT3_EXPORT int get_PageTable_data(std::vector<data_vectors>& list) {
    return status_of(vmdump::walk_clients(vmdump::kDriverDirectory, list));
}

KT3_EXPORT int get_PageTable_data_try(std::vector<data_vectors>& list) {
    return status_of(support::walk_with_retries(kPause, [&] { return get_PageTable_data(list) >= 0; }));
}

// ---- page tables ----------------------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_pagetable_info(data_vectors* record, char* vm_info_path) {
    return status_of(vmdump::read_page_tables(vm_info_path, {}, *record));
}

KT3_EXPORT void generate_DigitalIndex(data_vectors& record) {
    vmdump::stamp_record(record);
}

KT3_EXPORT void append_DigitalIndex(vidmm_vm_pte_elt3k& entry) {
    vmdump::stamp_run(entry);
}

KT3_EXPORT std::string Find_SubTable_0_addr(int index, data_vectors* record) {
    return std::string(vmdump::address_text(vmdump::below_level0(*record, index)));
}

KT3_EXPORT std::string Find_SubTable_1_addr(int index, data_vectors* record, std::string address) {
    return std::string(vmdump::address_text(vmdump::below_table_at(record->pt_level1, address, index)));
}

KT3_EXPORT vidmm_vm_pte_elt3k Find_SubTable_2_node(int index, data_vectors* record, std::string address) {
    const vidmm_vm_pte_elt3k* match = vmdump::below_table_at(record->pt_level2, address, index);
    vidmm_vm_pte_elt3k copy = match == nullptr ? vidmm_vm_pte_elt3k{} : *match;
    copy.found = match != nullptr ? 1 : 0;
    return copy;
}

KT3_EXPORT void Print_PageTable(vidmm_vm_pt* entry) {
    vmdump::print_page_table(*entry);
}

KT3_EXPORT void Print_SubTable(vidmm_vm_pte_elt3k* entry) {
    vmdump::print_sub_table(*entry);
}

// ---- allocation nodes -----------------------------------------------------------------------------------------------

KT3_EXPORT int get_alloction_data_try(std::vector<allcation_Info>& list) {
    return status_of(vmdump::walk_allocation_nodes(vmdump::kDriverDirectory, list));
}

KT3_EXPORT int get_alloction_data(std::vector<allcation_Info>& list) {
    return status_of(support::walk_with_retries(kPause, [&] { return get_alloction_data_try(list) >= 0; }));
}

KT3_EXPORT std::vector<std::string> split_VmNode_Info(std::string text) {
    return vmdump::split_nodes(text);
}

// ---- snapshot and its export ----------------------------------------------------------------------------------------

KT3_EXPORT int32_t get_current_PageTable_data(std::vector<data_vectors>& pagetables,
                                              std::vector<allcation_Info>& allocations) {
    const int allocation_status = get_alloction_data(allocations);
    const int pagetable_status = get_PageTable_data_try(pagetables);
    return status_of(allocation_status >= 0 && pagetable_status >= 0);
}

KT3_EXPORT uint32_t Calculate_Pagetable_Size(std::vector<data_vectors>& list) {
    return vmdump::count_rows(list);
}

KT3_EXPORT void Fill_Value_to_PagetableData(std::vector<data_vectors>& list, _PAGETABLE_DATA* rows) {
    vmdump::fill_all_rows(rows, list);
}

KT3_EXPORT void Fill_Value_to_ptTable(_PAGETABLE_DATA* rows, std::vector<vidmm_vm_pt>& entries, int* row, long pid) {
    vmdump::fill_rows(rows, entries, *row, pid);
}

KT3_EXPORT void Fill_Value_to_subTable(_PAGETABLE_DATA* rows, std::vector<vidmm_vm_pte_elt3k>& entries, int* row,
                                       long pid) {
    vmdump::fill_rows(rows, entries, *row, pid);
}

extern "C" {

KT3_EXPORT void get_pagetable_data_info(_PAGETABLE_DATA* rows, uint32_t* count) {
    if (!containers_alive()) {
        return;
    }
    if (rows == nullptr) {
        refresh_snapshot();
    }
    if (say_no_snapshot_if_failed()) {
        return;
    }
    if (rows != nullptr) {
        vmdump::fill_all_rows(rows, Pagetable_List);
    } else if (count != nullptr) {
        *count = vmdump::count_rows(Pagetable_List);
    }
}

KT3_EXPORT void get_allocation_data_info(_GFX_VM_ALLOCATION_DATA* entries, uint32_t* count) {
    if (!containers_alive() || say_no_snapshot_if_failed()) {
        return;
    }
    if (entries != nullptr) {
        vmdump::fill_entries(entries, Allocation_List);
    } else if (count != nullptr) {
        *count = static_cast<uint32_t>(Allocation_List.size());
    }
}

} // extern "C"

KT3_TYPED_NAME(get_allocation_data_info, "_Z24get_allocation_data_infoP23_GFX_VM_ALLOCATION_DATAPj");
