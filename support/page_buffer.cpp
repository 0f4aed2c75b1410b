// SPDX-License-Identifier: MIT
#include "support/page_buffer.hpp"

#include "support/file_reading.hpp"

#include <cstring>

namespace kt3::support {

std::optional<std::string_view> PageBuffer::read(const Fd& file) {
    if (!file) {
        return std::nullopt;
    }
    PageRead page = read_whole(file.get(), bytes_.get(), capacity_);
    std::size_t length = page.bytes;
    while (length == capacity_) {
        grow();
        page = read_whole(file.get(), bytes_.get() + length, capacity_ - length);
        length += page.bytes;
    }
    return page.failed ? std::nullopt : std::optional(std::string_view(bytes_.get(), length));
}

void PageBuffer::grow() {
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_ * 2);
    std::memcpy(larger.get(), bytes_.get(), capacity_);
    bytes_ = std::move(larger);
    capacity_ *= 2;
}

} // namespace kt3::support
