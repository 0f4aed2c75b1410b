// Allocation snapshots, what is computed from them, the process map and the leak match. Beside each stand the bare
// system calls it cannot do without and the usual ways of doing the same; figures are ratios within one run.

#include "allocation/debug_tree.hpp"
#include "allocation/leak_groups.hpp"
#include "allocation/leak_matching.hpp"
#include "allocation/process_map.hpp"
#include "allocation/raw_list.hpp"
#include "allocation/snapshot.hpp"
#include "allocation/sums.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>

namespace {

using namespace kt3::allocation;
using Record = _GFX_ALLOCATION_INFO;
namespace fs = std::filesystem;

// A driver directory in memory, removed at the end of the program.
class Folder {
public:
    Folder() {
        const fs::path shared = "/dev/shm";
        std::string pattern = ((fs::exists(shared) ? shared : fs::temp_directory_path()) / "kt3-bench-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }
    void file(const std::string& name, const std::string& text) const {
        fs::create_directories(fs::path(path_ + "/" + name).parent_path());
        std::ofstream(path_ + "/" + name, std::ios::binary) << text;
    }

private:
    std::string path_;
};

constexpr const char* kKeys[] = {
    "width",       "height",        "pitch",         "bit_cnt",         "hw_format", "secured",   "tile",
    "segmentid",   "gpu_virt_addr", "bl_slot_index", "compress_format", "handle",    "device",    "size",
    "cpu_visible", "cache_type",    "pool_type",     "at_type",         "imported",  "fb_offset", "share"};

// Every key that is read, and three that are not.
std::string page_of(int number) {
    const std::string n = std::to_string(number);
    char hex[20];
    std::snprintf(hex, sizeof hex, "%x", number * 64);
    return "name=allocation " + n + "\nhandle=" + hex + "\ndevice=" + std::to_string(number % 12 + 1) +
           "\nwidth=1920\nheight=1080\npitch=7680\nbit_cnt=32\nsecured=0\nsize=" +
           std::to_string(4096 * (number % 50)) +
           "\ntile=1\ncpu_visible=1\ncache_type=2\npool_type=0\nat_type=" + std::to_string(number % 5) +
           "\nsegmentid=" + std::to_string(number % 6) + "\nhw_format=28\ncompress_format=0\nbl_slot_index=-1\n" +
           "gpu_virt_addr=" + std::to_string(0x100000000LL + number * 4096LL) +
           "\nimported=0\nfb_offset=" + std::to_string(number * 4096) + "\nshare=0\nowner=client\npinned=0\n";
}

// One tree per size for the whole run.
const std::string& allocations(std::int64_t count) {
    static std::map<std::int64_t, std::unique_ptr<Folder>> trees;
    std::unique_ptr<Folder>& tree = trees[count];
    if (tree == nullptr) {
        tree = std::make_unique<Folder>();
        for (int at = 0; at < count; ++at) {
            tree->file("allocations/" + std::to_string(10000 + at) + "/info", page_of(at));
        }
    }
    return tree->path();
}

DebugTree tree_of(const benchmark::State& state) {
    return {allocations(state.range(0)).c_str(), true};
}

template<typename Use>
void for_each_entry(const std::string& directory, Use use) {
    DIR* listing = ::opendir(directory.c_str());
    while (const dirent* entry = ::readdir(listing)) {
        if (entry->d_name[0] != '.') {
            use(::dirfd(listing), entry->d_name);
        }
    }
    ::closedir(listing);
}

// ---- snapshot -------------------------------------------------------------------------------------------------------

// The bare system calls: list, open, read once, close.
void BM_bare_calls(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    char page[4096];
    for (auto _ : state) {
        for_each_entry(directory, [&](int at, const char* name) {
            char path[300];
            ::stpcpy(::stpcpy(path, name), "/info");
            const int file = ::openat(at, path, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(file, page, sizeof page));
            ::close(file);
        });
    }
}

// The same with the absolute path of every file, as a reader that builds paths opens them.
void BM_bare_calls_by_full_path(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    char page[4096];
    for (auto _ : state) {
        for_each_entry(directory, [&](int, const char* name) {
            char path[1024];
            std::snprintf(path, sizeof path, "%s/%s/info", directory.c_str(), name);
            const int file = ::open(path, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(file, page, sizeof page));
            ::close(file);
        });
    }
}

void set_by_key_chain(Record& record, const char* key, const char* value) {
    auto* words = reinterpret_cast<std::int32_t*>(&record);
    for (std::size_t at = 0; at < std::size(kKeys); ++at) {
        if (std::strcmp(key, kKeys[at]) == 0) {
            words[at] =
                at == 11 ? std::stoi(value, nullptr, 16) : static_cast<std::int32_t>(std::strtol(value, nullptr, 10));
            return;
        }
    }
}

void parse_by_key_chain(Record& record, char* line) {
    char* equals = std::strchr(line, '=');
    if (equals != nullptr) {
        *equals = '\0';
        set_by_key_chain(record, line, equals + 1);
    }
}

void BM_openat_one_read_key_chain(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    char page[4097];
    for (auto _ : state) {
        std::vector<Record> records;
        for_each_entry(directory, [&](int at, const char* name) {
            const std::string path = std::string(name) + "/info";
            const int file = ::openat(at, path.c_str(), O_RDONLY | O_CLOEXEC);
            const ssize_t length = ::read(file, page, sizeof page - 1);
            ::close(file);
            page[std::max<ssize_t>(length, 0)] = '\0';
            Record record = {};
            char* rest = nullptr;
            for (char* line = ::strtok_r(page, "\n", &rest); line != nullptr; line = ::strtok_r(nullptr, "\n", &rest)) {
                parse_by_key_chain(record, line);
            }
            records.push_back(record);
        });
        benchmark::DoNotOptimize(records.data());
    }
}

void BM_fopen_getline_key_chain(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    for (auto _ : state) {
        std::vector<Record> records;
        for_each_entry(directory, [&](int, const char* name) {
            char path[1024];
            std::snprintf(path, sizeof path, "%s/%s/info", directory.c_str(), name);
            FILE* file = std::fopen(path, "re");
            Record record = {};
            char* line = nullptr;
            std::size_t room = 0;
            while (::getline(&line, &room, file) > 0) {
                parse_by_key_chain(record, line);
            }
            std::free(line);
            std::fclose(file);
            records.push_back(record);
        });
        benchmark::DoNotOptimize(records.data());
    }
}

void BM_ifstream_map(benchmark::State& state) {
    const std::string directory = allocations(state.range(0)) + "/allocations";
    for (auto _ : state) {
        std::vector<std::map<std::string, std::string>> records;
        for (const auto& entry : fs::directory_iterator(directory)) {
            std::ifstream file(entry.path() / "info");
            std::map<std::string, std::string>& record = records.emplace_back();
            for (std::string line; std::getline(file, line);) {
                const std::size_t equals = line.find('=');
                record[line.substr(0, equals)] = line.substr(equals + 1);
            }
        }
        benchmark::DoNotOptimize(records.data());
    }
}

void BM_snapshot(benchmark::State& state) {
    for (auto _ : state) {
        Records records;
        benchmark::DoNotOptimize(take_snapshot(tree_of(state), records));
    }
}

void BM_segment_totals(benchmark::State& state) {
    std::uint32_t totals[KT3_SEGMENT_SLOTS];
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_segment_totals(tree_of(state), totals));
    }
}

void BM_device_summary(benchmark::State& state) {
    static _GFX_DEVICE_ALLOCATION_SUMMARY_EXT1 summary[ALLOCATION_SUMMARY_MAX];
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_summary(tree_of(state), SummaryExt1(summary)));
    }
}

void BM_raw_list_first_slice(benchmark::State& state) {
    static _GFX_ALLOCATION_RAW_LIST list;
    for (auto _ : state) {
        list.trasfer_cnt = 0;
        benchmark::DoNotOptimize(answer_raw_list(tree_of(state), list));
    }
}

#define KT3_SIZES ->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond)
BENCHMARK(BM_bare_calls) KT3_SIZES;
BENCHMARK(BM_snapshot) KT3_SIZES;
BENCHMARK(BM_segment_totals) KT3_SIZES;
BENCHMARK(BM_device_summary) KT3_SIZES;
BENCHMARK(BM_raw_list_first_slice) KT3_SIZES;
BENCHMARK(BM_openat_one_read_key_chain) KT3_SIZES;
BENCHMARK(BM_bare_calls_by_full_path) KT3_SIZES;
BENCHMARK(BM_fopen_getline_key_chain) KT3_SIZES;
BENCHMARK(BM_ifstream_map) KT3_SIZES;

// ---- process map ----------------------------------------------------------------------------------------------------

// One device for each of 49 processes, which live as long as the program; a fiftieth would bring a message.
class Devices {
public:
    Devices() {
        for (pid_t& child : children_) {
            child = ::fork();
            if (child == 0) {
                ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                for (;;) {
                    ::pause();
                }
            }
            const std::string pid = std::to_string(child);
            folder_.file("devices/" + pid + "/info", "name = client\npid = " + pid + "\nhandle = a0\n");
        }
    }
    ~Devices() {
        for (const pid_t child : children_) {
            ::kill(child, SIGKILL);
            ::waitpid(child, nullptr, 0);
        }
    }
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;
    [[nodiscard]] const std::string& path() const { return folder_.path(); }

private:
    Folder folder_;
    pid_t children_[ALLOCATION_SUMMARY_MAX - 1] = {};
};

const Devices& devices() {
    static const Devices all;
    return all;
}

void BM_two_bare_reads_per_device(benchmark::State& state) {
    const std::string directory = devices().path() + "/devices";
    char page[4096];
    const auto read_once = [&page](int at, const char* path) {
        const int file = ::openat(at, path, O_RDONLY | O_CLOEXEC);
        benchmark::DoNotOptimize(::read(file, page, sizeof page));
        ::close(file);
    };
    for (auto _ : state) {
        for_each_entry(directory, [&](int at, const char* name) {
            char path[300];
            ::stpcpy(::stpcpy(path, name), "/info");
            read_once(at, path);
            std::snprintf(path, sizeof path, "/proc/%s/cmdline", name);
            read_once(AT_FDCWD, path);
        });
    }
}

void BM_process_map(benchmark::State& state) {
    static _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX];
    for (auto _ : state) {
        benchmark::DoNotOptimize(read_process_map({devices().path().c_str(), true}, ProcessMap(maps)));
    }
}

BENCHMARK(BM_two_bare_reads_per_device)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_process_map)->Unit(benchmark::kMicrosecond);

// ---- leak match -----------------------------------------------------------------------------------------------------

enum Change : std::int64_t { kSteady, kChurn, kShuffled };

struct Lists {
    Records tracked;
    Records current;
};

Lists lists_of(std::int64_t count, std::int64_t change) {
    std::mt19937 random(3);
    Lists lists;
    lists.tracked.resize(static_cast<std::size_t>(count));
    for (Record& record : lists.tracked) {
        record.handle = static_cast<std::int32_t>(&record - lists.tracked.data()) * 64;
        record.width = 64 << (random() % 6);
        record.height = 64 << (random() % 6);
        record.size = record.width * record.height * 4;
        record.hw_format = static_cast<std::int32_t>(random() % 4);
        record.seen_count = 1;
        record.sum_count = 1;
    }
    lists.current = lists.tracked;
    if (change == kChurn) { // a tenth goes, as many come
        std::erase_if(lists.current, [&](const Record&) { return random() % 10 == 0; });
        for (std::size_t at = lists.current.size(); at < lists.tracked.size(); ++at) {
            Record record = lists.tracked[at];
            record.handle = static_cast<std::int32_t>(count + static_cast<std::int64_t>(at)) * 64;
            lists.current.push_back(record);
        }
    } else if (change == kShuffled) {
        std::shuffle(lists.current.begin(), lists.current.end(), random);
    }
    return lists;
}

// Times `use` alone, on fresh copies of both lists each time.
template<typename Use>
void time_on_copies(benchmark::State& state, Use use) {
    const Lists lists = lists_of(state.range(0), state.range(1));
    for (auto _ : state) {
        Lists copies = lists;
        const auto start = std::chrono::steady_clock::now();
        use(copies);
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        benchmark::DoNotOptimize(copies.tracked.data());
    }
}

void BM_copy_both_lists(benchmark::State& state) {
    time_on_copies(state, [](const Lists& lists) {
        Lists copies = lists;
        benchmark::DoNotOptimize(copies.current.data());
    });
}

void BM_leak_match(benchmark::State& state) {
    time_on_copies(state, [](Lists& lists) { match_tracked(lists.current, lists.tracked); });
}

void BM_leak_match_and_groups(benchmark::State& state) {
    Record result[KT3_MEMLEAK_GROUPS];
    time_on_copies(state, [&](Lists& lists) {
        match_tracked(lists.current, lists.tracked);
        write_largest_groups(lists.tracked, LeakResult(result));
    });
}

bool same_identity(const Record& a, const Record& b) {
    return a.handle == b.handle && a.width == b.width && a.height == b.height && a.size == b.size &&
           a.hw_format == b.hw_format && a.at_type == b.at_type;
}

void BM_leak_match_nested(benchmark::State& state) {
    time_on_copies(state, [](Lists& lists) {
        for (std::size_t at = 0; at < lists.tracked.size();) {
            const auto found = std::find_if(lists.current.begin(), lists.current.end(), [&](const Record& record) {
                return same_identity(record, lists.tracked[at]);
            });
            if (found == lists.current.end()) {
                lists.tracked.erase(lists.tracked.begin() + static_cast<std::ptrdiff_t>(at));
            } else {
                ++lists.tracked[at++].seen_count;
                lists.current.erase(found);
            }
        }
        lists.tracked.insert(lists.tracked.end(), lists.current.begin(), lists.current.end());
    });
}

struct IdentityHash {
    std::size_t operator()(const Record& record) const {
        std::size_t hash = 0;
        for (const std::int32_t word :
             {record.handle, record.width, record.height, record.size, record.hw_format, record.at_type}) {
            hash = hash * 31 + std::hash<std::int32_t>()(word);
        }
        return hash;
    }
};
struct SameIdentity {
    bool operator()(const Record& a, const Record& b) const { return same_identity(a, b); }
};

void BM_leak_match_unordered_map(benchmark::State& state) {
    time_on_copies(state, [](Lists& lists) {
        std::unordered_map<Record, std::vector<std::size_t>, IdentityHash, SameIdentity> index;
        for (std::size_t at = lists.current.size(); at-- > 0;) {
            index[lists.current[at]].push_back(at);
        }
        std::vector<bool> taken(lists.current.size());
        Records kept;
        for (Record& record : lists.tracked) {
            const auto found = index.find(record);
            if (found != index.end() && !found->second.empty()) {
                taken[found->second.back()] = true;
                found->second.pop_back();
                kept.push_back(record);
                ++kept.back().seen_count;
            }
        }
        for (std::size_t at = 0; at < taken.size(); ++at) {
            if (!taken[at]) {
                kept.push_back(lists.current[at]);
            }
        }
        lists.tracked.swap(kept);
    });
}

#define KT3_CHANGES(count) ->Args({count, kSteady})->Args({count, kChurn})->Args({count, kShuffled})
#define KT3_LEAKS KT3_CHANGES(100000)->UseManualTime()->Unit(benchmark::kMicrosecond)
BENCHMARK(BM_copy_both_lists)->Args({100000, kSteady})->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_leak_match) KT3_LEAKS;
BENCHMARK(BM_leak_match_and_groups) KT3_LEAKS;
BENCHMARK(BM_leak_match_unordered_map) KT3_LEAKS;
// Quadratic: a smaller list, with the library's time for it beside.
BENCHMARK(BM_leak_match_nested) KT3_CHANGES(2000)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_leak_match) KT3_CHANGES(2000)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
