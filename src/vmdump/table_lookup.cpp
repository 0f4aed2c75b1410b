// SPDX-License-Identifier: MIT
#include "vmdump/table_lookup.hpp"

#include "support/bounded_copy.hpp"

#include <iostream>
#include <locale>
#include <sstream>
#include <string>

namespace kt3::vmdump {

using support::bounded_text;

namespace {

// One line on standard output, whatever flags, width and precision the client left there; they stay as they are.
template<typename... Parts>
void print_line(const Parts&... parts) {
    std::ostringstream line;
    line.imbue(std::locale::classic());
    (line << ... << parts) << '\n';
    const std::string_view text = line.view();
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
}

} // namespace

const vidmm_vm_pte_elt3k* entry_of_run(const vidmm_vm_pte_elt3k* run, std::int32_t index) {
    while (run != nullptr && run->Index != index) {
        run = run->next;
    }
    return run;
}

const vidmm_vm_pte_elt3k* below_level0(const data_vectors& record, std::int32_t index) {
    return record.pt_level0.empty() ? nullptr : entry_of_run(record.pt_level0.back().sub_entries, index);
}

const vidmm_vm_pte_elt3k* below_table_at(const std::vector<vidmm_vm_pt>& tables, std::string_view address,
                                         std::int32_t index) {
    if (address.empty()) {
        return nullptr;
    }
    // Sub-table entries hold frame numbers after "0x", page-table entries byte addresses without it.
    const std::string key = (std::string(address) + "000").substr(2);
    for (const vidmm_vm_pt& table : tables) {
        if (bounded_text(table.Addr) == key) {
            return entry_of_run(table.sub_entries, index);
        }
    }
    return nullptr;
}

std::string_view address_text(const vidmm_vm_pte_elt3k* entry) {
    return entry == nullptr ? std::string_view() : bounded_text(entry->Addr);
}

void print_page_table(const vidmm_vm_pt& entry) {
    print_line("PT_Level:", entry.PT_Level, "  PT_index:", entry.PT_index, "  PT_entry:", &entry,
               "  PT_sub_entries:", entry.sub_entries, "  parent:", entry.parent, "  entries:", entry.entries,
               "  pre:", entry.pre, "  next:", entry.next, "  Addr:", bounded_text(entry.Addr),
               "  Buffer:", bounded_text(entry.Buffer));
}

void print_sub_table(const vidmm_vm_pte_elt3k& entry) {
    print_line("ST_LeveL:", entry.ST_Level, "  Index:", entry.Index, "  sub_entry:", &entry, "  parent:", entry.parent,
               "  pre:", entry.pre, "  next:", entry.next, "  Addr:", bounded_text(entry.Addr));
}

} // namespace kt3::vmdump
