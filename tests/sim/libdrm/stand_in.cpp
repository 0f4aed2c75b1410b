// SPDX-License-Identifier: MIT
// A libdrm that does what the real one does not. Built several times with entry points left out; what the others
// answer is said by KT3_STANDIN_DRM, words separated by blanks:
//
//     pci=0000:03:00.0,7a52:5c0e,0   a device: place, vendor and device, card number; repeated for each of them
//     usb=INDEX                      this device sits on another bus
//     null=INDEX                     this entry of the list stays null
//     nodes=INDEX,MASK               the node types it offers, bits 1 primary, 2 control, 4 render (the default is 5)
//     first=COUNT second=COUNT       what the calls without and with a list answer
//     no-version                     no driver answers a version request

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>
#include <xf86drm.h>

namespace {

struct DeviceWords {
    drmPciBusInfo bus{};
    drmPciDeviceInfo identity{};
    int card = 0;
    int nodes = 1 << DRM_NODE_PRIMARY | 1 << DRM_NODE_RENDER;
    bool usb = false;
    bool null = false;
};

constexpr int kAsMany = INT_MIN; // as many as there are devices

struct Description {
    std::vector<DeviceWords> devices;
    int first = kAsMany;
    int second = kAsMany;
    bool version = true;
};

// What was handed out and not given back. A variant that cannot take it back releases it at unload, so that it is no
// leak of the test.
struct HandedOut {
    std::set<void*> pieces;
    ~HandedOut() {
        for (void* piece : pieces) {
            std::free(piece);
        }
    }
};
HandedOut g_devices;
HandedOut g_versions;

bool read_device(const char* word, DeviceWords& device) {
    unsigned domain = 0;
    unsigned bus = 0;
    unsigned slot = 0;
    unsigned function = 0;
    unsigned vendor = 0;
    unsigned id = 0;
    if (std::sscanf(word, "pci=%x:%x:%x.%u,%x:%x,%d", &domain, &bus, &slot, &function, &vendor, &id, &device.card) !=
        7) {
        return false;
    }
    device.bus = {static_cast<std::uint16_t>(domain), static_cast<std::uint8_t>(bus), static_cast<std::uint8_t>(slot),
                  static_cast<std::uint8_t>(function)};
    device.identity.vendor_id = static_cast<std::uint16_t>(vendor);
    device.identity.device_id = static_cast<std::uint16_t>(id);
    return true;
}

void read_word(const char* word, Description& description) {
    DeviceWords device;
    unsigned index = 0;
    int mask = 0;
    if (read_device(word, device)) {
        description.devices.push_back(device);
    } else if (std::sscanf(word, "usb=%u", &index) == 1) {
        description.devices.at(index).usb = true;
    } else if (std::sscanf(word, "null=%u", &index) == 1) {
        description.devices.at(index).null = true;
    } else if (std::sscanf(word, "nodes=%u,%d", &index, &mask) == 2) {
        description.devices.at(index).nodes = mask;
    } else if (std::strcmp(word, "no-version") == 0) {
        description.version = false;
    } else if (std::sscanf(word, "first=%d", &description.first) != 1 &&
               std::sscanf(word, "second=%d", &description.second) != 1) {
        std::fprintf(stderr, "stand-in libdrm: what is '%s'?\n", word);
        std::abort();
    }
}

Description describe() {
    Description description;
    const char* text = std::getenv("KT3_STANDIN_DRM");
    std::string words = text == nullptr ? "" : text;
    for (char* word = std::strtok(words.data(), " "); word != nullptr; word = std::strtok(nullptr, " ")) {
        read_word(word, description);
    }
    return description;
}

// Everything of a device in one block, as one free() returns it.
struct WholeDevice {
    drmDevice device;
    char* nodes[DRM_NODE_MAX];
    char names[DRM_NODE_MAX][64];
    drmPciBusInfo bus;
    drmPciDeviceInfo identity;
};

drmDevicePtr make_device(const DeviceWords& words) {
    if (words.null) {
        return nullptr;
    }
    auto* whole = static_cast<WholeDevice*>(std::calloc(1, sizeof(WholeDevice)));
    constexpr const char* kinds[] = {"card", "controlD", "renderD"};
    for (int type = 0; type < DRM_NODE_MAX; ++type) {
        std::snprintf(whole->names[type], sizeof whole->names[type], "/dev/dri/%s%d", kinds[type],
                      type * 64 + words.card);
        whole->nodes[type] = whole->names[type];
    }
    whole->bus = words.bus;
    whole->identity = words.identity;
    whole->device.nodes = whole->nodes;
    whole->device.available_nodes = words.nodes;
    whole->device.bustype = words.usb ? DRM_BUS_USB : DRM_BUS_PCI;
    whole->device.businfo.pci = &whole->bus;
    whole->device.deviceinfo.pci = &whole->identity;
    g_devices.pieces.insert(whole);
    return &whole->device;
}

[[maybe_unused]] int get_devices(drmDevicePtr devices[], int most) {
    const Description description = describe();
    const int count = static_cast<int>(description.devices.size());
    if (devices == nullptr) {
        return description.first == kAsMany ? count : description.first;
    }
    for (int at = 0; at < most; ++at) {
        devices[at] = at < count ? make_device(description.devices[static_cast<std::size_t>(at)]) : nullptr;
    }
    return description.second == kAsMany ? count : description.second;
}

} // namespace

extern "C" {

// For tests: what was handed out and not freed yet.
int kt3_standin_devices_held() {
    return static_cast<int>(g_devices.pieces.size());
}
int kt3_standin_versions_held() {
    return static_cast<int>(g_versions.pieces.size());
}

#ifndef KT3_WITHOUT_drmGetDevices2
int drmGetDevices2(std::uint32_t, drmDevicePtr devices[], int most) {
    return get_devices(devices, most);
}
#endif

#ifndef KT3_WITHOUT_drmGetDevices
int drmGetDevices(drmDevicePtr devices[], int most) {
    return get_devices(devices, most);
}
#endif

#ifndef KT3_WITHOUT_drmFreeDevices
void drmFreeDevices(drmDevicePtr devices[], int count) {
    for (int at = 0; at < count; ++at) {
        g_devices.pieces.erase(devices[at]);
        std::free(devices[at]);
        devices[at] = nullptr;
    }
}
#endif

#ifndef KT3_WITHOUT_drmGetVersion
drmVersionPtr drmGetVersion(int) {
    if (!describe().version) {
        return nullptr;
    }
    auto* version = static_cast<drmVersionPtr>(std::calloc(1, sizeof(drmVersion)));
    version->version_major = 1;
    g_versions.pieces.insert(version);
    return version;
}
#endif

#ifndef KT3_WITHOUT_drmFreeVersion
void drmFreeVersion(drmVersionPtr version) {
    g_versions.pieces.erase(version);
    std::free(version);
}
#endif

} // extern "C"
