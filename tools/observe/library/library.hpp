// SPDX-License-Identifier: MIT
#pragma once
// libkt3_mgmt_interface.so, opened at run time. The types of its entry points come from the public header.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/owned.hpp"

#include <string>
#include <vector>

namespace kt3::observe {

// The entry points that every command may count on; all must be there.
#define KT3_BASE_CALLS(row)                                                                                            \
    row(get_interface_version);                                                                                        \
    row(get_interface_version_ext1);                                                                                   \
    row(set_print_callback);                                                                                           \
    row(gfx_find_adapter);                                                                                             \
    row(gfx_find_adapter_ext1);                                                                                        \
    row(gfx_global_init);                                                                                              \
    row(gfx_global_exit);                                                                                              \
    row(gpuinfo_vorla_init);                                                                                           \
    row(gpuinfo_select_new_chip)

struct BaseCalls {
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member is not an expression
#define KT3_MEMBER(name) decltype(&::name) name = nullptr
    KT3_BASE_CALLS(KT3_MEMBER);
#undef KT3_MEMBER
};

// The library's own words: what it prints and logs.
struct Words {
    bool verbose = false;                                              // all of them are wanted
    void (*show)(const std::string& line) = [](const std::string&) {}; // where those that are wanted go
};

struct Library {
    support::Library object;
    std::string path; // of the file that was opened
    BaseCalls calls;
    Words words;
};

// Opens `file`, or with an empty name the library beside the executable, in the folders an installation uses, or
// wherever the loader finds it. Throws Failure when there is none or an entry point of BaseCalls is missing. The line
// that the library prints when it is loaded is dropped unless `words.verbose`.
[[nodiscard]] Library open_library(const std::string& file, const Words& words);

// The address of a symbol; throws Failure, with the name, when the library has none.
[[nodiscard]] void* required_symbol(const Library& library, const char* name);

// KT3_ENTRY(library, name): an entry point that only some commands need, with its type from the public header.
// KT3_OBJECT(library, name): the address of an exported object.
#define KT3_ENTRY(library, name)                                                                                       \
    (reinterpret_cast<decltype(&::name)>(::kt3::observe::required_symbol((library), #name)))
#define KT3_OBJECT(library, name) (static_cast<decltype(&::name)>(::kt3::observe::required_symbol((library), #name)))

} // namespace kt3::observe
