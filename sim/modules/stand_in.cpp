// SPDX-License-Identifier: MIT
// A stand-in for the kernel-interface modules of the adapters. One source for all of them: which entry points a
// module offers is decided by the KT3SIM_HAS_... definitions it is built with.
//
// The machine's file /module-behaviour says what the module answers, one "name values..." line each:
//
//     struct_size 256             size of the device object; 0 stands for a failing query
//     init_hwinfo 0               answer of the bandwidth set-up
//     clock real                  values move with the time of day, or
//     clock step 1000000000       by so many nanoseconds with every sample taken, which makes runs repeatable
//     sway 40 8                   busy and bandwidth values swing by 40 percent around their value every 8 seconds
//     busy 35 10 5                3D, video, post-processing, in percent
//     busy_ext 0 35 0 10 5 0 5 0 0   words 1 to 9 of the extended answer
//     frames 60 30                the two frame counters, per second
//     bandwidth 1 2 3 ...         twelve words
//
// What is not said keeps the value below. When the machine has a file /module-calls, every call is added to it with
// the descriptor it was given.

#include "support/owned.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

struct Behaviour {
    std::uint32_t struct_size = 256;
    std::int32_t init_hwinfo = 0;
    std::uint64_t step = 0; // 0: real time
    std::uint64_t sway_percent = 0;
    std::uint64_t sway_seconds = 8;
    std::array<std::uint32_t, 3> busy{2, 0, 0};
    std::array<std::uint32_t, 9> busy_ext{0, 2, 0, 0, 0, 0, 0, 0, 0};
    std::array<std::uint64_t, 2> frames{60, 2};
    std::array<std::uint32_t, 12> bandwidth{120, 80, 40, 20, 10, 5, 0, 0, 0, 0, 0, 0};
};

// Reads as many numbers as there are; the rest keep their values.
template<typename Numbers>
void read_numbers(const char* text, Numbers& numbers) {
    for (auto& number : numbers) {
        char* end = nullptr;
        const unsigned long long value = std::strtoull(text, &end, 10);
        if (end == text) {
            return;
        }
        number = static_cast<typename Numbers::value_type>(value);
        text = end;
    }
}

void read_line(const char* name, const char* values, Behaviour& behaviour) {
    const std::string key = name;
    std::array<std::uint64_t, 2> pair{};
    read_numbers(values, pair);
    if (key == "struct_size") {
        behaviour.struct_size = static_cast<std::uint32_t>(pair[0]);
    } else if (key == "init_hwinfo") {
        behaviour.init_hwinfo = static_cast<std::int32_t>(std::strtol(values, nullptr, 10));
    } else if (key == "clock") {
        std::sscanf(values, " step %lu", &behaviour.step);
    } else if (key == "sway") {
        behaviour.sway_percent = pair[0];
        behaviour.sway_seconds = pair[1] == 0 ? behaviour.sway_seconds : pair[1];
    } else if (key == "busy") {
        read_numbers(values, behaviour.busy);
    } else if (key == "busy_ext") {
        read_numbers(values, behaviour.busy_ext);
    } else if (key == "frames") {
        behaviour.frames = pair;
    } else if (key == "bandwidth") {
        read_numbers(values, behaviour.bandwidth);
    }
}

std::string machine_file(const char* name) {
    const char* root = std::getenv("KT3_SIM_ROOT");
    return root == nullptr ? "" : root + std::string(name);
}

Behaviour read_behaviour() {
    Behaviour behaviour;
    const kt3::support::File file(std::fopen(machine_file("/module-behaviour").c_str(), "re"));
    if (!file) {
        return behaviour;
    }
    std::array<char, 512> line{};
    while (std::fgets(line.data(), line.size(), file.get()) != nullptr) {
        std::array<char, 32> name{};
        int values = 0;
        if (std::sscanf(line.data(), "%31s%n", name.data(), &values) == 1) {
            read_line(name.data(), line.data() + values, behaviour);
        }
    }
    return behaviour;
}

void record_call(const char* name, int descriptor) {
    const kt3::support::Fd file(::open(machine_file("/module-calls").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (file) {
        ::dprintf(file.get(), "%s %d\n", name, descriptor);
    }
}

std::uint64_t g_samples_taken = 0; // drives the stepping clock

// Drivers count nothing while the accounting of the card is switched off.
bool accounting_is_off(int descriptor) {
    std::array<char, 64> link{};
    std::array<char, 512> device{};
    std::snprintf(link.data(), link.size(), "/proc/self/fd/%d", descriptor);
    if (::readlink(link.data(), device.data(), device.size() - 1) < 0) {
        return false;
    }
    const char* card = std::strstr(device.data(), "/dri/card");
    if (card == nullptr) {
        return false;
    }
    for (const char* folder : {"wy_info", "qn_info"}) {
        const std::string node = machine_file("/sys/class/drm/card") + (card + std::strlen("/dri/card")) + "/device/" +
                                 folder + "/enable_usage";
        if (const kt3::support::File file(std::fopen(node.c_str(), "re")); file) {
            return std::fgetc(file.get()) == '0';
        }
    }
    return false;
}

std::uint64_t g_last_sample_time = 0;

std::uint64_t clock_time(const Behaviour& behaviour) {
    if (behaviour.step != 0) {
        return ++g_samples_taken * behaviour.step;
    }
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t sample_time(const Behaviour& behaviour, int descriptor) {
    if (!accounting_is_off(descriptor)) {
        g_last_sample_time = clock_time(behaviour);
    }
    return g_last_sample_time;
}

// A triangle between 100 - sway and 100 + sway percent.
std::uint32_t swinging(std::uint32_t value, std::uint64_t time, const Behaviour& behaviour) {
    constexpr std::uint64_t top = 1000;
    const std::uint64_t period = behaviour.sway_seconds * 1'000'000'000u;
    const std::uint64_t at = time % period / (period / (2 * top));
    const std::uint64_t height = at < top ? at : 2 * top - at; // 0 to top and back
    const std::uint64_t per_cent_of_top = (100 - behaviour.sway_percent) * top + 2 * behaviour.sway_percent * height;
    return static_cast<std::uint32_t>(value * per_cent_of_top / (100 * top));
}

template<std::size_t N>
void copy_swinging(const std::array<std::uint32_t, N>& values, std::uint32_t* words, const Behaviour& behaviour,
                   int descriptor) {
    const std::uint64_t time = sample_time(behaviour, descriptor);
    for (const std::uint32_t value : values) {
        *words++ = swinging(value, time, behaviour);
    }
}

[[maybe_unused]] std::uint32_t struct_size(const char* name, int descriptor) {
    record_call(name, descriptor);
    return read_behaviour().struct_size;
}

[[maybe_unused]] int get_busy(const char* name, int descriptor, std::uint32_t* busy) {
    record_call(name, descriptor);
    const Behaviour behaviour = read_behaviour();
    copy_swinging(behaviour.busy, busy, behaviour, descriptor);
    return 0;
}

// The first word asks for the form of the answer; no other form than 3 exists.
[[maybe_unused]] int get_busy_ext(const char* name, int descriptor, std::uint32_t* busy) {
    record_call(name, descriptor);
    if (busy[0] != 3) {
        return -1;
    }
    const Behaviour behaviour = read_behaviour();
    copy_swinging(behaviour.busy_ext, busy + 1, behaviour, descriptor);
    return 0;
}

struct FrameSample {
    std::uint64_t timestamp;
    std::uint64_t first;
    std::int64_t second;
};

[[maybe_unused]] int count_frames(const char* name, int descriptor, FrameSample* sample) {
    record_call(name, descriptor);
    const Behaviour behaviour = read_behaviour();
    sample->timestamp = sample_time(behaviour, descriptor);
    const std::uint64_t milliseconds = sample->timestamp / 1'000'000u;
    sample->first = behaviour.frames[0] * milliseconds / 1000;
    sample->second = static_cast<std::int64_t>(behaviour.frames[1] * milliseconds / 1000);
    return 0;
}

// The whole device object belongs to the module, so the whole of it is written.
[[maybe_unused]] int init_bandwidth(const char* name, int descriptor, void* device) {
    record_call(name, descriptor);
    const Behaviour behaviour = read_behaviour();
    std::memset(device, 0, behaviour.struct_size);
    return behaviour.init_hwinfo;
}

[[maybe_unused]] int end_bandwidth(const char* name, int descriptor) {
    record_call(name, descriptor);
    return 0;
}

[[maybe_unused]] int get_bandwidth(const char* name, int descriptor, std::uint32_t* words) {
    record_call(name, descriptor);
    const Behaviour behaviour = read_behaviour();
    copy_swinging(behaviour.bandwidth, words, behaviour, descriptor);
    return 0;
}

} // namespace

extern "C" {

#ifdef KT3SIM_HAS_gfx_get_struct_size
std::uint32_t gfx_get_struct_size(int descriptor) {
    return struct_size(__func__, descriptor);
}
#endif

#ifdef KT3SIM_HAS_qn_get_struct_size
std::uint32_t qn_get_struct_size(int descriptor) {
    return struct_size(__func__, descriptor);
}
#endif

#ifdef KT3SIM_HAS_gfx_get_usage_info
int gfx_get_usage_info(int descriptor, void*, std::uint32_t* busy) {
    return get_busy(__func__, descriptor, busy);
}
#endif

#ifdef KT3SIM_HAS_qnGetHwqInfo
int qnGetHwqInfo(int descriptor, std::uint32_t* busy) {
    return get_busy(__func__, descriptor, busy);
}
#endif

#ifdef KT3SIM_HAS_gfx_get_usage_info_ext
int gfx_get_usage_info_ext(int descriptor, void*, std::uint32_t* busy) {
    return get_busy_ext(__func__, descriptor, busy);
}
#endif

#ifdef KT3SIM_HAS_gfx_flip_count
int gfx_flip_count(int descriptor, void*, FrameSample* sample) {
    return count_frames(__func__, descriptor, sample);
}
#endif

#ifdef KT3SIM_HAS_gfx_hwinfo
int gfx_init_hwinfo(int descriptor, void* device) {
    return init_bandwidth(__func__, descriptor, device);
}
int gfx_deinit_hwinfo(int descriptor, void*) {
    return end_bandwidth(__func__, descriptor);
}
#endif

#ifdef KT3SIM_HAS_gfx_get_hwinfo
int gfx_get_hwinfo(int descriptor, void*, std::uint32_t* words) {
    return get_bandwidth(__func__, descriptor, words);
}
#endif

#ifdef KT3SIM_HAS_gfx_get_hwinfo_ext
int gfx_get_hwinfo_ext(int descriptor, void*, std::uint32_t* words) {
    return get_bandwidth(__func__, descriptor, words);
}
#endif

#ifdef KT3SIM_HAS_qn_hwinfo
int qn_init_hwinfo(int descriptor, void* device) {
    return init_bandwidth(__func__, descriptor, device);
}
int qn_deinit_hwinfo(int descriptor, void*) {
    return end_bandwidth(__func__, descriptor);
}
int qn_get_hwinfo(int descriptor, void*, std::uint32_t* words) {
    return get_bandwidth(__func__, descriptor, words);
}
#endif

} // extern "C"
