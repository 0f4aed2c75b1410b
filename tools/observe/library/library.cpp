// SPDX-License-Identifier: MIT
#include "observe/library/library.hpp"

#include "observe/failure.hpp"

#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <stdio_ext.h>

namespace kt3::observe {
namespace {

constexpr const char* kFileName = "libkt3_mgmt_interface.so";
constexpr const char* kFix = "put libkt3_mgmt_interface.so of this version beside kt3 or name it with --library FILE";

std::string executable_folder() {
    char path[4096];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
    const std::string whole(path, length < 0 ? 0 : static_cast<std::size_t>(length));
    const auto slash = whole.rfind('/');
    return slash == std::string::npos ? "." : whole.substr(0, slash);
}

std::vector<std::string> places(const std::string& file) {
    if (!file.empty()) {
        return {file.find('/') == std::string::npos ? "./" + file : file};
    }
    const std::string folder = executable_folder();
    return {folder + "/" + kFileName, folder + "/../" KT3_LIBDIR "/" + kFileName, folder + "/../lib/" + kFileName,
            kFileName};
}

// Opening it prints a line to standard output; the line waits in the buffer until it is known whether anyone wants it.
void* open_silently(const std::string& path, bool verbose) {
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
    void* object = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!verbose) {
        ::__fpurge(stdout);
    }
    std::fflush(stdout);
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    return object;
}

// A file that is there but cannot be opened is the one to talk about, not the places searched after it.
[[noreturn]] void not_opened(const std::string& reason) {
    const bool drm_missing = reason.find("libdrm") != std::string::npos;
    throw Failure{ExitStatus::driver, drm_missing ? "libdrm_missing" : "library_missing",
                  fmt::format("cannot open {}: {}", kFileName, reason),
                  drm_missing ? "install libdrm (Debian: apt-get install libdrm2)" : kFix};
}

void resolve_base_calls(Library& library) {
    std::string missing;
    const auto find = [&](const char* name) {
        void* address = ::dlsym(library.object.get(), name);
        if (address == nullptr) {
            missing += fmt::format("{}'{}'", missing.empty() ? "" : ", ", name);
        }
        return address;
    };
#define KT3_RESOLVE(name) library.calls.name = reinterpret_cast<decltype(&::name)>(find(#name))
    KT3_BASE_CALLS(KT3_RESOLVE);
#undef KT3_RESOLVE
    if (!missing.empty()) {
        throw Failure{ExitStatus::driver, "symbol_missing", fmt::format("{} lacks {}", library.path, missing), kFix};
    }
}

} // namespace

Library open_library(const std::string& file, const Words& words) {
    Library library;
    library.words = words;
    std::string reason;
    for (const std::string& place : places(file)) {
        const bool present = place.find('/') == std::string::npos || ::access(place.c_str(), F_OK) == 0;
        if (!present && file.empty()) {
            continue;
        }
        library.object = support::Library(open_silently(place, words.verbose));
        if (library.object) {
            library.path = place;
            break;
        }
        if (reason.empty()) {
            reason = ::dlerror();
        }
    }
    if (!library.object) {
        not_opened(reason);
    }
    resolve_base_calls(library);
    return library;
}

void* required_symbol(const Library& library, const char* name) {
    void* address = ::dlsym(library.object.get(), name);
    if (address == nullptr) {
        throw Failure{ExitStatus::driver, "symbol_missing", fmt::format("{} lacks '{}'", library.path, name), kFix};
    }
    return address;
}

} // namespace kt3::observe
