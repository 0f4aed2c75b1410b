// SPDX-License-Identifier: MIT
// Recognising the allocations of one snapshot in the next, beside copying the lists and the usual ways of doing the
// same.

#include "allocation/leak_groups.hpp"
#include "allocation/leak_matching.hpp"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

using namespace kt3::allocation;
using Record = _GFX_ALLOCATION_INFO;

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

void copy_both_lists(benchmark::State& state) {
    time_on_copies(state, [](const Lists& lists) {
        Lists copies = lists;
        benchmark::DoNotOptimize(copies.current.data());
    });
}

void leak_match(benchmark::State& state) {
    time_on_copies(state, [](Lists& lists) { match_tracked(lists.current, lists.tracked); });
}

void leak_match_and_groups(benchmark::State& state) {
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

void leak_match_nested(benchmark::State& state) {
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

void leak_match_unordered_map(benchmark::State& state) {
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
BENCHMARK(copy_both_lists)
    ->Name("leak_match/floor_copy_both_lists")
    ->Args({100000, kSteady})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(leak_match)->Name("leak_match/library") KT3_LEAKS;
BENCHMARK(leak_match_and_groups)->Name("leak_match_and_groups/library") KT3_LEAKS;
BENCHMARK(leak_match_unordered_map)->Name("leak_match/peer_unordered_map") KT3_LEAKS;
// Quadratic: a smaller list, with the library's time for it beside.
BENCHMARK(leak_match_nested)
    ->Name("leak_match/peer_nested_search") KT3_CHANGES(2000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(leak_match)->Name("leak_match/library") KT3_CHANGES(2000)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
