// SPDX-License-Identifier: MIT
// Page tables handed out as rows, beside copies of as many bytes and a loop of standard conversions.

#include "dump_files.hpp"
#include "vmdump/page_table_reading.hpp"
#include "vmdump/rows.hpp"

#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace kt3;
using bench::dump_file;

std::vector<data_vectors> filled_list(int sub_entries) {
    std::vector<data_vectors> list(1);
    vmdump::read_stamped_page_tables(dump_file(sub_entries).c_str(), {}, list[0]);
    std::strcpy(list[0].pid, "4711");
    return list;
}

void copy_rows(benchmark::State& state) {
    const std::size_t count = vmdump::count_rows(filled_list(static_cast<int>(state.range(0))));
    const std::vector<_PAGETABLE_DATA> from(count);
    std::vector<_PAGETABLE_DATA> to(count);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), count * sizeof(_PAGETABLE_DATA));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

void move_fields(_PAGETABLE_DATA& row, const vidmm_vm_pte_elt3k& entry, std::int64_t address) {
    row.pid = 4711;
    row.addr = address;
    row.snoop = entry.Snoop;
    row.segment = entry.Segment;
    row.large_page = entry.LargePage;
    row.level = entry.ST_Level;
    row.index = entry.Index;
    row.parent_level = entry.DigitalIndex.parent_level;
    row.parent_index = entry.DigitalIndex.parent_index;
    row.type = -1;
}

// The other floor: every field moved to its place in the row, the address not converted.
void move_fields_into_rows(benchmark::State& state) {
    const std::vector<data_vectors> list = filled_list(static_cast<int>(state.range(0)));
    std::vector<_PAGETABLE_DATA> rows(vmdump::count_rows(list));
    for (auto _ : state) {
        _PAGETABLE_DATA* row = rows.data();
        for (const vidmm_vm_pte_elt3k& entry : list[0].st_level2) {
            move_fields(*row++, entry, entry.Addr[0]);
        }
        benchmark::ClobberMemory();
    }
}

void fill_rows(benchmark::State& state) {
    const std::vector<data_vectors> list = filled_list(static_cast<int>(state.range(0)));
    std::vector<_PAGETABLE_DATA> rows(vmdump::count_rows(list));
    for (auto _ : state) {
        vmdump::fill_all_rows(rows.data(), list);
        benchmark::ClobberMemory();
    }
}

void fill_rows_by_from_chars(benchmark::State& state) {
    const std::vector<data_vectors> list = filled_list(static_cast<int>(state.range(0)));
    std::vector<_PAGETABLE_DATA> rows(vmdump::count_rows(list));
    const auto address = [](const char(&text)[48]) {
        const std::string_view all(text, ::strnlen(text, sizeof text));
        const std::string_view digits = all.starts_with("0x") ? all.substr(2) : all;
        int value = 0;
        const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (end.ec != std::errc()) {
            std::abort();
        }
        return value;
    };
    for (auto _ : state) {
        _PAGETABLE_DATA* row = rows.data();
        for (const auto* tables : {&list[0].pt_level0, &list[0].pt_level1, &list[0].pt_level2}) {
            for (const vidmm_vm_pt& entry : *tables) {
                row->pid = 4711;
                row->addr = address(entry.Addr);
                row->level = entry.PT_Level;
                row->index = entry.PT_index;
                row->type = 1;
                ++row;
            }
        }
        for (const auto* subs : {&list[0].st_level0, &list[0].st_level1, &list[0].st_level2}) {
            for (const vidmm_vm_pte_elt3k& entry : *subs) {
                move_fields(*row++, entry, address(entry.Addr));
            }
        }
        benchmark::ClobberMemory();
    }
}

BENCHMARK(copy_rows)->Name("row_fill/floor_memcpy")->Arg(30'000)->Arg(300'000);
BENCHMARK(move_fields_into_rows)->Name("row_fill/floor_move_fields")->Arg(30'000)->Arg(300'000);
BENCHMARK(fill_rows)->Name("row_fill/library")->Arg(30'000)->Arg(300'000);
BENCHMARK(fill_rows_by_from_chars)->Name("row_fill/peer_from_chars")->Arg(30'000)->Arg(300'000);

} // namespace
