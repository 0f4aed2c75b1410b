// SPDX-License-Identifier: MIT
#pragma once
// How much stack a call takes: it runs on the painted stack of a thread of its own.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <pthread.h>

namespace kt3::tests {

namespace stack_use {

constexpr unsigned char kPaint = 0xA5;

// Unchecked, as the sanitizer's marks of frames that are gone lie on that memory.
__attribute__((no_sanitize("address"))) inline const unsigned char* first_touched(const unsigned char* at) {
    while (*at == kPaint) {
        ++at;
    }
    return at;
}

template<typename Call>
struct Run {
    Call call;
    const unsigned char* top = nullptr;

    static void* start(void* self) {
        auto& run = *static_cast<Run*>(self);
        run.top = static_cast<const unsigned char*>(__builtin_frame_address(0));
        run.call();
        return nullptr;
    }
};

} // namespace stack_use

// In bytes, from the frame that makes the call down to the lowest byte that was written.
template<typename Call>
std::size_t stack_use_of(Call call) {
    constexpr std::size_t kSize = 1 << 20;
    constexpr std::size_t kPage = 4096;
    const std::unique_ptr<unsigned char, void (*)(void*)> stack(
        static_cast<unsigned char*>(std::aligned_alloc(kPage, kSize)), std::free);
    std::fill_n(stack.get(), kSize, stack_use::kPaint);
    stack_use::Run<Call> run{call};
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstack(&attributes, stack.get(), kSize);
    pthread_t thread = {};
    ::pthread_create(&thread, &attributes, &stack_use::Run<Call>::start, &run);
    ::pthread_join(thread, nullptr);
    ::pthread_attr_destroy(&attributes);
    return static_cast<std::size_t>(run.top - stack_use::first_touched(stack.get()));
}

} // namespace kt3::tests
