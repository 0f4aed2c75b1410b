// SPDX-License-Identifier: MIT
#include "vmdump/rows.hpp"

#include "support/bounded_copy.hpp"
#include "support/checked_numbers.hpp"
#include "support/digit_words.hpp"

namespace kt3::vmdump {
namespace {

using support::bounded_text;

// The exact rules, for addresses of any shape. Kept out of the loops over rows.
[[gnu::noinline]] std::int64_t any_address(const char (&text)[48]) {
    return support::checked_int(bounded_text(text), 16);
}

// Usual addresses, up to eight digits and with or without "0x", are taken at once; the field is long enough for that.
std::int64_t address_of(const char (&text)[48]) {
    const char* const first = text + support::prefix_length(text);
    const support::HexDigits digits(first);
    const int count = digits.count_of_eight();
    if (count != 0 && first[count] == '\0') {
        const std::uint64_t value = digits.value(0, count);
        if (value <= INT32_MAX) {
            return static_cast<std::int64_t>(value);
        }
    }
    return any_address(text);
}

} // namespace

std::uint32_t count_rows(const std::vector<data_vectors>& list) {
    std::size_t count = 0;
    for (const data_vectors& record : list) {
        count += record.pt_level0.size() + record.pt_level1.size() + record.pt_level2.size() + record.st_level0.size() +
                 record.st_level1.size() + record.st_level2.size();
    }
    return static_cast<std::uint32_t>(count);
}

void fill_rows(_PAGETABLE_DATA* rows, const std::vector<vidmm_vm_pt>& entries, int& row, std::int64_t pid) {
    for (const vidmm_vm_pt& entry : entries) {
        _PAGETABLE_DATA& made = rows[row];
        made.pid = pid;
        made.addr = address_of(entry.Addr);
        made.level = entry.PT_Level;
        made.index = entry.PT_index;
        made.type = KT3_PAGE_TABLE_ROW;
        ++row;
    }
}

void fill_rows(_PAGETABLE_DATA* rows, const std::vector<vidmm_vm_pte_elt3k>& entries, int& row, std::int64_t pid) {
    for (const vidmm_vm_pte_elt3k& entry : entries) {
        _PAGETABLE_DATA& made = rows[row];
        made.pid = pid;
        made.addr = address_of(entry.Addr);
        made.snoop = entry.Snoop;
        made.segment = entry.Segment;
        made.large_page = entry.LargePage;
        made.level = entry.ST_Level;
        made.index = entry.Index;
        made.parent_level = entry.DigitalIndex.parent_level;
        made.parent_index = entry.DigitalIndex.parent_index;
        made.type = KT3_SUB_TABLE_ROW;
        ++row;
    }
}

void fill_all_rows(_PAGETABLE_DATA* rows, const std::vector<data_vectors>& list) {
    int row = 0;
    for (const data_vectors& record : list) {
        const std::int64_t pid = support::checked_int(bounded_text(record.pid), 10);
        for (const auto* entries : {&record.pt_level0, &record.pt_level1, &record.pt_level2}) {
            fill_rows(rows, *entries, row, pid);
        }
        for (const auto* entries : {&record.st_level0, &record.st_level1, &record.st_level2}) {
            fill_rows(rows, *entries, row, pid);
        }
    }
}

} // namespace kt3::vmdump
