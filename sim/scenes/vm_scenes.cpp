// SPDX-License-Identifier: MIT
#include "scenes/vm_scenes.hpp"

#include "scenes/adapters.hpp"

#include <charconv>

namespace kt3::sim {
namespace {

constexpr std::string_view kDriver = "/sys/kernel/debug/dri/0/qn";

std::string number(std::uint64_t value, int base = 10) {
    char digits[24];
    return {digits, std::to_chars(std::begin(digits), std::end(digits), value, base).ptr};
}

std::string path(std::string_view folder, std::string_view entry, std::string_view file) {
    return std::string(kDriver) + '/' + std::string(folder) + '/' + std::string(entry) + '/' + std::string(file);
}

// The two entries that are not clients are always there.
void add_dump_folders(const Machine& machine) {
    machine.directory(path("allocations", "", ""));
    for (const char* own : {"00000000", "02000000"}) {
        machine.file(path("devices", own, "info"), "pid = 0\nhandle = 0\n");
        machine.file(path("devices", own, own), "pid = 0\nhandle = 0\n");
        machine.file(path("devices", own, "vm_info"), "0:0: entry addr:0x1000, buffer:the driver's own\n");
    }
}

// The older family on the first card: its driver's directory is where dumps lie.
void add_driver(Machine& machine) {
    add_older(machine, "0000:02:00.0");
    add_dump_folders(machine);
}

struct Client {
    std::string_view folder;
    std::string_view pid;
    std::string_view name; // as ps prints it; empty for a process that has ended
};

void add_client(const Machine& machine, const Client& client, std::string_view dump) {
    const std::string owner = "pid = " + std::string(client.pid) + "\nhandle = " + std::string(client.folder) + '\n';
    machine.file(path("devices", client.folder, "info"), owner);
    machine.file(path("devices", client.folder, client.folder), owner);
    machine.file(path("devices", client.folder, "vm_info"), dump);
    if (!client.name.empty()) {
        machine.file("/bin-data/ps/" + std::string(client.pid), std::string(client.name) + '\n');
    }
}

struct Node {
    const Client& owner;
    std::uint64_t gpu_va;
    std::uint64_t size;
};

std::string node_text(const Node& node) {
    return "=====vm node info=====\ndevice_pid = " + std::string(node.owner.pid) +
           "\ndevice_pname = " + std::string(node.owner.name) + "\ngpu_va = 0x" + number(node.gpu_va, 16) +
           "\nsize = 0x" + number(node.size, 16) + '\n';
}

void add_allocation(const Machine& machine, std::string_view handle, std::string_view dump) {
    machine.file(path("allocations", handle, "vm_info"), dump);
    machine.file(path("allocations", handle, "info"), "handle=" + std::string(handle) + "\ndevice=12\nwidth=64\n");
}

void add_allocation(const Machine& machine, std::string_view handle, std::initializer_list<Node> nodes) {
    std::string dump = "allocation " + std::string(handle) + '\n';
    for (const Node& node : nodes) {
        dump += node_text(node);
    }
    add_allocation(machine, handle, dump);
}

constexpr Client kGame = {"00000012", "4711", "game"};
constexpr Client kDesktop = {"0000002a", "998", "desktop"};

// Tables below the first carry their address without "0x", as the lookups from table to table expect it.
constexpr char kGameDump[] = "vm of client 00000012\n"
                             "0:0: entry addr:0x100000, buffer:directory\n"
                             "  0:0 Snoop:1 Segment:1 LargePage:0 Addr:0x101\n"
                             "  0:1 Snoop:1 Segment:1 LargePage:0 Addr:0x102\n"
                             "  1:0: entry addr:101000, buffer:tables of the heap\n"
                             "    1:0 Snoop:1 Segment:1 LargePage:0 Addr:0x103\n"
                             "    2:0: entry addr:103000, buffer:pages of the heap\n"
                             "      2:0 Snoop:1 Segment:1 Addr:0x2000\n"
                             "      2:1 Snoop:1 Segment:1 Addr:0x2001\n"
                             "      2:2 Snoop:1 Segment:1 Addr:0x2002\n"
                             "      2:8 Snoop:0 Segment:2 Addr:0x5000\n"
                             "      2:9 Snoop:0 Segment:2 Addr:0x5001\n"
                             "  1:1: entry addr:102000, buffer:tables of the textures\n"
                             "    1:4 Snoop:0 Segment:2 LargePage:1 Addr:0x8000\n"
                             "    1:5 Snoop:0 Segment:2 LargePage:1 Addr:0x8200\n";

constexpr char kDesktopDump[] = "vm of client 0000002a\n"
                                "0:0: entry addr:0x300000, buffer:directory\n"
                                "  0:0 Snoop:1 Segment:1 LargePage:0 Addr:0x301\n"
                                "  1:0: entry addr:301000, buffer:tables\n"
                                "    1:0 Snoop:1 Segment:1 LargePage:0 Addr:0x302\n"
                                "    2:0: entry addr:302000, buffer:pages\n"
                                "      2:0 Snoop:1 Segment:1 Addr:0x7000\n";

} // namespace

void add_two_clients(const Machine& machine) {
    add_dump_folders(machine);
    add_client(machine, kGame, kGameDump);
    add_client(machine, kDesktop, kDesktopDump);
    // Two allocations of the game touch, one overlaps its neighbour by a page, one lies far away.
    add_allocation(machine, "1f40", {{kGame, 0x10000, 0x8000}, {kGame, 0x18000, 0x4000}});
    add_allocation(machine, "1f41", {{kGame, 0x1b000, 0x5000}});
    add_allocation(machine, "1f42", {{kGame, 0x40000, 0x10000}, {kDesktop, 0x10000, 0x2000}});
    add_allocation(machine, "1f43", {{kGame, 0x7f0000000000, 0x200000}});
    add_allocation(machine, "1f44", {{kDesktop, 0x14000, 0x1000}});
    add_allocation(machine, "1f45", "allocation 1f45\nnot mapped\n");
}

void vm_small(Machine& machine) {
    add_older(machine, "0000:02:00.0");
    add_two_clients(machine);
}

void vm_deep(Machine& machine) {
    add_driver(machine);
    constexpr Client early = {"00000031", "2001", "early"};
    constexpr Client late = {"00000032", "2002", "late bird"};
    constexpr Client gone = {"00000033", "2003", ""};
    // A level-1 line before every level-0 line is dropped, and so is a level-2 line right after level 0.
    add_client(machine, early,
               "1:9: entry addr:900000, buffer:dropped, no directory yet\n"
               "0:0: entry addr:0x100000, buffer:directory\n"
               "2:9: entry addr:900000, buffer:dropped, behind level 0\n"
               "1:0: entry addr:101000, buffer:sibling of nothing\n"
               "0:1: entry addr:0x200000, buffer:second directory\n"
               "1:1: entry addr:102000, buffer:first child\n"
               "1:2: entry addr:103000, buffer:its sibling\n"
               "2:0: entry addr:104000, buffer:child of the sibling\n"
               "1:3: entry addr:105000, buffer:sibling behind level 2\n"
               "2:1: entry addr:106000, buffer:pages\n"
               "2:2: entry addr:107000, buffer:more pages\n"
               "5:0: entry addr:108000, buffer:dropped, no such level\n");
    // Runs: falling indexes, another level in the middle, a run after a table of another level.
    add_client(machine, late,
               "2:0 Snoop:1 Segment:1 Addr:0x1\n"
               "0:0: entry addr:0x100000, buffer:directory\n"
               "0:7 Snoop:1 Segment:1 Addr:0x107\n"
               "0:6 Snoop:1 Segment:1 Addr:0x106\n"
               "0:5 Snoop:1 Segment:1 Addr:0x105\n"
               "1:0: entry addr:105000, buffer:tables\n"
               "1:0 Snoop:1 Segment:1 Addr:0x110\n"
               "1:1 Snoop:1 Segment:1 Addr:0x111\n"
               "2:3 Snoop:1 Segment:1 Addr:0x200\n"
               "1:2 Snoop:1 Segment:1 Addr:0x112\n"
               "5:0 Snoop:1 Segment:1 Addr:0x999\n"
               "2:0: entry addr:110000, buffer:pages\n"
               "2:0 Snoop:1 Segment:2 Addr:0x300\n"
               "2:1 Snoop:1 Segment:2 Addr:0x301\n"
               "2:2 Snoop:0 Segment:2 Addr:0x302\n"
               "1:1: entry addr:106000, buffer:tables, second\n"
               "2:10 Snoop:1 Segment:2 Addr:0x310\n"
               "2:11 Snoop:1 Segment:2 Addr:0x312\n"
               "2:12 Snoop:1 Segment:2 Addr:0x314\n");
    add_client(machine, gone, "no tables\n");
    add_allocation(machine, "30", {{early, 0x1000, 0x1000}, {early, 0x2000, 0x1000}, {late, 0x1000, 0x800}});
}

namespace {

void append_entry(std::string& dump, char level, std::uint64_t index, std::uint64_t address) {
    dump.append({level, ':'}).append(number(index)).append(": entry addr:").append(number(address, 16));
    dump += ", buffer:table\n";
}

void append_page(std::string& dump, std::uint64_t index, std::uint64_t frame) {
    dump.append("2:").append(number(index)).append(" Snoop:1 Segment:1 LargePage:0 Addr:0x");
    dump.append(number(frame, 16)) += '\n';
}

// Tables of 512 under as many level-1 tables as that takes, each with the same number of pages.
std::string full_dump(std::uint64_t tables, std::uint64_t pages) {
    std::string dump;
    dump.reserve(tables * (40 + pages * 50) + 1000);
    append_entry(dump, '0', 0, 0x100000);
    for (std::uint64_t table = 0; table < tables; ++table) {
        if (table % 512 == 0) {
            append_entry(dump, '1', table / 512, 0x200000 + table / 512 * 0x1000);
        }
        append_entry(dump, '2', table % 512, 0x1000000 + table * 0x1000);
        for (std::uint64_t page = 0; page < pages; ++page) {
            append_page(dump, page, 0x100000 + table * 512 + page);
        }
    }
    return dump;
}

} // namespace

void vm_big(Machine& machine) {
    add_driver(machine);
    constexpr Client clients[] = {{"00000041", "3001", "renderer"},
                                  {"00000042", "3002", "browser"},
                                  {"00000043", "3003", "desktop"},
                                  {"00000044", "3004", "player"}};
    constexpr struct { std::uint64_t tables, pages; } sizes[] = {{20'000, 15}, {200, 20}, {50, 8}, {4, 512}};
    for (std::size_t at = 0; at < std::size(clients); ++at) {
        add_client(machine, clients[at], full_dump(sizes[at].tables, sizes[at].pages));
    }
    for (std::uint64_t at = 0; at < 200; ++at) {
        add_allocation(machine, number(0x5000 + at, 16),
                       {{clients[at % 4], 0x100000 + at * 0x40000, 0x10000 + at % 7 * 0x1000}});
    }
}

void vm_broken(Machine& machine) {
    add_driver(machine);
    const std::string digits(60, '1');
    const std::string directory = "0:0: entry addr:0x1000, buffer:directory\n";
    add_client(machine, kGame, kGameDump);
    add_client(machine, {"00000021", "5001", "badnumber"},
               directory + "x:1: entry addr:2000, buffer:level is no number\n"
                           "1:99999999999: entry addr:2000, buffer:index does not fit\n"
                           "1:2: entry addr:zz, buffer:address is no number\n"
                           "1:0 Snoop: Segment:1 Addr:0x1\n");
    add_client(machine, {"00000022", "5002", "nokeys"},
               directory + "1:0: entry without an address, buffer:nothing\n"
                           "  1:0 Snoop:1 Segment:1\n"
                           "  1:1 Snoop:1 Addr:0x20\n");
    add_client(machine, {"00000023", "5003", "toolong"},
               directory + "1:0: entry addr:" + digits + ", buffer:address of sixty characters\n" +
                   "1:1: entry addr:2000, buffer:" + std::string(60, 'b') + "\n" + "1:0 Snoop:1 Segment:1 Addr:0x" +
                   digits + "\n");
    add_client(machine, {"00000024", "5004", "bigaddress"},
               directory + "1:0: entry addr:0x80000000, buffer:beyond 31 bits\n");
    add_client(machine, {"00000025", "5005", "longlines"},
               std::string(600, '-') + '\n' + directory + std::string(500, ' ') +
                   "1:0: entry addr:2000, buffer:" + "cut in the middle\n");
    add_client(machine, {"00000026", "5006", std::string(60, 'n')}, directory);
    add_client(machine, {"00000027", digits, ""}, directory);
    add_client(machine, {"00000028", "", ""}, directory);
    machine.file(path("devices", "00000028", "info"), "owner unknown\n");
    add_client(machine, {"00000029", "5009", ""}, directory);
    machine.refuse(path("devices", "00000029", "vm_info"));
    add_client(machine, kDesktop, kDesktopDump);
    add_allocation(machine, "1f40", {{kGame, 0x10000, 0x8000}});
    add_allocation(machine, "1f41",
                   "=====vm node info=====\ndevice_pid = 4711\ndevice_pname = game\nsize = 0x1000\n"
                   "=====vm node info=====\ndevice_pid = 4711\ndevice_pname = game\ngpu_va = 0x20000\nsize = many\n"
                   "=====vm node info=====\ndevice_pid = -\ndevice_pname = game\ngpu_va = 0x30000\nsize = 0x1000\n");
    add_allocation(machine, "1f42",
                   "=====vm node info=====\ndevice_pid = 4711\ndevice_pname = game\nsize = 1\ngpu_va =");
    add_allocation(machine, "1f43", {{kDesktop, 0x10000, 0x1000}});
}

} // namespace kt3::sim
