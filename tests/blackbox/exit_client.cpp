// exit_client [open|close|keep LIBRARY]: stores one preference, ends, and calls in again from everything that runs when
// the library's containers are gone. Without arguments it is linked with the library; else it opens the library, closes
// it before it ends ("close"), or closes it while it stays mapped ("keep"). Ends with 1 when a late call is answered.

#include "config/home_folder.hpp"

#include <cstdio>
#include <cstdlib>
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
};
constinit Calls calls;

bool resolve_calls(void* library) {
#ifdef KT3_LINKED
    static_cast<void>(library);
    calls = {set_print_callback, get_gpu_preference, set_gpu_preference, remove_gpu_preference, gfx_global_exit};
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
    return calls.exit != nullptr;
#endif
}

// Exit statuses are settled before destructors run, hence _exit.
void expect(bool held, const char* where, const char* what) {
    if (!held) {
        std::fprintf(stderr, "%s: %s\n", where, what);
        ::_exit(1);
    }
}

void call_late(const char* where) {
    if (calls.get == nullptr) {
        return;
    }
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
    if (mode == "close" || mode == "keep") {
        ::dlclose(library);
    }
    if (mode == "close") {
        calls = {};
    }
    return 0;
}
