// SPDX-License-Identifier: MIT
// exit_client [open|close|keep LIBRARY]: stores one preference, reads the allocations of a driver in its home folder,
// ends, and calls in again from everything that runs when the library's containers are gone. Without arguments it is
// linked with the library; else it opens the library, closes it before it ends ("close"), or closes it while it stays
// mapped ("keep"). Ends with 1 when a late call is answered.

#include "config/home_folder.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

using kt3::tests::entry;

namespace {

struct Calls {
    decltype(&set_print_callback) set_callback = nullptr;
    decltype(&get_gpu_preference) get = nullptr;
    decltype(&set_gpu_preference) set = nullptr;
    decltype(&remove_gpu_preference) remove = nullptr;
    decltype(&gfx_global_exit) exit = nullptr;
    decltype(&get_memleak_info) leaks = nullptr;
    decltype(&get_allocation_raw_list) raw_list = nullptr;
    decltype(&get_pagetable_data) page_tables = nullptr;
    decltype(&get_allocation_data) nodes = nullptr;
};
constinit Calls calls;

struct Objects {
    decltype(&sys_kernel_debug_ID_dri_ADAPTER_path) driver = nullptr;
    std::vector<data_vectors>* clients = nullptr;
    std::vector<allcation_Info>* nodes = nullptr;
};
constinit Objects objects;

bool resolve_calls(void* library) {
#ifdef KT3_LINKED
    static_cast<void>(library);
    calls = {set_print_callback, get_gpu_preference,      set_gpu_preference, remove_gpu_preference, gfx_global_exit,
             get_memleak_info,   get_allocation_raw_list, get_pagetable_data, get_allocation_data};
    objects = {&sys_kernel_debug_ID_dri_ADAPTER_path, &Pagetable_List, &Allocation_List};
    return true;
#else
    const auto find = [library](auto& call, const char* name) {
        call = reinterpret_cast<std::remove_reference_t<decltype(call)>>(::dlsym(library, name));
    };
    find(calls.set_callback, "set_print_callback");
    find(calls.get, "get_gpu_preference");
    find(calls.set, "set_gpu_preference");
    find(calls.remove, "remove_gpu_preference");
    find(calls.exit, "gfx_global_exit");
    find(calls.leaks, "get_memleak_info");
    find(calls.raw_list, "get_allocation_raw_list");
    find(calls.page_tables, "get_pagetable_data");
    find(calls.nodes, "get_allocation_data");
    find(objects.driver, "sys_kernel_debug_ID_dri_ADAPTER_path");
    find(objects.clients, "Pagetable_List");
    find(objects.nodes, "Allocation_List");
    return calls.exit != nullptr && objects.nodes != nullptr;
#endif
}

// Exit statuses are settled before destructors run, hence _exit.
void expect(bool held, const char* where, const char* what) {
    if (!held) {
        std::fprintf(stderr, "%s: %s\n", where, what);
        ::_exit(1);
    }
}

// Whether the call leaves the record, which holds no zeros, as it was, and its result.
template<typename Record, typename Call>
bool leaves_alone(Call call) {
    Record before;
    std::memset(&before, 0x5A, sizeof before);
    Record after = before;
    return call(after) && std::memcmp(&before, &after, sizeof before) == 0;
}

struct LeakGroups {
    _GFX_ALLOCATION_INFO group[KT3_MEMLEAK_GROUPS];
};

void read_late(const char* where) {
    expect(leaves_alone<LeakGroups>([](auto& leaks) { return calls.leaks(leaks.group) == 0; }), where,
           "leak groups are written");
    expect(leaves_alone<_GFX_ALLOCATION_RAW_LIST>([](auto& list) {
               find_adapter adapters = {};
               const bool later_slice = calls.raw_list(&list, &adapters) == -1;
               list.trasfer_cnt = 0;
               const bool first_slice = calls.raw_list(&list, &adapters) == -1;
               list.trasfer_cnt = 0x5A5A5A5A;
               return later_slice && first_slice;
           }),
           where, "a raw list is answered");
    expect(leaves_alone<std::uint32_t>([](auto& count) {
               return calls.page_tables(nullptr, &count) == 0 && calls.nodes(nullptr, &count) == 0;
           }),
           where, "snapshots are counted");
    expect(leaves_alone<_PAGETABLE_DATA>([](auto& row) { return calls.page_tables(&row, nullptr) == 0; }), where,
           "rows are written");
    expect(leaves_alone<_GFX_VM_ALLOCATION_DATA>([](auto& node) { return calls.nodes(&node, nullptr) == 0; }), where,
           "nodes are written");
}

void call_late(const char* where) {
    if (calls.get == nullptr) {
        return;
    }
    read_late(where);
    const auto late = entry("late", "/bin/late");
    auto read = late;
    std::int32_t count = 1;
    expect(calls.get(&read, &count) == 0 && count == 0, where, "get hands out an entry");
    expect(std::memcmp(&read, &late, sizeof late) == 0, where, "get writes into the array");
    expect(calls.get(nullptr, &count) == 0 && count == 0, where, "get counts entries");
    expect(calls.set(&late) == 0, where, "set fails");
    expect(calls.remove(&late) == 0, where, "remove fails");
    expect(calls.exit(0) == 0, where, "exit fails");
    std::puts(where);
    std::fflush(stdout); // nobody does so after the last of these calls
}

#ifdef KT3_LINKED
// What is registered before a linked library is initialised runs after it has been finished.
__attribute__((section(".preinit_array"), used)) void (*const register_first)(int, char**, char**) =
    [](int, char**, char**) { ::on_exit([](int, void*) { call_late("exit handler"); }, nullptr); };
#else
struct OlderObject {
    ~OlderObject() { call_late("older object"); }
};
OlderObject older_object;

__attribute__((destructor)) void run_at_unload() {
    call_late("unload");
}
#endif

void store_preference() {
    calls.set_callback(nullptr);
    const auto kept = entry("kept", "/bin/kept");
    calls.set(&kept);
}

// The page-table lists are filled by hand, as their dumps lie at fixed places.
void read_driver() {
    const std::string driver = std::string(std::getenv("HOME")) + "/wy";
    std::filesystem::create_directories(driver + "/allocations/1");
    kt3::tests::HomeFolder::write_to(driver + "/allocations/1/info", "handle=1\nsize=4096\n");
    std::strcpy(*objects.driver, driver.c_str());
    LeakGroups leaks = {};
    calls.leaks(leaks.group);
    expect(leaks.group[0].size == 4096, "main", "no allocation");
    _GFX_ALLOCATION_RAW_LIST list = {};
    find_adapter adapters = {};
    expect(calls.raw_list(&list, &adapters) == 0 && list.total_cnt == 1, "main", "no raw list");
    objects.clients->emplace_back().pt_level0.emplace_back().Addr[0] = '1';
    objects.clients->back().pid[0] = '1';
    objects.nodes->push_back({"1", "a name too long for a short string", "1", "1", "1"});
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view mode = count == 3 ? arguments[1] : "";
    void* library = nullptr;
#ifndef KT3_LINKED
    std::atexit([] { call_late("exit handler"); });
    library = ::dlopen(arguments[2], RTLD_NOW | RTLD_LOCAL | (mode == "keep" ? RTLD_NODELETE : 0));
#endif
    if (!resolve_calls(library)) {
        return 2;
    }
    store_preference();
    read_driver();
#ifndef KT3_LINKED
    if (mode == "close" || mode == "keep") {
        ::dlclose(library);
    }
#endif
    if (mode == "close") {
        calls = {};
    }
    return 0;
}
