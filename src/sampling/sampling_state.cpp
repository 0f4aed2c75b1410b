// SPDX-License-Identifier: MIT
#include "sampling/sampling_state.hpp"

namespace kt3::sampling {
namespace {

constinit SamplingState state;

static_assert(sizeof(EntryPoints) == 8 * sizeof(EntryPoint<DeviceCall>), "every entry point is visited below");

template<typename Visit>
void visit_entry_points(Visit visit) {
    EntryPoints& entries = state.entries;
    visit(entries.usage);
    visit(entries.usage_plain);
    visit(entries.usage_extended);
    visit(entries.flip_count);
    visit(entries.bandwidth_init);
    visit(entries.bandwidth_deinit);
    visit(entries.bandwidth);
    visit(entries.bandwidth_extended);
}

template<typename Call>
void find_again(EntryPoint<Call>& entry) {
    if (entry.name != nullptr && !entry) {
        entry.call = find_entry<Call>(entry.name).call;
    }
}

} // namespace

SamplingState& sampling_state() {
    return state;
}

void suspend_entry_points() {
    visit_entry_points([](auto& entry) { entry.call = nullptr; });
}

void resume_entry_points() {
    visit_entry_points([](auto& entry) { find_again(entry); });
}

} // namespace kt3::sampling
