#include "scenes/allocations.hpp"

#include "changing_folder.hpp"
#include "scenes/adapters.hpp"
#include "support/owned.hpp"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace kt3::sim {
namespace {

struct Process {
    std::uint32_t pid;
    std::uint32_t device; // handle of the device it has open
    std::string_view command_line;
};

// A kind of allocation: what it is made for decides all of these together.
struct Shape {
    int width, height, bits;
    std::uint32_t size;
    int segment, format, type;
};

constexpr std::uint32_t kGiB = 1U << 30;
constexpr std::uint32_t kNoSuchPid = 5'000'001; // beyond what kernels hand out

// clang-format off
constexpr Process kProcesses[] = {
    {41001, 0x10, {"/usr/lib/xorg/Xorg\0:0\0", 22}},
    {41002, 0x11, "/usr/bin/compositor"},
    {41003, 0x12, "/usr/bin/browser"},
    {41004, 0x13, {"/usr/bin/browser\0--type=gpu\0", 28}},
    {41005, 0x14, "/opt/applications/modelling-suite/releases/2024.2/bin/render-farm-worker-process"},
    {41006, 0x15, "player"},
    {41007, 0x16, "\x1b[31mred\x1b[0m\a player\n"},
    {41008, 0x17, "/usr/games/racer"},
    {41009, 0x18, "terminal"},
    {41010, 0x19, "/usr/bin/file, manager \"home\""},
    {kNoSuchPid, 0x1a, ""},
    {41012, 0x1b, "caf\xe9"},
};
constexpr std::uint32_t kOrphanDevice = 0x7f; // in allocations, not among the open devices

constexpr Shape kShapes[] = {
    {1920, 1080, 32, 8294400, 1, 11, 1},
    {256,  256,  32, 262144,  1, 11, 2},
    {4096, 1,    8,  4096,    2, 1,  3},
    {1024, 1024, 32, 4194304, 1, 11, 2},
    {65536, 1,   8,  65536,   3, 1,  4},
    {512,  512,  16, 524288,  0, 7,  2},
    {1280, 720,  12, 1382400, 5, 21, 5},
};
constexpr Shape kHuge{32768, 8192, 32, kGiB, 1, 11, 2};
constexpr Shape kMisplaced{64, 64, 32, 16384, -1, 11, 2};
constexpr Shape kFrame{3840, 2160, 32, 33177600, 1, 11, 1};
// clang-format on

// "@" stands for the handle. `device` is written as the driver does: decimal with the VA flag, hexadecimal without.
std::string page_of(const Shape& shape, const std::string& device, const std::string& handle = "@") {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(),
                  "handle=%s\ndevice=%s\nwidth=%d\nheight=%d\npitch=%d\nbit_cnt=%d\nsecured=0\nsize=%u\ntile=1\n"
                  "cpu_visible=%d\ncache_type=2\npool_type=1\nat_type=%d\nsegmentid=%d\nhw_format=%d\n"
                  "compress_format=0\nbl_slot_index=-1\ngpu_virt_addr=65536\nimported=0\nfb_offset=0\nshare=0\n",
                  handle.c_str(), device.c_str(), shape.width, shape.height, shape.width * shape.bits / 8, shape.bits,
                  shape.size, shape.segment > 1 ? 1 : 0, shape.type, shape.segment, shape.format);
    return text.data();
}

std::string hexadecimal(std::uint32_t number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%x", number);
    return text.data();
}

// Fills the driver's directories of one adapter. Entries are named by decimal digits, which are the handle's
// hexadecimal ones, so that the order of the listing is the order of writing.
struct MemoryWriter {
    const Machine& machine;
    const Adapter& adapter;
    bool va;
    std::uint32_t next_name = 1000;

    MemoryWriter(const Machine& on, const Adapter& of, bool va_driver) : machine(on), adapter(of), va(va_driver) {
        machine.directory(adapter.debugfs_path("allocations"));
        machine.directory(adapter.debugfs_path("devices"));
    }

    [[nodiscard]] std::string device_text(std::uint32_t device) const {
        return va ? std::to_string(device) : hexadecimal(device);
    }

    void process(const Process& process) const {
        const std::string entry = std::to_string(process.device);
        machine.file(adapter.debugfs_path("devices/" + entry + (va ? "/info" : "/" + entry)),
                     "name = context\npid = " + std::to_string(process.pid) +
                         "\nhandle = " + hexadecimal(process.device) + "\n");
        if (!process.command_line.empty()) {
            machine.file("/proc/" + std::to_string(process.pid) + "/cmdline", process.command_line);
        }
    }

    // Straight to the file system: the big machine has thousands of them.
    void allocation(const Shape& shape, std::uint32_t device) {
        const std::string name = std::to_string(next_name++);
        const std::string folder = machine.real(adapter.debugfs_path("allocations/" + name)).string();
        const std::string page = page_of(shape, device_text(device), name);
        ::mkdir(folder.c_str(), 0777);
        const support::Fd file(::open((folder + "/info").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
        [[maybe_unused]] const ssize_t written = ::write(file.get(), page.data(), page.size());
    }

    void allocations(const Shape& shape, std::uint32_t device, int count) {
        for (int at = 0; at < count; ++at) {
            allocation(shape, device);
        }
    }
};

} // namespace

void build_busy(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (std::size_t at = 0; at < std::size(kProcesses); ++at) {
        memory.process(kProcesses[at]);
        for (std::size_t shape = 0; shape < std::size(kShapes); ++shape) {
            memory.allocations(kShapes[shape], kProcesses[at].device, static_cast<int>(1 + (at + 2 * shape) % 6));
        }
    }
    memory.allocations(kHuge, kProcesses[4].device, 6);
    memory.allocations(kShapes[1], kOrphanDevice, 4);
    memory.allocations(kMisplaced, kProcesses[8].device, 1);
}

void build_leak(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    constexpr Process leaky{41020, 0x20, "/usr/bin/leaky-player"};
    constexpr Process steady{41021, 0x21, "/usr/bin/compositor"};
    constexpr Process busy{41022, 0x22, "/usr/bin/browser"};
    for (const Process& process : {leaky, steady, busy}) {
        memory.process(process);
    }
    memory.allocations(kFrame, steady.device, 3);
    memory.allocations(kShapes[1], steady.device, 40);
    memory.allocations(kShapes[0], leaky.device, 2);
    make_changing(
        machine.root, adapter.debugfs_path("allocations"),
        {{.count = 3, .first_name = 50000, .page = page_of(kShapes[0], std::to_string(leaky.device))},
         {.count = 8, .stay = 1, .first_name = 600000, .page = page_of(kShapes[3], std::to_string(busy.device))},
         {.every = 2,
          .count = 5,
          .stay = 1,
          .first_name = 7000000,
          .page = page_of(kShapes[2], std::to_string(busy.device))}});
}

void build_old_family_heaps(Machine& machine) {
    Adapter adapter = add_older(machine, "0000:02:00.0");
    adapter.debugfs("heaps/heap_local/info", "Total segment size:  6442450944\nKMD used segment memory:  67108864\n");
    MemoryWriter memory(machine, adapter, false);
    for (const Process& process : {kProcesses[0], kProcesses[1]}) {
        memory.process(process);
        memory.allocations(kShapes[0], process.device, 10);
        memory.allocations(kShapes[4], process.device, 64);
    }
    memory.allocations(kShapes[6], kProcesses[1].device, 4);
}

void build_segment_node(Machine& machine) {
    add_newer(machine, "0000:03:00.0")
        .node("segment_info", "segment_id:0,total_size:268435,used_size:20971\n"
                              "segment_id:1,total_size:8321499,used_size:6301990\n"
                              "segment_id:2,total_size:4294967,used_size:12582\n"
                              "segment_id:3,total_size:4294967,used_size:8388\n"
                              "segment_id:4,total_size:1000000,used_size:500000\n"
                              "segment_id:5,total_size:2000000,used_size:250000\n"
                              "segment_id:6,total_size:4000000,used_size:125000\n");
}

void add_game_memory(Machine& machine, const Adapter& newer) {
    MemoryWriter memory(machine, newer, true);
    constexpr Process server{41001, 0x10, "/usr/lib/xorg/Xorg"};
    constexpr Process game{4711, 0x12, "/usr/games/game"};
    constexpr Process desktop{998, 0x2a, "/usr/bin/desktop"};
    for (const Process& process : {server, game, desktop}) {
        memory.process(process);
    }
    memory.allocations(kShapes[0], server.device, 2);
    memory.allocations(kShapes[4], server.device, 3);
    memory.allocations(kFrame, game.device, 3);
    memory.allocations(kShapes[3], game.device, 12);
    memory.allocations(kShapes[1], desktop.device, 8);
    memory.allocations(kShapes[5], desktop.device, 4);
    make_changing(machine.root, newer.debugfs_path("allocations"),
                  {{.first_name = 50000, .page = page_of(kShapes[3], std::to_string(game.device))}});
}

void add_player_memory(Machine& machine, const Adapter& older) {
    MemoryWriter memory(machine, older, false);
    constexpr Process player{41006, 0x15, "/usr/bin/player"};
    memory.process(player);
    memory.allocations(kShapes[0], player.device, 3);
    memory.allocations(kShapes[6], player.device, 5);
    memory.allocations(kShapes[2], player.device, 4);
}

void build_churn(Machine& machine) {
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (const Process& process : {kProcesses[1], kProcesses[2]}) {
        memory.process(process);
        memory.allocations(kShapes[0], process.device, 8);
        memory.allocations(kShapes[2], process.device, 16);
    }
    make_changing(machine.root, adapter.debugfs_path("allocations"),
                  {{.every = 2,
                    .count = 4,
                    .unread = true,
                    .first_name = 2000,
                    .page = page_of(kShapes[3], std::to_string(kProcesses[2].device))}});
}

void build_big(Machine& machine) {
    constexpr int kAllocations = 10'000;
    const Adapter adapter = add_newer(machine, "0000:03:00.0");
    MemoryWriter memory(machine, adapter, true);
    for (const Process& process : kProcesses) {
        memory.process(process);
    }
    for (int at = 0; at < kAllocations; ++at) {
        const auto index = static_cast<std::size_t>(at);
        memory.allocation(kShapes[index % std::size(kShapes)], kProcesses[index % std::size(kProcesses)].device);
    }
}

} // namespace kt3::sim
