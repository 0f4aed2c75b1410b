#include "allocation/debug_tree.hpp"

#include "support/file_reading.hpp"
#include "support/say_line.hpp"

#include <cstdio>
#include <cstring>

namespace kt3::allocation {
namespace {

constexpr std::size_t kLongestPath = 1024;

bool is_dot_entry(const char* name) {
    return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

// "entry/leaf", relative to the listing. Directory entries have at most 255 characters, so both always fit.
void join(char (&path)[kLongestPath], const char* entry, const char* leaf) {
    char* end = ::stpcpy(path, entry);
    *end++ = '/';
    ::stpcpy(end, leaf);
}

} // namespace

support::Dir open_listing(const DebugTree& tree, const char* name) {
    char path[kLongestPath];
    std::snprintf(path, sizeof path, "%s/%s", tree.directory, name);
    support::Dir listing(::opendir(path));
    if (!listing) {
        support::say_line("Error opening directory");
    }
    return listing;
}

const char* next_entry(const support::Dir& listing) {
    while (const dirent* entry = ::readdir(listing.get())) {
        if (!is_dot_entry(entry->d_name)) {
            return entry->d_name;
        }
    }
    return nullptr;
}

std::optional<std::string_view> PageReader::read(const support::Dir& listing, const char* entry, const char* leaf) {
    char path[kLongestPath];
    join(path, entry, leaf);
    const support::Fd file = support::open_for_reading(::dirfd(listing.get()), path);
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
