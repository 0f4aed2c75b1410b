/* SPDX-License-Identifier: MIT */
/* What a test tells its kernel-interface module to answer, and what the module saw. */
#ifndef KT3_TEST_MODULE_H
#define KT3_TEST_MODULE_H

#include <stdint.h>

struct module_script {
    /* set by the test */
    uint32_t object_size;  /* answer of the size query */
    int32_t init_answer;   /* answer of the bandwidth preparation; 0 is success */
    uint32_t answer[1000]; /* words written by the busy and bandwidth entries, the first `answer_words` of them */
    uint32_t answer_words;
    uint64_t sample[500]; /* 64-bit words written by the frame counter, the first `sample_words` of them */
    uint32_t sample_words;

    /* set by the module */
    const char* called[16]; /* entries called, in order */
    uint32_t calls;
    int32_t descriptor; /* arguments of the last call */
    void* device_object;
    uint32_t first_word; /* of the buffer, before it was filled */
    uint32_t zero_words; /* of the buffer behind the first word, before it was filled; up to 999 */
};

#endif
