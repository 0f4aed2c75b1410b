// SPDX-License-Identifier: MIT
#include "vmdump/digital_index.hpp"

#include "vmdump/client_record.hpp"

namespace kt3::vmdump {
namespace {

// Stamps the run of `head` and returns the end of its part that lies in one piece before `limit`. Runs read from
// a dump always do, so a whole sequence is stamped in one pass.
vidmm_vm_pte_elt3k* stamp_from(vidmm_vm_pte_elt3k& head, const vidmm_vm_pte_elt3k* limit) {
    vidmm_vm_pte_elt3k* after = &head + 1;
    if (head.pre != nullptr || head.parent == nullptr) {
        return after;
    }
    const kt3_digital_index owner = {head.parent->PT_Level, head.parent->PT_index};
    for (vidmm_vm_pte_elt3k* entry = &head; entry != nullptr; entry = entry->next) {
        entry->DigitalIndex = owner;
        if (entry == after && after != limit && entry->pre != nullptr) {
            ++after;
        }
    }
    return after;
}

void stamp_sequence(std::vector<vidmm_vm_pte_elt3k>& entries) {
    vidmm_vm_pte_elt3k* const limit = entries.data() + entries.size();
    for (vidmm_vm_pte_elt3k* entry = entries.data(); entry != limit;) {
        entry = stamp_from(*entry, limit);
    }
}

} // namespace

void stamp_run(vidmm_vm_pte_elt3k& entry) {
    stamp_from(entry, &entry + 1);
}

void stamp_record(data_vectors& record) {
    for (std::int32_t level = 0; level < 3; ++level) {
        stamp_sequence(sub_tables(record, level));
    }
}

} // namespace kt3::vmdump
