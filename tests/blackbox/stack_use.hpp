// SPDX-License-Identifier: MIT
#pragma once
// How much stack a call needs, beyond what its thread used before.

#include <cstddef>
#include <functional>
#include <pthread.h>

namespace kt3::tests {

class StackUse {
public:
    // Makes the call in a thread whose stack is painted before and looked at afterwards.
    static std::size_t of(const std::function<void()>& call) {
        StackUse measured(call);
        pthread_attr_t attributes;
        ::pthread_attr_init(&attributes);
        ::pthread_attr_setstack(&attributes, stack(), kBytes);
        pthread_t thread;
        ::pthread_create(&thread, &attributes, measure, &measured);
        ::pthread_join(thread, nullptr);
        ::pthread_attr_destroy(&attributes);
        return measured.used_;
    }

private:
    static constexpr std::size_t kBytes = 512 * 1024;
    static constexpr std::size_t kOwnFrame = 256; // of the functions below, which must not paint over themselves
    static constexpr unsigned char kPaint = 0xA5;

    explicit StackUse(const std::function<void()>& call) : call_(call) {}

    static unsigned char* stack() {
        alignas(4096) static unsigned char bytes[kBytes];
        return bytes;
    }
    [[gnu::noinline, gnu::no_sanitize_address]] static void paint(volatile unsigned char* end) {
        for (volatile unsigned char* at = stack(); at < end; ++at) {
            *at = kPaint;
        }
    }
    [[gnu::noinline, gnu::no_sanitize_address]] static std::size_t untouched() {
        const volatile unsigned char* at = stack();
        while (*at == kPaint) {
            ++at;
        }
        return static_cast<std::size_t>(at - stack());
    }
    [[gnu::no_sanitize_address]] static void* measure(void* argument) {
        auto& measured = *static_cast<StackUse*>(argument);
        auto* top = static_cast<unsigned char*>(__builtin_frame_address(0));
        paint(top - kOwnFrame);
        measured.call_();
        measured.used_ = static_cast<std::size_t>(top - stack()) - untouched();
        return nullptr;
    }

    const std::function<void()>& call_;
    std::size_t used_ = 0;
};

} // namespace kt3::tests
