#pragma once
// Walking the driver's debugfs directories, which hold one subdirectory per object.

#include "support/listing.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace kt3::allocation {

// Where the driver publishes one adapter, and which of its two layouts it uses there.
struct DebugTree {
    const char* directory; // the adapter's driver directory, "/sys/kernel/debug/dri/N/wy" or ".../qn"
    bool va_driver;        // the driver reports "VA=1"
};

// Lists the directory `name` of the tree.
support::Listing list_directory(const DebugTree& tree, const char* name);

// Whether the walk has seen every entry; says "Error opening directory" when the listing failed.
bool is_listed_whole(const support::Listing& listing);

// Reads files one after the other into memory that is kept from one to the next and grows for longer ones.
class PageReader {
public:
    // The whole file `entry`/`leaf` below the listing, until the next call. Nothing when it cannot be opened. A read
    // error ends the page.
    std::optional<std::string_view> read(const support::Listing& listing, const char* entry, const char* leaf);

private:
    void grow();

    static constexpr std::size_t kUsualPage = 4096;
    std::size_t capacity_ = kUsualPage;
    std::unique_ptr<char[]> bytes_ = std::make_unique_for_overwrite<char[]>(kUsualPage);
};

} // namespace kt3::allocation
