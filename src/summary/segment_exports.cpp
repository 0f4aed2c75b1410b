// The segment readers under their exported names.

#include "adapter/binding_state.hpp"
#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "summary/segments.hpp"

using namespace kt3;

extern "C" {

KT3_EXPORT int32_t gpuinfo_get_segment_info(_GFX_SEGMENT_INFO* segments) {
    return segments != nullptr && summary::read_segment_node(*segments) ? 1 : -1;
}

KT3_EXPORT int32_t gpuinfo_get_kmd_segment_info(_GFX_SEGMENT_INFO* segments, int32_t) {
    return segments != nullptr && summary::read_heap_pages(adapter::debugfs_directory(), *segments) ? 1 : -1;
}

} // extern "C"
