// SPDX-License-Identifier: MIT
#include "scenes/memory_writer.hpp"

#include "support/owned.hpp"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace kt3::sim {
namespace {

std::string hexadecimal(std::uint32_t number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%x", number);
    return text.data();
}

} // namespace

std::string page_of(const Shape& shape, const std::string& device, const std::string& handle) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(),
                  "handle=%s\ndevice=%s\nwidth=%d\nheight=%d\npitch=%d\nbit_cnt=%d\nsecured=0\nsize=%u\ntile=1\n"
                  "cpu_visible=%d\ncache_type=2\npool_type=1\nat_type=%d\nsegmentid=%d\nhw_format=%d\n"
                  "compress_format=0\nbl_slot_index=-1\ngpu_virt_addr=65536\nimported=0\nfb_offset=0\nshare=0\n",
                  handle.c_str(), device.c_str(), shape.width, shape.height, shape.width * shape.bits / 8, shape.bits,
                  shape.size, shape.segment > 1 ? 1 : 0, shape.type, shape.segment, shape.format);
    return text.data();
}

MemoryWriter::MemoryWriter(const Machine& machine, const Adapter& adapter, bool va_driver)
    : machine_(machine), adapter_(adapter), va_(va_driver) {
    machine.directory(adapter.debugfs_path("allocations"));
    machine.directory(adapter.debugfs_path("devices"));
}

std::string MemoryWriter::device_text(std::uint32_t device) const {
    return va_ ? std::to_string(device) : hexadecimal(device);
}

void MemoryWriter::process(const GpuProcess& process) const {
    const std::string entry = std::to_string(process.device);
    const std::string page = adapter_.debugfs_path("devices/" + entry + (va_ ? "/info" : "/" + entry));
    machine_.file(page, "name = context\npid = " + std::to_string(process.pid) +
                            "\nhandle = " + hexadecimal(process.device) + "\n");
    machine_.made_at(page, kDevicesOpened);
    if (!process.command_line.empty()) {
        machine_.process({.pid = process.pid,
                          .command_line = process.command_line,
                          .state = process.state,
                          .user = process.user,
                          .control_group = process.control_group,
                          .start_time = process.start_time});
    }
}

// Straight to the file system: the big machine has thousands of them.
void MemoryWriter::allocation(const Shape& shape, std::uint32_t device) {
    const std::string name = std::to_string(next_name_++);
    const std::string folder = machine_.real(adapter_.debugfs_path("allocations/" + name)).string();
    const std::string page = page_of(shape, device_text(device), name);
    ::mkdir(folder.c_str(), 0777);
    const support::Fd file(::open((folder + "/info").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    [[maybe_unused]] const ssize_t written = ::write(file.get(), page.data(), page.size());
}

void MemoryWriter::allocations(const Shape& shape, std::uint32_t device, int count) {
    for (int at = 0; at < count; ++at) {
        allocation(shape, device);
    }
}

} // namespace kt3::sim
