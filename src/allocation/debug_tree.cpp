#include "allocation/debug_tree.hpp"

#include "support/file_reading.hpp"
#include "support/say_line.hpp"

#include <cstdio>
#include <cstring>

namespace kt3::allocation {
namespace {

constexpr std::size_t kLongestPath = 1024;

// "entry/leaf", relative to the listing. Directory entries have at most 255 characters, so both always fit.
void join(char (&path)[kLongestPath], const char* entry, const char* leaf) {
    char* end = ::stpcpy(path, entry);
    *end++ = '/';
    ::stpcpy(end, leaf);
}

} // namespace

support::Listing list_directory(const DebugTree& tree, const char* name) {
    char path[kLongestPath];
    std::snprintf(path, sizeof path, "%s/%s", tree.directory, name);
    return support::Listing(path);
}

bool is_listed_whole(const support::Listing& listing) {
    if (listing.failed()) {
        support::say_line("Error opening directory");
    }
    return !listing.failed();
}

std::optional<std::string_view> PageReader::read(const support::Listing& listing, const char* entry, const char* leaf) {
    char path[kLongestPath];
    join(path, entry, leaf);
    const support::Fd file = support::open_for_reading(listing.descriptor(), path);
    if (!file) {
        return std::nullopt;
    }
    std::size_t length = support::read_page(file.get(), bytes_.get(), capacity_);
    while (length == capacity_) {
        grow();
        length += support::read_page(file.get(), bytes_.get() + length, capacity_ - length);
    }
    return std::string_view(bytes_.get(), length);
}

void PageReader::grow() {
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_ * 2);
    std::memcpy(larger.get(), bytes_.get(), capacity_);
    bytes_ = std::move(larger);
    capacity_ *= 2;
}

} // namespace kt3::allocation
