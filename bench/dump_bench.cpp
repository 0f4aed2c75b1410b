// SPDX-License-Identifier: MIT
// Dumps read, rebuilt and stamped, beside the bare reading of their lines and the plain programs that do the same.

#include "dump_files.hpp"
#include "vmdump/client_record.hpp"
#include "vmdump/dump_reading.hpp"
#include "vmdump/page_table_reading.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

using namespace kt3;
using bench::dump_file;

std::size_t line_count(const std::string& path) {
    const vmdump::DumpBlock block;
    std::size_t lines = 0;
    vmdump::read_in_blocks(path.c_str(), block.bytes(), [&](std::string_view text, bool) {
        lines += static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        return text.size();
    });
    return lines;
}

void count_lines(benchmark::State& state, const std::string& path) {
    state.counters["per_line"] =
        benchmark::Counter(static_cast<double>(line_count(path)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The floor: the same bytes read, their lines counted.
void read_and_count_lines(benchmark::State& state) {
    const std::string path = dump_file(static_cast<int>(state.range(0)));
    const vmdump::DumpBlock block;
    for (auto _ : state) {
        std::size_t lines = 0;
        vmdump::read_in_blocks(path.c_str(), block.bytes(), [&](std::string_view text, bool) {
            const char* at = text.data();
            const char* const end = at + text.size();
            while (at != end && (at = static_cast<const char*>(
                                     std::memchr(at, '\n', static_cast<std::size_t>(end - at)))) != nullptr) {
                ++lines;
                ++at;
            }
            return text.size();
        });
        benchmark::DoNotOptimize(lines);
    }
    count_lines(state, path);
}

void parse_dump(benchmark::State& state) {
    const std::string path = dump_file(static_cast<int>(state.range(0)));
    const vmdump::DumpBlock block;
    data_vectors record = vmdump::make_record();
    for (auto _ : state) {
        vmdump::empty_sequences(record);
        vmdump::read_page_tables(path.c_str(), block, record);
        benchmark::DoNotOptimize(record.st_level2.data());
    }
    count_lines(state, path);
}

// A careful reader without strict matchers: lines by memchr, keys by search, numbers by std::from_chars.
int number_behind(std::string_view line, std::string_view key) {
    const std::size_t at = line.find(key);
    int value = 0;
    if (at != line.npos) {
        std::from_chars(line.data() + at + key.size(), line.data() + line.size(), value);
    }
    return value;
}

void from_chars_line(std::string_view line, data_vectors& record, bool& in_run) {
    const bool entry = line.find("entry") != line.npos;
    if (!entry && line.find("Snoop") == line.npos) {
        return;
    }
    const char* at = line.data() + std::min(line.find_first_not_of(' '), line.size());
    const char* const end = line.data() + line.size();
    int level = -1;
    int index = 0;
    at = std::from_chars(at, end, level).ptr;
    std::from_chars(at == end ? at : at + 1, end, index);
    if (entry) {
        vidmm_vm_pt made = {};
        made.PT_Level = level;
        made.PT_index = index;
        const std::size_t addr = line.find("addr:");
        const std::size_t buffer = line.find("buffer:");
        line.substr(addr + 5, line.find(',', addr) - addr - 5).copy(made.Addr, 47);
        line.substr(buffer + 7).copy(made.Buffer, 47);
        vmdump::page_tables(record, level).push_back(made);
    } else {
        vidmm_vm_pte_elt3k made = {};
        made.ST_Level = level;
        made.Index = index;
        made.Snoop = static_cast<std::uint16_t>(number_behind(line, "Snoop:"));
        made.Segment = static_cast<std::uint16_t>(number_behind(line, "Segment:"));
        made.LargePage = static_cast<std::uint16_t>(number_behind(line, "LargePage:"));
        line.substr(line.find("Addr:") + 5).copy(made.Addr, 47);
        auto& entries = vmdump::sub_tables(record, level);
        entries.push_back(made);
        if (in_run && entries.size() > 1) {
            entries.back().pre = &entries.back() - 1;
            entries.back().pre->next = &entries.back();
        } else if (auto& owners = vmdump::page_tables(record, level); !owners.empty()) {
            entries.back().parent = &owners.back();
            owners.back().sub_entries = &entries.back();
        }
    }
    in_run = !entry;
}

void parse_by_from_chars(benchmark::State& state) {
    const std::string path = dump_file(static_cast<int>(state.range(0)));
    const vmdump::DumpBlock block;
    data_vectors record = vmdump::make_record();
    for (auto _ : state) {
        vmdump::empty_sequences(record);
        bool in_run = false;
        vmdump::read_in_blocks(path.c_str(), block.bytes(), [&](std::string_view text, bool) {
            std::size_t done = 0;
            for (std::size_t end = 0; (end = text.find('\n', done)) != text.npos; done = end + 1) {
                from_chars_line(text.substr(done, end - done), record, in_run);
            }
            return done;
        });
        benchmark::DoNotOptimize(record.st_level2.data());
    }
    count_lines(state, path);
}

// Two plain readers that handle the dump as most tools would: fgets, and every text a string of its own, or sscanf.
std::string text_behind(std::string line, std::string key) {
    const std::size_t at = line.find(key);
    return at == line.npos ? "" : line.substr(at + key.size());
}

void string_line(std::string line, data_vectors& record) {
    const bool entry = text_behind(line, "entry") != "";
    if (!entry && line.find("Snoop") == line.npos) {
        return;
    }
    const int level = std::stoi(line);
    const int index = std::stoi(text_behind(line, ":"));
    if (entry) {
        vidmm_vm_pt made = {};
        made.PT_Level = level;
        made.PT_index = index;
        const std::string address = text_behind(line, "addr:");
        address.substr(0, address.find(',')).copy(made.Addr, 47);
        text_behind(line, "buffer:").copy(made.Buffer, 47);
        vmdump::page_tables(record, level).push_back(made);
    } else {
        vidmm_vm_pte_elt3k made = {};
        made.ST_Level = level;
        made.Index = index;
        made.Snoop = static_cast<std::uint16_t>(std::stoi(text_behind(line, "Snoop:")));
        made.Segment = static_cast<std::uint16_t>(std::stoi(text_behind(line, "Segment:")));
        made.LargePage = static_cast<std::uint16_t>(std::stoi(text_behind(line, "LargePage:")));
        text_behind(line, "Addr:").copy(made.Addr, 47);
        vmdump::sub_tables(record, level).push_back(made);
    }
}

void scanned_line(const char* line, data_vectors& record) {
    vidmm_vm_pt entry = {};
    vidmm_vm_pte_elt3k sub = {};
    if (std::sscanf(line, "%d:%d: entry addr:%47[^,], buffer:%47[^\n]", &entry.PT_Level, &entry.PT_index, entry.Addr,
                    entry.Buffer) == 4) {
        vmdump::page_tables(record, entry.PT_Level).push_back(entry);
    } else if (std::sscanf(line, "%d:%d Snoop:%hu Segment:%hu LargePage:%hu Addr:%47s", &sub.ST_Level, &sub.Index,
                           &sub.Snoop, &sub.Segment, &sub.LargePage, sub.Addr) == 6) {
        vmdump::sub_tables(record, sub.ST_Level).push_back(sub);
    }
}

template<typename TakeLine>
void parse_by_fgets(benchmark::State& state, TakeLine take_line) {
    const std::string path = dump_file(static_cast<int>(state.range(0)));
    data_vectors record = vmdump::make_record();
    for (auto _ : state) {
        vmdump::empty_sequences(record);
        std::FILE* const file = std::fopen(path.c_str(), "re");
        char line[512];
        while (std::fgets(line, sizeof line, file) != nullptr) {
            take_line(line, record);
        }
        std::fclose(file);
        benchmark::DoNotOptimize(record.st_level2.data());
    }
    count_lines(state, path);
}

void parse_by_fgets_and_strings(benchmark::State& state) {
    parse_by_fgets(state, string_line);
}

void parse_by_fgets_and_sscanf(benchmark::State& state) {
    parse_by_fgets(state, scanned_line);
}

void read_whole_client(benchmark::State& state) {
    const std::string path = dump_file(static_cast<int>(state.range(0)));
    const vmdump::DumpBlock block;
    vmdump::ReusedRecord client;
    for (auto _ : state) {
        std::vector<data_vectors> list;
        vmdump::make_ready(client);
        vmdump::read_stamped_page_tables(path.c_str(), block, client.record);
        vmdump::hand_over(client, list);
        benchmark::DoNotOptimize(list.data());
    }
    count_lines(state, path);
}

BENCHMARK(read_and_count_lines)->Name("dump_parse/floor_count_lines")->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(parse_dump)->Name("dump_parse/library")->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(parse_by_from_chars)->Name("dump_parse/peer_from_chars")->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(parse_by_fgets_and_strings)
    ->Name("dump_parse/peer_fgets_and_strings")
    ->Arg(300)
    ->Arg(3'000)
    ->Arg(30'000)
    ->Arg(300'000);
BENCHMARK(parse_by_fgets_and_sscanf)
    ->Name("dump_parse/peer_fgets_and_sscanf")
    ->Arg(300)
    ->Arg(3'000)
    ->Arg(30'000)
    ->Arg(300'000);
BENCHMARK(read_whole_client)->Name("whole_client/library")->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);

} // namespace
