// SPDX-License-Identifier: MIT
#include "vmdump/client_record.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kt3::vmdump {
namespace {

// Below this a copy of the entries is cheaper than a new reserve for the next client.
constexpr std::size_t kSmallRecord = 2'000;

constexpr std::size_t kFewestEntries = 16;

struct Use {
    std::size_t entries = 0;
    std::size_t capacity = 0;
};

Use use_of(data_vectors& record) {
    Use use;
    const auto add = [&use](const auto& sequence) {
        use.entries += sequence.size();
        use.capacity += sequence.capacity();
    };
    for (std::int32_t level = 0; level < 3; ++level) {
        add(page_tables(record, level));
        add(sub_tables(record, level));
    }
    return use;
}

void reserve(data_vectors& record, const Capacities& capacities) {
    for (std::int32_t level = 0; level < 3; ++level) {
        page_tables(record, level).reserve(capacities.page_tables[level]);
        sub_tables(record, level).reserve(capacities.sub_tables[level]);
    }
}

// The clients of one machine are much alike: the next one gets what this one filled and up to a quarter more.
Capacities capacities_like(data_vectors& filled) {
    const auto enough = [](std::size_t last, std::size_t usual) { return std::clamp(usual, last, last + last / 4); };
    Capacities next;
    for (std::int32_t level = 0; level < 3; ++level) {
        next.page_tables[level] = enough(page_tables(filled, level).size(), next.page_tables[level]);
        next.sub_tables[level] = enough(sub_tables(filled, level).size(), next.sub_tables[level]);
    }
    return next;
}

// A short sequence doubles. A long one gets the largest usual capacity at once: moving entries and their links costs
// more than memory that is reserved and not touched.
template<typename Entry>
void enlarge(data_vectors& record, std::vector<Entry>& sequence, std::size_t largest_usual) {
    const std::size_t doubled = std::max(kFewestEntries, sequence.size() * 2);
    std::vector<Entry> old;
    old.reserve(sequence.size() < kSmallRecord ? doubled : std::max(doubled, largest_usual));
    old.assign(sequence.begin(), sequence.end());
    const kt3_entry_places old_places = kt3_places_of(record);
    sequence.swap(old); // the old storage lives on until the links have followed
    kt3_relink(record, old_places);
}

} // namespace

data_vectors make_record() {
    data_vectors record;
    reserve(record, {});
    return record;
}

void empty_sequences(data_vectors& record) {
    for (std::int32_t level = 0; level < 3; ++level) {
        page_tables(record, level).clear();
        sub_tables(record, level).clear();
    }
}

void make_ready(ReusedRecord& client) {
    std::fill(std::begin(client.record.pid), std::end(client.record.pid), '\0');
    std::fill(std::begin(client.record.app_name), std::end(client.record.app_name), '\0');
    empty_sequences(client.record);
    reserve(client.record, client.expected);
}

void hand_over(ReusedRecord& client, std::vector<data_vectors>& list) {
    const Use use = use_of(client.record);
    if (use.entries < kSmallRecord) {
        list.push_back(client.record);
        return;
    }
    client.expected = capacities_like(client.record);
    if (use.entries < use.capacity / 2) {
        list.push_back(client.record);
    } else {
        list.push_back(std::move(client.record));
    }
    client.record = {};
}

void grow(data_vectors& record, std::vector<vidmm_vm_pt>& sequence) {
    enlarge(record, sequence, Capacities().page_tables[2]);
}

void grow(data_vectors& record, std::vector<vidmm_vm_pte_elt3k>& sequence) {
    enlarge(record, sequence, Capacities().sub_tables[2]);
}

void end_over_long_field(const char* field_name, std::size_t length) {
    std::fprintf(stderr, "kt3: %s of %zu characters does not fit its field of 47\n", field_name, length);
    std::abort();
}

} // namespace kt3::vmdump
