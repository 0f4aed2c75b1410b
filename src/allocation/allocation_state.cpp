#include "allocation/allocation_state.hpp"

namespace kt3::allocation {
namespace {

constinit AllocationState state;

} // namespace

AllocationState& allocation_state() {
    return state;
}

} // namespace kt3::allocation
