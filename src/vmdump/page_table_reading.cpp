// SPDX-License-Identifier: MIT
#include "vmdump/page_table_reading.hpp"

#include "vmdump/dump_lines.hpp"
#include "vmdump/dump_reading.hpp"
#include "vmdump/line_fields.hpp"

namespace kt3::vmdump {
namespace {

template<typename Entry>
void link_to_previous(std::vector<Entry>& entries) {
    if (entries.size() > 1) {
        Entry& entry = entries.back();
        Entry& previous = *(&entry - 1);
        entry.pre = &previous;
        previous.next = &entry;
    }
}

vidmm_vm_pt& append_page_table(data_vectors& record, const vidmm_vm_pt& made) {
    return append_entry(record, page_tables(record, made.PT_Level)) = made;
}

// A first child knows its parent and the parent its first child; siblings know each other only.
void add_child(data_vectors& record, const vidmm_vm_pt& made) {
    vidmm_vm_pt& entry = append_page_table(record, made);
    std::vector<vidmm_vm_pt>& parents = page_tables(record, made.PT_Level - 1);
    if (!parents.empty()) {
        entry.parent = &parents.back();
        parents.back().entries = &entry;
    }
}

void add_sibling(data_vectors& record, const vidmm_vm_pt& made) {
    append_page_table(record, made);
    link_to_previous(page_tables(record, made.PT_Level));
}

// A level 2 line right after a level 0 line, and a line below level 0 before any other, has no parent. It
// is dropped and still counts for what follows.
void add_page_table(data_vectors& record, ReadingState& state, const vidmm_vm_pt& made) {
    state.in_sub_table = false;
    switch (made.PT_Level) {
    case 0:
        append_page_table(record, made);
        break;
    case 1:
        if (state.in_level0 != 0) {
            add_child(record, made);
        } else if (state.in_level1 != 0 || state.in_level2 != 0) {
            add_sibling(record, made);
        }
        break;
    case 2:
        if (state.in_level1 != 0) {
            add_child(record, made);
        } else if (state.in_level2 != 0) {
            add_sibling(record, made);
        }
        break;
    default:
        return;
    }
    set_level_flags(state.in_level0, state.in_level1, state.in_level2, made.PT_Level);
}

// Addresses have about ten characters; two overlapping words are cheaper than a call.
void copy_short(char (&field)[kFieldSize], std::string_view text) {
    if (text.size() >= 8 && text.size() <= 16) {
        std::memcpy(field, text.data(), 8);
        std::memcpy(field + text.size() - 8, text.data() + text.size() - 8, 8);
    } else {
        text.copy(field, text.size());
    }
}

void add_sub_table(data_vectors& record, ReadingState& state, const SubTableLine& line) {
    if (line.address.size() >= kFieldSize) {
        end_over_long_field("Addr", line.address.size());
    }
    const bool heads_run = !state.in_sub_table;
    state.in_sub_table = true;
    if (!is_level(line.level)) {
        return;
    }
    std::vector<vidmm_vm_pte_elt3k>& entries = sub_tables(record, line.level);
    vidmm_vm_pte_elt3k& entry = append_entry(record, entries);
    entry.Snoop = static_cast<std::uint16_t>(line.snoop);
    entry.Segment = static_cast<std::uint16_t>(line.segment);
    copy_short(entry.Addr, line.address);
    entry.LargePage = static_cast<std::uint16_t>(line.large_page);
    entry.ST_Level = line.level;
    entry.Index = line.index;
    if (!heads_run) {
        link_to_previous(entries);
        if (state.stamps && entry.pre != nullptr) {
            entry.DigitalIndex = entry.pre->DigitalIndex;
        }
    } else if (std::vector<vidmm_vm_pt>& owners = page_tables(record, line.level); !owners.empty()) {
        entry.parent = &owners.back();
        owners.back().sub_entries = &entry;
        if (state.stamps) {
            entry.DigitalIndex = {entry.parent->PT_Level, entry.parent->PT_index};
        }
    }
}

vidmm_vm_pt make_page_table(std::int32_t level, std::int32_t index, std::string_view address, std::string_view buffer) {
    vidmm_vm_pt made = {};
    copy_field(made.Buffer, buffer, "Buffer");
    copy_field(made.Addr, address, "Addr");
    made.PT_Level = level;
    made.PT_index = index;
    return made;
}

// The exact rules, for lines of any shape. The numbers are converted in the order in which a line is judged, which
// decides between two errors on one line.
void read_any_line(std::string_view line, ReadingState& state, data_vectors& record) {
    if (contains(line, "entry")) {
        const std::int32_t level = level_of_line(line);
        const std::int32_t index = index_of_line(line);
        add_page_table(record, state,
                       make_page_table(level, index, address_of_line(line, "addr:"), buffer_of_line(line, "buffer:")));
    } else if (contains(line, "Snoop")) {
        SubTableLine fields = {};
        fields.level = level_of_line(line);
        fields.index = index_of_line(line);
        fields.snoop = sub_table_value(line, "Snoop:");
        fields.segment = sub_table_value(line, "Segment:");
        fields.large_page = sub_table_value(line, "LargePage:");
        fields.address = address_of_line(line, "Addr:");
        add_sub_table(record, state, fields);
    }
}

// Reads one line of a usual shape from the front of the text; gives its length, or 0 when the line is not usual.
std::size_t read_usual_line(std::string_view text, ReadingState& state, data_vectors& record) {
    SubTableLine sub_table;
    if (const char* end = match_sub_table_line(text.data(), sub_table); end != nullptr) {
        add_sub_table(record, state, sub_table);
        return static_cast<std::size_t>(end - text.data());
    }
    PageTableLine page_table;
    if (match_page_table_line(text.data(), page_table) == nullptr) {
        return 0;
    }
    const std::string_view line = first_line(text);
    const std::string_view rest = line.substr(static_cast<std::size_t>(page_table.rest - text.data()));
    const std::string_view buffer = trim_end(rest);
    if (rest.empty() || rest.back() != '\n' || contains(rest, "Snoop") || rest.find('\0') != rest.npos) {
        return 0;
    }
    add_page_table(record, state, make_page_table(page_table.level, page_table.index, page_table.address, buffer));
    return line.size();
}

} // namespace

std::size_t read_lines(std::string_view text, bool last, ReadingState& state, data_vectors& record) {
    std::string_view left = text;
    while (has_line(left, last)) {
        std::size_t length = left.size() < kMatchReach ? 0 : read_usual_line(left, state, record);
        if (length == 0) {
            const std::string_view line = first_line(left);
            length = line.size();
            read_any_line(visible(line), state, record);
        }
        left.remove_prefix(length);
    }
    return text.size() - left.size();
}

namespace {

bool read_file(const char* path, const DumpBlock& block, ReadingState state, data_vectors& record) {
    return read_in_blocks(path, block.bytes(),
                          [&](std::string_view text, bool last) { return read_lines(text, last, state, record); });
}

} // namespace

bool read_page_tables(const char* path, const DumpBlock& block, data_vectors& record) {
    return read_file(path, block, {}, record);
}

bool read_stamped_page_tables(const char* path, const DumpBlock& block, data_vectors& record) {
    ReadingState state;
    state.stamps = true;
    return read_file(path, block, state, record);
}

} // namespace kt3::vmdump
