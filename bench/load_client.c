/* SPDX-License-Identifier: MIT */
/* A C client that opens one library and says how many nanoseconds that took, on standard error. */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <stdio.h>
#include <time.h>

static long long now_ns(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

int main(int count, char** arguments) {
    long long before;
    long long after;
    if (count != 2) {
        return 2;
    }
    before = now_ns();
    if (dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL) == NULL) {
        return 1;
    }
    after = now_ns();
    fprintf(stderr, "%lld\n", after - before);
    return 0;
}
