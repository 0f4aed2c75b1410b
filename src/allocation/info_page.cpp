// SPDX-License-Identifier: MIT
#include "allocation/info_page.hpp"

#include "allocation/text_lines.hpp"
#include "support/checked_numbers.hpp"
#include "support/digit_words.hpp"

#include <array>
#include <cstdint>
#include <cstring>

namespace kt3::allocation {
namespace {

enum class Scan : std::uint8_t {
    decimal, // what digits there are
    hex,     // checked
    device,  // checked, decimal or hexadecimal as the driver writes device handles
};

struct Field {
    std::string_view key;
    Scan scan;
    std::int32_t _GFX_ALLOCATION_INFO::*member;
};

// clang-format off
constexpr Field kFields[] = {
    {"handle",          Scan::hex,     &_GFX_ALLOCATION_INFO::handle},
    {"device",          Scan::device,  &_GFX_ALLOCATION_INFO::device},
    {"width",           Scan::decimal, &_GFX_ALLOCATION_INFO::width},
    {"height",          Scan::decimal, &_GFX_ALLOCATION_INFO::height},
    {"pitch",           Scan::decimal, &_GFX_ALLOCATION_INFO::pitch},
    {"bit_cnt",         Scan::decimal, &_GFX_ALLOCATION_INFO::bit_cnt},
    {"secured",         Scan::decimal, &_GFX_ALLOCATION_INFO::secured},
    {"size",            Scan::decimal, &_GFX_ALLOCATION_INFO::size},
    {"tile",            Scan::decimal, &_GFX_ALLOCATION_INFO::tile},
    {"cpu_visible",     Scan::decimal, &_GFX_ALLOCATION_INFO::cpu_visible},
    {"cache_type",      Scan::decimal, &_GFX_ALLOCATION_INFO::cache_type},
    {"pool_type",       Scan::decimal, &_GFX_ALLOCATION_INFO::pool_type},
    {"at_type",         Scan::decimal, &_GFX_ALLOCATION_INFO::at_type},
    {"segmentid",       Scan::decimal, &_GFX_ALLOCATION_INFO::segmentid},
    {"hw_format",       Scan::decimal, &_GFX_ALLOCATION_INFO::hw_format},
    {"compress_format", Scan::decimal, &_GFX_ALLOCATION_INFO::compress_format},
    {"bl_slot_index",   Scan::decimal, &_GFX_ALLOCATION_INFO::bl_slot_index},
    {"gpu_virt_addr",   Scan::decimal, &_GFX_ALLOCATION_INFO::gpu_virt_addr},
    {"imported",        Scan::decimal, &_GFX_ALLOCATION_INFO::imported},
    {"fb_offset",       Scan::decimal, &_GFX_ALLOCATION_INFO::fb_offset},
    {"share",           Scan::decimal, &_GFX_ALLOCATION_INFO::share},
};
// clang-format on

// The first and the third letter tell all keys apart, so a key is compared with one row only.
constexpr std::size_t kShortestKey = 4;
constexpr std::size_t kLongestKey = 15;
constexpr std::size_t kBuckets = 64;

constexpr std::size_t bucket_of(std::string_view key) {
    return (static_cast<unsigned char>(key[0]) + 2u * static_cast<unsigned char>(key[2])) % kBuckets;
}

constexpr auto kFieldOfBucket = [] {
    std::array<const Field*, kBuckets> table = {};
    for (const Field& field : kFields) {
        table[bucket_of(field.key)] = &field;
    }
    return table;
}();

constexpr bool every_field_has_its_bucket() {
    for (const Field& field : kFields) {
        if (field.key.size() < kShortestKey || field.key.size() > kLongestKey ||
            kFieldOfBucket[bucket_of(field.key)] != &field) {
            return false;
        }
    }
    return true;
}
static_assert(every_field_has_its_bucket());

// Both texts have `size` letters, 4 to 15: two words that overlap cover them.
template<typename Word>
bool same_ends(const char* a, const char* b, std::size_t size) {
    Word words[4];
    std::memcpy(&words[0], a, sizeof(Word));
    std::memcpy(&words[1], b, sizeof(Word));
    std::memcpy(&words[2], a + size - sizeof(Word), sizeof(Word));
    std::memcpy(&words[3], b + size - sizeof(Word), sizeof(Word));
    return ((words[0] ^ words[1]) | (words[2] ^ words[3])) == 0;
}

bool same_key(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    return a.size() < sizeof(std::uint64_t) ? same_ends<std::uint32_t>(a.data(), b.data(), a.size())
                                            : same_ends<std::uint64_t>(a.data(), b.data(), a.size());
}

const Field* find_field(std::string_view key) {
    if (key.size() < kShortestKey) {
        return nullptr;
    }
    const Field* field = kFieldOfBucket[bucket_of(key)];
    return field != nullptr && same_key(field->key, key) ? field : nullptr;
}

// The general conversions take over where the text is more than a few digits: white space, signs, trailing text,
// numbers that may not fit, and what those throw.
std::int32_t decimal_value(std::string_view text) {
    const auto value = support::short_decimal(text);
    return value ? *value : support::leading_int(text);
}

std::int32_t checked_hex(std::string_view text) {
    const auto value = support::short_hex(text);
    return value && *value <= INT32_MAX ? static_cast<std::int32_t>(*value) : support::checked_int(text, 16);
}

std::int32_t checked_decimal(std::string_view text) {
    const auto value = support::short_decimal(text);
    return value ? *value : support::checked_int(text, 10);
}

std::int32_t field_value(Scan scan, std::string_view text, bool va_driver) {
    if (scan == Scan::decimal) {
        return decimal_value(text);
    }
    return scan == Scan::device && va_driver ? checked_decimal(text) : checked_hex(text);
}

} // namespace

// handle=1f40
// device=12
// width=1920
_GFX_ALLOCATION_INFO parse_info_page(std::string_view page, bool va_driver) {
    _GFX_ALLOCATION_INFO record = {};
    for_each_pair(page, [&](std::string_view key, std::string_view rest_of_line) {
        if (const Field* field = find_field(key)) {
            record.*field->member = field_value(field->scan, value_text(rest_of_line), va_driver);
        }
    });
    record.seen_count = 1;
    record.sum_count = 1;
    return record;
}

} // namespace kt3::allocation
