// SPDX-License-Identifier: MIT
// The pages of the allocation tree: one allocation, and one device.

#include "allocation/device_page.hpp"
#include "allocation/info_page.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

// The rules line by line, with a string for every text.
std::int32_t plain_width(const std::string& page) {
    std::int32_t width = 0;
    for (std::size_t start = 0; start < page.size();) {
        const std::size_t newline = page.find('\n', start);
        std::string line = page.substr(start, newline == page.npos ? newline : newline + 1 - start);
        start += line.size();
        line = line.c_str();
        const std::size_t equals = line.find('=');
        if (equals == line.npos || line.substr(0, equals) != "width") {
            continue;
        }
        std::string value = line.substr(equals + 1, 127);
        if (!value.empty()) {
            value.pop_back();
        }
        width = static_cast<std::int32_t>(std::strtol(value.c_str(), nullptr, 10));
    }
    return width;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string page(reinterpret_cast<const char*>(bytes), size);
    for (const bool va_driver : {false, true}) {
        try {
            const auto record = kt3::allocation::parse_info_page(page, va_driver);
            if (record.width != plain_width(page)) {
                std::abort();
            }
        } catch (const std::invalid_argument&) {
        } catch (const std::out_of_range&) {
        }
    }
    try {
        kt3::allocation::parse_device_page(
            page, [](std::int32_t) {}, [](std::int32_t) {});
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    }
    return 0;
}
