// SPDX-License-Identifier: MIT
// The preference file: whatever it holds, reading it touches no byte outside, and what was read can be written and read
// again.

#include "config/entry_text.hpp"
#include "config/ini_reading.hpp"

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Entry = _UTIL_GPU_PREFERENCE_NODE;
    const std::vector<Entry> read = kt3::config::parse_ini({reinterpret_cast<const char*>(data), size});
    // No name that was read can hold what would end its header early, so every section is found again.
    if (kt3::config::parse_ini(kt3::config::ini_text(read)).size() != read.size()) {
        std::abort();
    }
    return 0;
}
