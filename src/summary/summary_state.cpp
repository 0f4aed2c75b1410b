#include "summary/summary_state.hpp"

namespace kt3::summary {
namespace {

constinit SummaryState state;

} // namespace

SummaryState& summary_state() {
    return state;
}

} // namespace kt3::summary
