// SPDX-License-Identifier: MIT
#pragma once
// Whole files, read one after the other into memory that is kept from one to the next and grows for longer ones.

#include "support/owned.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>

namespace kt3::support {

class PageBuffer {
public:
    // The text of the file, until the next call. Nothing when the file is not open or a read fails.
    std::optional<std::string_view> read(const Fd& file);

private:
    void grow();

    static constexpr std::size_t kUsualPage = 4096;
    std::size_t capacity_ = kUsualPage;
    std::unique_ptr<char[]> bytes_ = std::make_unique_for_overwrite<char[]>(kUsualPage);
};

} // namespace kt3::support
