// Dumps read, rebuilt, stamped and exported, each beside the floor it cannot go below (bare reads, copies) and the
// plain programs it is to beat. Files lie in a temporary folder; the page cache is warm after the first round.

#include "support/file_reading.hpp"
#include "vmdump/allocation_nodes.hpp"
#include "vmdump/client_record.hpp"
#include "vmdump/client_walk.hpp"
#include "vmdump/debugfs_places.hpp"
#include "vmdump/dump_reading.hpp"
#include "vmdump/page_table_reading.hpp"
#include "vmdump/rows.hpp"

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>

namespace {

using namespace kt3;

class Folder {
public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kt3-bench-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data()) == nullptr ? "." : pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] std::string write(const std::string& name, const std::string& text) const {
        const std::string file = path_ + "/" + name;
        std::filesystem::create_directories(std::filesystem::path(file).parent_path());
        std::ofstream(file, std::ios::binary) << text;
        return file;
    }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

const Folder& folder() {
    static const Folder made;
    return made;
}

// A dump of about that many sub-table entries, fifteen to a page-table entry of level 2.
std::string dump_text(int sub_entries) {
    std::mt19937 random(7);
    std::string text;
    const auto hex = [&] {
        char digits[16];
        std::snprintf(digits, sizeof digits, "0x%x", static_cast<unsigned>(random() & 0x7fffffff));
        return std::string(digits);
    };
    const auto entry = [&](int level, int index) {
        text += std::string(2 * static_cast<std::size_t>(level), ' ') + std::to_string(level) + ":" +
                std::to_string(index) + ": entry addr:" + hex() + ", buffer:page table at " + hex() + "\n";
    };
    const auto sub = [&](int level, int index) {
        text += std::to_string(level) + ":" + std::to_string(index) + " Snoop:" + std::to_string(random() & 1) +
                " Segment:" + std::to_string(random() & 3) + " LargePage:0 Addr:" + hex() + "\n";
    };
    entry(0, 0);
    sub(0, 0);
    entry(1, 0);
    sub(1, 0);
    for (int at = 0; at < sub_entries; ++at) {
        if (at % 15 == 0) {
            entry(2, at / 15);
        }
        sub(2, at % 512);
    }
    return text;
}

const std::string& dump_file(int sub_entries) {
    static std::map<int, std::string> files;
    std::string& file = files[sub_entries];
    if (file.empty()) {
        file = folder().write("dump" + std::to_string(sub_entries), dump_text(sub_entries));
    }
    return file;
}

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

// ---- one dump -------------------------------------------------------------------------------------------------------

// The floor: the same bytes read, their lines counted.
void ReadAndCountLines(benchmark::State& state) {
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

void ParseDump(benchmark::State& state) {
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

void ParseDumpByFromChars(benchmark::State& state) {
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

void ParseDumpByFgetsAndStrings(benchmark::State& state) {
    parse_by_fgets(state, string_line);
}

void ParseDumpByFgetsAndSscanf(benchmark::State& state) {
    parse_by_fgets(state, scanned_line);
}

void ReadWholeClient(benchmark::State& state) {
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

BENCHMARK(ReadAndCountLines)->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(ParseDump)->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(ParseDumpByFromChars)->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(ParseDumpByFgetsAndStrings)->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(ParseDumpByFgetsAndSscanf)->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);
BENCHMARK(ReadWholeClient)->Arg(300)->Arg(3'000)->Arg(30'000)->Arg(300'000);

// ---- rows -----------------------------------------------------------------------------------------------------------

std::vector<data_vectors> filled_list(int sub_entries) {
    std::vector<data_vectors> list(1);
    vmdump::read_stamped_page_tables(dump_file(sub_entries).c_str(), {}, list[0]);
    std::strcpy(list[0].pid, "4711");
    return list;
}

void CopyRows(benchmark::State& state) {
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
void MoveFieldsIntoRows(benchmark::State& state) {
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

void FillRows(benchmark::State& state) {
    const std::vector<data_vectors> list = filled_list(static_cast<int>(state.range(0)));
    std::vector<_PAGETABLE_DATA> rows(vmdump::count_rows(list));
    for (auto _ : state) {
        vmdump::fill_all_rows(rows.data(), list);
        benchmark::ClobberMemory();
    }
}

void FillRowsByFromChars(benchmark::State& state) {
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

BENCHMARK(CopyRows)->Arg(30'000)->Arg(300'000);
BENCHMARK(MoveFieldsIntoRows)->Arg(30'000)->Arg(300'000);
BENCHMARK(FillRows)->Arg(30'000)->Arg(300'000);
BENCHMARK(FillRowsByFromChars)->Arg(30'000)->Arg(300'000);

// ---- allocation nodes -----------------------------------------------------------------------------------------------

constexpr int kAllocations = 5'000;

const std::string& allocation_driver() {
    static const std::string driver = [] {
        for (int at = 0; at < kAllocations; ++at) {
            char name[32];
            std::snprintf(name, sizeof name, "%x", 0x1000 + at);
            std::string text = "allocation\n";
            for (int node = 0; node < 2; ++node) {
                text += "=====vm node info=====\ndevice_pid = 4711\ndevice_pname = game\ngpu_va = 0x7f0012340000\n"
                        "size = 0x200000\nflags = 0\n";
            }
            (void)folder().write(std::string("allocations/") + name + "/vm_info", text);
        }
        return folder().path();
    }();
    return driver;
}

// The floor: every file opened, read to its end and closed.
void ReadAllocations(benchmark::State& state) {
    const std::string driver = allocation_driver();
    std::vector<char> buffer(16 * 1024);
    for (auto _ : state) {
        const support::Dir entries(::opendir((driver + "/allocations").c_str()));
        std::size_t bytes = 0;
        while (const dirent* entry = ::readdir(entries.get())) {
            const auto path = vmdump::file_path(driver.c_str(), "allocations", entry->d_name, "vm_info");
            bytes += support::read_page_at(AT_FDCWD, path.text, buffer.data(), buffer.size());
        }
        benchmark::DoNotOptimize(bytes);
    }
}

void WalkAllocations(benchmark::State& state) {
    const std::string driver = allocation_driver();
    std::vector<allcation_Info> list;
    for (auto _ : state) {
        list.clear();
        vmdump::walk_allocation_nodes(driver.c_str(), list);
        benchmark::DoNotOptimize(list.data());
    }
}

// Node texts as a walk leaves them, as many as asked for.
std::vector<allcation_Info> many_nodes(benchmark::State& state) {
    std::vector<allcation_Info> list;
    for (std::int64_t at = 0; at < state.range(0); ++at) {
        char name[32];
        std::snprintf(name, sizeof name, "%x", 0x1000 + static_cast<unsigned>(at));
        list.push_back(vmdump::make_node("device_pid = 4711\ndevice_pname = game\ngpu_va = 0x7f0012340000\n"
                                         "size = 0x200000\n",
                                         name));
    }
    return list;
}

void CopyEntries(benchmark::State& state) {
    const std::vector<_GFX_VM_ALLOCATION_DATA> from(static_cast<std::size_t>(state.range(0)));
    std::vector<_GFX_VM_ALLOCATION_DATA> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size() * sizeof from[0]);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

void FillEntries(benchmark::State& state) {
    const std::vector<allcation_Info> list = many_nodes(state);
    std::vector<_GFX_VM_ALLOCATION_DATA> entries(list.size());
    for (auto _ : state) {
        vmdump::fill_entries(entries.data(), list);
        benchmark::ClobberMemory();
    }
}

void FillEntriesByStandardConversions(benchmark::State& state) {
    const std::vector<allcation_Info> list = many_nodes(state);
    std::vector<_GFX_VM_ALLOCATION_DATA> entries(list.size());
    for (auto _ : state) {
        _GFX_VM_ALLOCATION_DATA* entry = entries.data();
        for (const allcation_Info& node : list) {
            entry->pid = std::stoi(node.device_pid);
            entry->handle = std::stoll(node.handle, nullptr, 16);
            entry->size = std::stoll(node.size, nullptr, 16);
            entry->gpu_va = std::stoll(node.gpu_va, nullptr, 16);
            ++entry;
        }
        benchmark::ClobberMemory();
    }
}

BENCHMARK(ReadAllocations);
BENCHMARK(WalkAllocations);
BENCHMARK(CopyEntries)->Arg(10'000)->Arg(100'000);
BENCHMARK(FillEntriesByStandardConversions)->Arg(10'000)->Arg(100'000);
BENCHMARK(FillEntries)->Arg(10'000)->Arg(100'000);

// ---- ten clients ----------------------------------------------------------------------------------------------------

constexpr int kClients = 10;

const std::string& client_driver() {
    static const std::string driver = [] {
        const std::string text = dump_text(3'000);
        for (int at = 1; at <= kClients; ++at) {
            const std::string client = "clients/devices/0" + std::to_string(at) + "000000/";
            (void)folder().write(client + "vm_info", text);
            (void)folder().write(client + "info", "name = x\npid = " + std::to_string(::getpid()) + "\n");
        }
        return folder().path() + "/clients";
    }();
    return driver;
}

// The floor: ps asked ten times, one after the other, and the files read.
void AskPsAndReadTenClients(benchmark::State& state) {
    const std::string driver = client_driver();
    const vmdump::DumpBlock block;
    const std::string command = "ps -p " + std::to_string(::getpid()) + " -o comm=";
    for (auto _ : state) {
        const support::Dir entries(::opendir((driver + "/devices").c_str()));
        while (const dirent* entry = ::readdir(entries.get())) {
            if (entry->d_name[0] == '.') {
                continue;
            }
            for (const char* file : {"info", "vm_info"}) {
                const auto path = vmdump::file_path(driver.c_str(), "devices", entry->d_name, file);
                vmdump::read_in_blocks(path.text, block.bytes(),
                                       [](std::string_view text, bool) { return text.size(); });
            }
            const support::Pipe ps(::popen(command.c_str(), "re"));
            char answer[128];
            while (std::fgets(answer, sizeof answer, ps.get()) != nullptr) {
                benchmark::DoNotOptimize(answer);
            }
        }
    }
}

void WalkTenClients(benchmark::State& state) {
    const std::string driver = client_driver();
    for (auto _ : state) {
        std::vector<data_vectors> list;
        vmdump::walk_clients(driver.c_str(), list);
        benchmark::DoNotOptimize(list.data());
    }
}

BENCHMARK(AskPsAndReadTenClients)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WalkTenClients)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
