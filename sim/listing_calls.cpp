// SPDX-License-Identifier: MIT
// Directory listings, interposed. File systems list in the order that suits them (hashed, or newest first), while a
// kernel lists its devices in the order in which they appeared; adapter slots follow that order. Listings of the
// simulated machine therefore come in natural order: card2 before card10.

#include "changing_folder.hpp"
#include "drm_nodes.hpp"
#include "real_calls.hpp"
#include "redirect.hpp"
#include "shim_checks.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

using kt3::sim::kPathSize;
using kt3::sim::next;
using kt3::sim::RedirectedPath;

static_assert(sizeof(dirent) == sizeof(dirent64), "one entry record serves both widths");

struct Listing {
    std::string folder;                // simulated path
    bool loaded = false;               // whether the members below hold the folder's entries
    std::vector<char> records;         // the entries as the C library delivered them, one after the other
    std::vector<std::size_t> in_order; // their offsets, sorted by name
    std::size_t next = 0;              // the entry to be handed out next
};

struct OpenListings {
    std::mutex lock;
    std::map<DIR*, Listing> by_handle;
};

// Never destroyed: other libraries close directories while the process ends.
OpenListings& open_listings() {
    static auto& listings = *new OpenListings;
    return listings;
}

dirent* real_readdir(DIR* handle) {
    static const auto real = next<dirent*(DIR*)>("readdir");
    return real(handle);
}

void load(DIR* handle, Listing& listing) {
    const kt3::sim::FolderStep step(kt3::sim::machine_root(), listing.folder);
    listing.loaded = true;
    listing.next = 0;
    listing.records.clear();
    listing.in_order.clear();
    while (const dirent* entry = real_readdir(handle)) {
        const auto* bytes = reinterpret_cast<const char*>(entry);
        const std::size_t at = listing.records.size();
        listing.in_order.push_back(at);
        listing.records.insert(listing.records.end(), bytes, bytes + entry->d_reclen);
        if (kt3::sim::drm_minor((listing.folder + '/' + entry->d_name).c_str())) {
            reinterpret_cast<dirent*>(&listing.records[at])->d_type = DT_CHR;
        }
    }
    const auto name = [&listing](std::size_t at) {
        return reinterpret_cast<const dirent*>(&listing.records[at])->d_name;
    };
    std::sort(listing.in_order.begin(), listing.in_order.end(),
              [&name](std::size_t a, std::size_t b) { return ::strverscmp(name(a), name(b)) < 0; });
}

dirent* next_entry(DIR* handle) {
    OpenListings& listings = open_listings();
    const std::lock_guard guard(listings.lock);
    const auto found = listings.by_handle.find(handle);
    if (found == listings.by_handle.end()) {
        return real_readdir(handle);
    }
    Listing& listing = found->second;
    if (!listing.loaded) {
        const int before = errno;
        load(handle, listing);
        errno = before;
    }
    return listing.next == listing.in_order.size()
               ? nullptr
               : reinterpret_cast<dirent*>(&listing.records[listing.in_order[listing.next++]]);
}

DIR* remember(DIR* handle, const char* folder) {
    if (handle != nullptr && folder != nullptr) {
        OpenListings& listings = open_listings();
        const std::lock_guard guard(listings.lock);
        listings.by_handle[handle].folder = folder;
    }
    return handle;
}

void forget(DIR* handle) {
    OpenListings& listings = open_listings();
    const std::lock_guard guard(listings.lock);
    listings.by_handle.erase(handle);
}

} // namespace

extern "C" {

DIR* opendir(const char* path) {
    static const auto real = next<DIR*(const char*)>("opendir");
    const RedirectedPath target(path);
    if (kt3::sim::refused(AT_FDCWD, path, target, kt3::sim::Touch::content)) {
        return nullptr;
    }
    return remember(real(target.c_str()), target.redirected() ? path : nullptr);
}

DIR* fdopendir(int descriptor) {
    static const auto real = next<DIR*(int)>("fdopendir");
    char buffer[kPathSize];
    return remember(real(descriptor), kt3::sim::simulated_name_at(descriptor, "", buffer));
}

dirent* readdir(DIR* handle) {
    return next_entry(handle);
}

dirent64* readdir64(DIR* handle) {
    return reinterpret_cast<dirent64*>(next_entry(handle));
}

void rewinddir(DIR* handle) noexcept {
    static const auto real = next<void(DIR*)>("rewinddir");
    real(handle);
    OpenListings& listings = open_listings();
    const std::lock_guard guard(listings.lock);
    if (const auto found = listings.by_handle.find(handle); found != listings.by_handle.end()) {
        found->second.loaded = false;
    }
}

int closedir(DIR* handle) {
    static const auto real = next<int(DIR*)>("closedir");
    forget(handle);
    return real(handle);
}

} // extern "C"
