// SPDX-License-Identifier: MIT
#pragma once
// What a driver publishes of processes and their allocations, for the scenes that have some.

#include "machine.hpp"

#include <string>
#include <string_view>

namespace kt3::sim {

struct GpuProcess {
    std::uint32_t pid;
    std::uint32_t device; // handle of the device it has open
    std::string_view command_line;
    std::string_view control_group = ProcessFacts().control_group;
    std::uint32_t user = ProcessFacts().user;
    char state = ProcessFacts().state;
    std::uint64_t start_time = ProcessFacts().start_time;
};

inline constexpr std::int64_t kDevicesOpened = KernelFacts().boot_time + 6000; // a while after usual processes started

// A kind of allocation: what it is made for decides all of these together.
struct Shape {
    int width, height, bits;
    std::uint32_t size;
    int segment, format, type;
};

inline constexpr std::uint32_t kGiB = 1U << 30;

// clang-format off
inline constexpr Shape kShapes[] = {
    {1920, 1080, 32, 8294400, 1, 11, 1},
    {256,  256,  32, 262144,  1, 11, 2},
    {4096, 1,    8,  4096,    2, 1,  3},
    {1024, 1024, 32, 4194304, 1, 11, 2},
    {65536, 1,   8,  65536,   3, 1,  4},
    {512,  512,  16, 524288,  0, 7,  2},
    {1280, 720,  12, 1382400, 5, 21, 5},
};
inline constexpr Shape kHuge{32768, 8192, 32, kGiB, 1, 11, 2};
inline constexpr Shape kMisplaced{64, 64, 32, 16384, -1, 11, 2};
inline constexpr Shape kFrame{3840, 2160, 32, 33177600, 1, 11, 1};
// clang-format on

// The page of an allocation; "@" stands for the handle. `device` is written as the driver does: decimal with the VA
// flag, hexadecimal without.
std::string page_of(const Shape& shape, const std::string& device, const std::string& handle = "@");

// Fills the driver's directories of one adapter. Entries are named by decimal digits, which are the handle's
// hexadecimal ones, so that the order of the listing is the order of writing.
class MemoryWriter {
public:
    MemoryWriter(const Machine& machine, const Adapter& adapter, bool va_driver);

    void process(const GpuProcess& process) const;
    void allocation(const Shape& shape, std::uint32_t device);
    void allocations(const Shape& shape, std::uint32_t device, int count);

private:
    [[nodiscard]] std::string device_text(std::uint32_t device) const;

    const Machine& machine_;
    const Adapter& adapter_;
    bool va_;
    std::uint32_t next_name_ = 1000;
};

} // namespace kt3::sim
