#include "config/config_state.hpp"

namespace kt3::config {
namespace {

constinit ConfigState state;

} // namespace

ConfigState& config_state() {
    return state;
}

} // namespace kt3::config
