// SPDX-License-Identifier: MIT
#pragma once
// The record of one client: making, clearing and growing it, and its text fields of 47 characters and a terminator.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kt3::vmdump {

// How many entries of each kind and level a record has memory for. Within these counts, which are those of a usual
// client, the storage of a sequence never moves while a dump is read.
struct Capacities {
    std::size_t page_tables[3] = {100, 1'000, 20'000};
    std::size_t sub_tables[3] = {100, 20'000, 300'000};
};

// An empty record for a usual client. Its memory is address space; untouched pages cost nothing.
data_vectors make_record();

// Clears the six sequences and keeps their capacity.
void empty_sequences(data_vectors& record);

// The record that is filled for one client after the other, and what the next of them will need.
struct ReusedRecord {
    data_vectors record;
    Capacities expected;
};

// Clears the record and reserves capacity again after a move: nothing of the client before is left in it.
void make_ready(ReusedRecord& client);

// Appends the record to the list: itself when it fills a good part of its capacity, else a copy of just the size
// needed. Either way it is to be made ready before it is filled again.
void hand_over(ReusedRecord& client, std::vector<data_vectors>& list);

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

// Enlarges the capacity of a full sequence of the record; every link of the record follows.
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

inline constexpr std::size_t kFieldSize = 48;

// Names the field that is too long on standard error and aborts: clients never see a cut address or name.
[[noreturn]] void end_over_long_field(const char* field_name, std::size_t length);

// The text must not hold a zero byte. The rest of the field is left alone.
inline void copy_field(char (&field)[kFieldSize], std::string_view text, const char* field_name) {
    if (text.size() >= kFieldSize) {
        end_over_long_field(field_name, text.size());
    }
    text.copy(field, text.size());
    field[text.size()] = '\0';
}

} // namespace kt3::vmdump
