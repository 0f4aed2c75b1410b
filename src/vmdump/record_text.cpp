#include "vmdump/record_text.hpp"

#include <cstdio>
#include <cstdlib>

namespace kt3::vmdump {

void end_over_long_field(const char* field_name, std::size_t length) {
    std::fprintf(stderr, "kt3: %s of %zu characters does not fit its field of 47\n", field_name, length);
    std::abort();
}

} // namespace kt3::vmdump
