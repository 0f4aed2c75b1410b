/* SPDX-License-Identifier: MIT */
/* A kernel-interface module for the tests. Which size queries it offers is chosen when it is compiled. */
#include <stdint.h>
#include <stdlib.h>

const char* const kt3_test_module_name = KT3_TEST_MODULE_NAME;
int32_t kt3_test_module_descriptor = -1; /* as given to the last size query */
int32_t kt3_test_module_queries = 0;

static uint32_t answer(int32_t descriptor) {
    const char* size = getenv("KT3_TEST_OBJECT_SIZE");
    kt3_test_module_descriptor = descriptor;
    ++kt3_test_module_queries;
    return size == NULL ? 64 : (uint32_t)strtoul(size, NULL, 0);
}

#ifdef KT3_TEST_GFX
uint32_t gfx_get_struct_size(int32_t descriptor);
uint32_t gfx_get_struct_size(int32_t descriptor) {
    return answer(descriptor);
}
#endif

#ifdef KT3_TEST_QN
uint32_t qn_get_struct_size(int32_t descriptor);
uint32_t qn_get_struct_size(int32_t descriptor) {
    return answer(descriptor) * 2;
}
#endif

#if !defined(KT3_TEST_GFX) && !defined(KT3_TEST_QN)
uint32_t kt3_test_unasked(int32_t descriptor);
uint32_t kt3_test_unasked(int32_t descriptor) {
    return answer(descriptor);
}
#endif
