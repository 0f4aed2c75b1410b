// SPDX-License-Identifier: MIT
// Dump lines: whatever a strict matcher accepts reads the same through the general parsers, and those raise nothing but
// the standard number errors.

#include "vmdump/dump_lines.hpp"
#include "vmdump/dump_reading.hpp"
#include "vmdump/line_fields.hpp"

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

using namespace kt3::vmdump;

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void compare_with_matchers(std::string_view line) {
    const std::string padded = std::string(line) + std::string(kMatchReach, '\0');
    SubTableLine sub_table = {};
    if (const char* end = match_sub_table_line(padded.data(), sub_table); end != nullptr) {
        const std::string_view read(padded.data(), static_cast<std::size_t>(end - padded.data()));
        require(read.size() <= line.size());
        require(contains(read, "Snoop") && !contains(read, "entry"));
        require(sub_table.level == level_of_line(read) && sub_table.index == index_of_line(read));
        require(sub_table.snoop == sub_table_value(read, "Snoop:"));
        require(sub_table.segment == sub_table_value(read, "Segment:"));
        require(sub_table.large_page == sub_table_value(read, "LargePage:"));
        require(sub_table.address == address_of_line(read, "Addr:"));
    }
    PageTableLine page_table = {};
    if (match_page_table_line(padded.data(), page_table) != nullptr && !contains(line, "Snoop")) {
        require(contains(line, "entry"));
        require(page_table.level == level_of_line(line) && page_table.index == index_of_line(line));
        require(page_table.address == address_of_line(line, "addr:"));
    }
}

template<typename Call>
void allow_number_errors(Call call) {
    try {
        call();
    } catch (const std::invalid_argument& error) {
        require(std::string_view(error.what()) == "stoi");
    } catch (const std::out_of_range& error) {
        require(std::string_view(error.what()) == "stoi");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    while (has_line(text, true)) {
        const std::string_view piece = first_line(text);
        const std::string_view line = visible(piece);
        text.remove_prefix(piece.size());
        compare_with_matchers(piece);
        allow_number_errors([&] { (void)level_of_line(line); });
        allow_number_errors([&] { (void)index_of_line(line); });
        for (const char* key : {"Snoop:", "Segment:", "LargePage:"}) {
            allow_number_errors([&] { (void)sub_table_value(line, key); });
        }
        require(address_of_line(line, "addr:").size() <= line.size());
        require(buffer_of_line(line, "buffer:").size() <= line.size());
        require(pid_of_line(line).size() <= line.size());
    }
    return 0;
}
