#include "allocation/snapshot.hpp"

#include "allocation/info_page.hpp"
#include "support/say_line.hpp"

#include <unistd.h>

namespace kt3::allocation {

bool walk_allocations(const DebugTree& tree, Records& records) {
    const support::Dir listing = open_listing(tree, "allocations");
    if (!listing) {
        return false;
    }
    PageReader pages;
    while (const char* entry = next_entry(listing)) {
        const auto page = pages.read(listing, entry, "info");
        if (!page) {
            // The walk ends here although the message speaks of skipping: clients rely on the retry.
            support::say_line("Fail to read allocation info. skip...");
            return false;
        }
        records.push_back(parse_info_page(*page, tree.va_driver));
    }
    return true;
}

bool take_snapshot(const DebugTree& tree, Records& records) {
    constexpr int kTries = 10;
    constexpr useconds_t kPause = 5000;
    for (int tries = 0; tries < kTries; ++tries) {
        if (walk_allocations(tree, records)) {
            return true;
        }
        ::usleep(kPause);
    }
    return false;
}

} // namespace kt3::allocation
