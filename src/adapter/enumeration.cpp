// SPDX-License-Identifier: MIT
#include "adapter/enumeration.hpp"

#include "adapter/chip_table.hpp"
#include "adapter/device_list.hpp"
#include "adapter/drm_library.hpp"
#include "interface/logging.hpp"
#include "interface/say_line.hpp"
#include "support/file_reading.hpp"
#include "support/format_into.hpp"
#include "support/listing.hpp"

#include <cstdio>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace kt3::adapter {
namespace {

constexpr std::int32_t kOtherVendorSlot = 2;
constexpr std::size_t kDriverInfoBytes = 128;

// The path names the card whether or not the device offers that node; an empty one leaves the number alone.
void read_card_number(find_adapter& record, std::int32_t slot, const drmDevice& device) {
    if (const char* primary = device.nodes[DRM_NODE_PRIMARY]) {
        std::sscanf(primary, "/dev/dri/card%d", &record.drm_card_idx[slot]);
    }
}

void record_location(std::int32_t slot, const drmPciBusInfo& pci) {
    find_adapter_ext1& ext1 = find_adapter_ext1_cache;
    ext1.bus[slot] = {pci.domain, pci.bus, pci.dev, pci.func, 0};
    interface::log("gpu_busid: 0x%04x:%02x:%02x.%x\n", pci.domain, pci.bus, pci.dev, pci.func);
    ext1.luid[slot] = {pci.domain, pci.bus * 65536U + pci.dev * 256U + pci.func};
    interface::log("gpu_luid: 0x%08x:0x%08x\n", ext1.luid[slot].high, ext1.luid[slot].low);
}

bool is_directory(int parent, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN) {
        return entry.d_type == DT_DIR;
    }
    struct stat status {};
    return ::fstatat(parent, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

// The adapter's first hwmon directory in listing order. The record owns the descriptor until the process ends.
void open_hwmon_directory(gpu_infos& adapter) {
    support::Listing listing(support::Fd(::openat(adapter.sysfs_fd, "hwmon", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    while (const dirent* entry = listing.next_entry()) {
        if (std::strncmp(entry->d_name, "hwmon", 5) == 0 && is_directory(listing.descriptor(), *entry)) {
            adapter.hwmon_fd = support::open_for_reading(listing.descriptor(), entry->d_name).release();
            return;
        }
    }
}

// The descriptors stay open for the life of the process: every later reading goes through them.
void open_directories(gpu_infos& adapter, const Family& family) {
    char path[64];
    std::snprintf(path, sizeof path, "/sys/bus/pci/devices/%s", adapter.bus_id);
    adapter.sysfs_fd = support::Fd(::open(path, O_RDONLY | O_CLOEXEC)).release();
    adapter.vendor_id = family.vendor;
    if (adapter.sysfs_fd < 0) {
        return;
    }
    open_hwmon_directory(adapter);
    adapter.info_fd = support::open_for_reading(adapter.sysfs_fd, family.info_dir).release();
}

// Only ever set, never cleared: the client zeroes the record.
void read_va_flag(find_adapter& record, std::int32_t slot, const Family& family) {
    char path[64];
    std::snprintf(path, sizeof path, "/sys/kernel/debug/dri/%d/%s", record.drm_card_idx[slot], family.debugfs_info);
    char text[kDriverInfoBytes];
    const std::size_t bytes = support::read_page_at(AT_FDCWD, path, text, sizeof text);
    if (std::string_view(text, bytes).find("VA=1") != std::string_view::npos) {
        record.IS_VA_driver[slot] = 1;
    }
    interface::log("find_adapter->header.IS_VA_driver[%d] = %d\n", slot, record.IS_VA_driver[slot]);
}

void record_adapter(find_adapter& record, std::int32_t slot, const Family& family, const drmDevice& device) {
    read_card_number(record, slot, device);
    interface::log("drm_card_idx: %d\n", record.drm_card_idx[slot]);
    const drmPciBusInfo& pci = *device.businfo.pci;
    record_location(slot, pci);
    gpu_infos& adapter = record.gpu_infos[slot];
    std::snprintf(adapter.bus_id, sizeof adapter.bus_id, "%04x:%02x:%02x.%d", pci.domain, pci.bus, pci.dev, pci.func);
    open_directories(adapter, family);
    read_va_flag(record, slot, family);
}

void consider_own_device(find_adapter& record, const drmDevice* device) {
    const Family* family = is_pci_device(device) ? find_family(device->deviceinfo.pci->vendor_id) : nullptr;
    if (family == nullptr) {
        return;
    }
    auto node = open_answering_node(*device);
    if (!node) {
        return;
    }
    const std::uint16_t device_id = device->deviceinfo.pci->device_id;
    interface::log("check venderid: 0x%x, device id:0x%x\n", family->vendor, device_id);
    if (record.vendor_filter != family->vendor && record.vendor_filter != 0xFFFF) {
        return;
    }
    const std::int32_t slot = record.chip_num;
    find_adapter_ext1_cache.vendor_id[slot] = family->vendor;
    record.drm_fd[slot] = node->get(); // of an unknown chip the number stays here although the node is closed
    const Chip* chip = find_chip(family->vendor, device_id);
    if (chip == nullptr) {
        return;
    }
    record.drm_fd[slot] = node->release(); // open until the process ends
    record.chip_id[slot] = chip->device;
    support::format_into(record.name[slot], chip->display_name, slot);
    interface::log("%s", chip->log_line);
    record_adapter(record, slot, *family, *device);
    ++record.chip_num;
}

// Records the device in slot 2, over a third adapter of the maker if there is one: clients look for it there.
bool record_other_vendor(find_adapter& record, const drmDevice* device) {
    if (!is_pci_device(device) || find_family(device->deviceinfo.pci->vendor_id) != nullptr) {
        return false;
    }
    if (!open_answering_node(*device)) {
        return false;
    }
    const std::uint16_t vendor = device->deviceinfo.pci->vendor_id;
    const std::uint16_t device_id = device->deviceinfo.pci->device_id;
    const OtherVendor& row = find_other_vendor(vendor);
    find_adapter_ext1_cache.vendor_id[kOtherVendorSlot] = vendor;
    record.chip_id[kOtherVendorSlot] = device_id;
    support::format_into(record.name[kOtherVendorSlot], row.display_name, kOtherVendorSlot);
    char log_line[128];
    support::format_into(log_line, row.log_line, vendor, device_id);
    interface::log("%s", log_line);
    read_card_number(record, kOtherVendorSlot, *device);
    record_location(kOtherVendorSlot, *device->businfo.pci);
    find_adapter_ext1_cache.other_vendor_chip_num = 1;
    return true;
}

// Hands the first three list positions to `visit` until it returns true. Reports a longer list.
template<typename Visit>
void visit_positions(const DeviceList& devices, Visit visit) {
    for (std::size_t position = 0; position < MAX_CHIP_NUM; ++position) {
        if (visit(devices.at(position)) || position + 1 == devices.size()) {
            return;
        }
    }
    interface::say_line("exceed  MAX_CHIP_NUM. ");
}

} // namespace

void find_adapters(find_adapter& record) {
    if (load_drm_library()) {
        gpuinfo_control_enable = enumerate_adapters(record) ? 1 : 0;
    }
}

bool enumerate_adapters(find_adapter& record) {
    if (drm_library().handle == nullptr) {
        return false;
    }
    record.chip_num = 0;
    const DeviceList devices;
    if (devices.size() == 0) {
        return false;
    }
    visit_positions(devices, [&](const drmDevice* device) {
        consider_own_device(record, device);
        return false;
    });
    visit_positions(devices, [&](const drmDevice* device) { return record_other_vendor(record, device); });
    interface::log("find chip num:%d, other vendor chip num:%d\n", record.chip_num,
                   find_adapter_ext1_cache.other_vendor_chip_num);
    return true;
}

} // namespace kt3::adapter
