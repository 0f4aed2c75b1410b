#pragma once
// The record of one client: making, emptying and growing it.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <cstdint>

namespace kt3::vmdump {

// Empty, with room for the entries of a usual client. The room is address space; untouched pages cost nothing.
data_vectors make_record();

// Empties the six sequences and keeps their room.
void empty_sequences(data_vectors& record);

// Empties the record and gives back the room that a move took away.
void make_ready(data_vectors& record);

// Appends the record to the list: a copy of just the size needed when it is small, else the record itself. Either way
// it is to be made ready before it is filled again.
void hand_over(data_vectors& record, std::vector<data_vectors>& list);

// The sequences of one level, 0 to 2.
inline std::vector<vidmm_vm_pt>& page_tables(data_vectors& record, std::int32_t level) {
    return level == 2 ? record.pt_level2 : level == 1 ? record.pt_level1 : record.pt_level0;
}
inline std::vector<vidmm_vm_pte_elt3k>& sub_tables(data_vectors& record, std::int32_t level) {
    return level == 2 ? record.st_level2 : level == 1 ? record.st_level1 : record.st_level0;
}

inline bool is_level(std::int32_t level) {
    return level >= 0 && level <= 2;
}

// Doubles the room of a full sequence of the record; every link of the record follows.
void grow(data_vectors& record, std::vector<vidmm_vm_pt>& sequence);
void grow(data_vectors& record, std::vector<vidmm_vm_pte_elt3k>& sequence);

// Appends a zeroed entry.
template<typename Entry>
Entry& append_entry(data_vectors& record, std::vector<Entry>& sequence) {
    if (sequence.size() == sequence.capacity()) {
        grow(record, sequence);
    }
    return sequence.emplace_back();
}

} // namespace kt3::vmdump
