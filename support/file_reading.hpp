// SPDX-License-Identifier: MIT
#pragma once
// Reading kernel text: whole pages into the caller's buffer, through the C library's own calls so that
// path shims and tracers of clients see every access.

#include "support/owned.hpp"

#include <cstddef>
#include <fcntl.h>
#include <sys/types.h>

namespace kt3::support {

// Opens `name` read-only below `directory` (any descriptor when the name is absolute). Empty on failure.
Fd open_for_reading(int directory, const char* name);

// What one read gives, repeated only when a signal of the client interrupts it: bytes, 0 at the end, -1 for an error.
ssize_t read_once(int file, char* buffer, std::size_t size);

// What a page held. After a read error, which is not the end of the file, `bytes` counts what came before it.
struct PageRead {
    std::size_t bytes = 0;
    bool failed = false; // by a read error; errno says which
};

// Fills `buffer` until it is full or the file ends. Interrupted reads are repeated. The rest of the buffer is left
// alone.
PageRead read_whole(int file, char* buffer, std::size_t size);

// As above, for readers that take a read error as the end of the page; returns the bytes read.
std::size_t read_page(int file, char* buffer, std::size_t size);

// Opens, reads as above, closes. 0 when the file cannot be opened.
std::size_t read_page_at(int directory, const char* name, char* buffer, std::size_t size);

// For sysfs nodes: like read_page_at, but as the kernel hands a node out in one piece, a read that ends in a newline is
// taken as the whole text, which saves the read that would only confirm the end.
std::size_t read_node_at(int directory, const char* name, char* buffer, std::size_t size);

} // namespace kt3::support
