// SPDX-License-Identifier: MIT
#include "observe/vm/page_runs.hpp"

namespace kt3::observe {
namespace {

bool follows(const PageEntry& page, const PageEntry& before) {
    return page.owner == before.owner && page.index == before.index + 1 && page.snoop == before.snoop &&
           page.segment == before.segment && page.large_page == before.large_page &&
           page.address_known == before.address_known;
}

} // namespace

std::vector<PageRun> fold_runs(const std::vector<PageEntry>& pages) {
    std::vector<PageRun> runs;
    for (const PageEntry& page : pages) {
        if (!runs.empty()) {
            PageRun& run = runs.back();
            const PageEntry& before = run.first[run.count - 1];
            const auto step = static_cast<std::int64_t>(static_cast<std::uint64_t>(page.address) -
                                                        static_cast<std::uint64_t>(before.address));
            if (follows(page, before) && (run.count == 1 || step == run.step)) {
                run.step = step;
                ++run.count;
                continue;
            }
        }
        runs.push_back({&page, 1, 0});
    }
    return runs;
}

} // namespace kt3::observe
