/* SPDX-License-Identifier: MIT */
/* A kernel-interface module that answers what the test tells it. Each entry point exists only where the build asks for
   it, so that every combination a real module may offer can be built. */

#include "test_module.h"

struct module_script module_script = {.object_size = 64, .answer_words = 16, .sample_words = 3};

static void note(const char* entry, int32_t descriptor, void* device_object) {
    if (module_script.calls < 16) {
        module_script.called[module_script.calls] = entry;
    }
    ++module_script.calls;
    module_script.descriptor = descriptor;
    module_script.device_object = device_object;
}

__attribute__((unused)) static void look_at(const uint32_t* words) {
    module_script.first_word = words[0];
    module_script.zero_words = 0;
    while (module_script.zero_words < 999 && words[1 + module_script.zero_words] == 0) {
        ++module_script.zero_words;
    }
}

__attribute__((unused)) static int32_t fill(uint32_t* words) {
    for (uint32_t i = 0; i < module_script.answer_words; ++i) {
        words[i] = module_script.answer[i];
    }
    return 0;
}

#define SIZE_QUERY(name)                                                                                               \
    uint32_t name(int32_t descriptor) {                                                                                \
        note(#name, descriptor, 0);                                                                                    \
        return module_script.object_size;                                                                              \
    }
#define SETUP(name)                                                                                                    \
    int32_t name(int32_t descriptor, void* device_object) {                                                            \
        note(#name, descriptor, device_object);                                                                        \
        return module_script.init_answer;                                                                              \
    }
#define FILL(name)                                                                                                     \
    int32_t name(int32_t descriptor, void* device_object, uint32_t* words) {                                           \
        note(#name, descriptor, device_object);                                                                        \
        return fill(words);                                                                                            \
    }
#define LOOK_AND_FILL(name)                                                                                            \
    int32_t name(int32_t descriptor, void* device_object, uint32_t* words) {                                           \
        note(#name, descriptor, device_object);                                                                        \
        look_at(words);                                                                                                \
        return fill(words);                                                                                            \
    }

#ifdef WITH_gfx_get_struct_size
SIZE_QUERY(gfx_get_struct_size)
#endif
#ifdef WITH_qn_get_struct_size
SIZE_QUERY(qn_get_struct_size)
#endif
#ifdef WITH_gfx_get_usage_info
LOOK_AND_FILL(gfx_get_usage_info)
#endif
#ifdef WITH_gfx_get_usage_info_ext
LOOK_AND_FILL(gfx_get_usage_info_ext)
#endif
#ifdef WITH_qnGetHwqInfo
int32_t qnGetHwqInfo(int32_t descriptor, uint32_t* words) {
    note("qnGetHwqInfo", descriptor, 0);
    look_at(words);
    return fill(words);
}
#endif
#ifdef WITH_gfx_flip_count
int32_t gfx_flip_count(int32_t descriptor, void* device_object, uint64_t* sample) {
    note("gfx_flip_count", descriptor, device_object);
    for (uint32_t i = 0; i < module_script.sample_words; ++i) {
        sample[i] = module_script.sample[i];
    }
    return 0;
}
#endif
#ifdef WITH_gfx_init_hwinfo
SETUP(gfx_init_hwinfo)
#endif
#ifdef WITH_gfx_deinit_hwinfo
SETUP(gfx_deinit_hwinfo)
#endif
#ifdef WITH_qn_init_hwinfo
SETUP(qn_init_hwinfo)
#endif
#ifdef WITH_qn_deinit_hwinfo
SETUP(qn_deinit_hwinfo)
#endif
#ifdef WITH_gfx_get_hwinfo
LOOK_AND_FILL(gfx_get_hwinfo)
#endif
#ifdef WITH_qn_get_hwinfo
LOOK_AND_FILL(qn_get_hwinfo)
#endif
#ifdef WITH_gfx_get_hwinfo_ext
FILL(gfx_get_hwinfo_ext)
#endif
