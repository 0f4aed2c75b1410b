#include "allocation/allocation_state.hpp"

#include "interface/lifetime.hpp"

namespace kt3::allocation {
namespace {

constinit AllocationState state;
constinit interface::ContainerWatch state_watch;

} // namespace

AllocationState& allocation_state() {
    return state;
}

} // namespace kt3::allocation
