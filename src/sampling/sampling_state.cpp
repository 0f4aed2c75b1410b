#include "sampling/sampling_state.hpp"

namespace kt3::sampling {
namespace {

constinit SamplingState state;

} // namespace

SamplingState& sampling_state() {
    return state;
}

void forget_entry_points() {
    state.entries = {};
}

} // namespace kt3::sampling
