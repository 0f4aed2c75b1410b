#include "vmdump/client_record.hpp"

#include <algorithm>

namespace kt3::vmdump {
namespace {

// Within these counts the storage of a sequence never moves while a dump is read.
constexpr std::size_t kPageTableRoom[] = {100, 1'000, 20'000};
constexpr std::size_t kSubTableRoom[] = {100, 20'000, 300'000};

constexpr std::size_t kSmallestRoom = 16;

// Below this a copy of the entries is cheaper than making new room for the next client.
constexpr std::size_t kSmallRecord = 2'000;

std::size_t entry_count(data_vectors& record) {
    std::size_t count = 0;
    for (std::int32_t level = 0; level < 3; ++level) {
        count += page_tables(record, level).size() + sub_tables(record, level).size();
    }
    return count;
}

void reserve_room(data_vectors& record) {
    for (std::int32_t level = 0; level < 3; ++level) {
        page_tables(record, level).reserve(kPageTableRoom[level]);
        sub_tables(record, level).reserve(kSubTableRoom[level]);
    }
}

template<typename Entry>
void double_room(data_vectors& record, std::vector<Entry>& sequence) {
    std::vector<Entry> old;
    old.reserve(std::max(kSmallestRoom, sequence.size() * 2));
    old.assign(sequence.begin(), sequence.end());
    const kt3_entry_places old_places = kt3_places_of(record);
    sequence.swap(old); // the old storage lives on until the links have followed
    kt3_relink(record, old_places);
}

} // namespace

data_vectors make_record() {
    data_vectors record;
    reserve_room(record);
    return record;
}

void empty_sequences(data_vectors& record) {
    for (std::int32_t level = 0; level < 3; ++level) {
        page_tables(record, level).clear();
        sub_tables(record, level).clear();
    }
}

void make_ready(data_vectors& record) {
    record.pid[0] = '\0';
    record.app_name[0] = '\0';
    empty_sequences(record);
    reserve_room(record);
}

void hand_over(data_vectors& record, std::vector<data_vectors>& list) {
    if (entry_count(record) < kSmallRecord) {
        list.push_back(record);
    } else {
        list.push_back(std::move(record));
    }
}

void grow(data_vectors& record, std::vector<vidmm_vm_pt>& sequence) {
    double_room(record, sequence);
}

void grow(data_vectors& record, std::vector<vidmm_vm_pte_elt3k>& sequence) {
    double_room(record, sequence);
}

} // namespace kt3::vmdump
