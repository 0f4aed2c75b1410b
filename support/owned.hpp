// SPDX-License-Identifier: MIT
#pragma once
// Owned handles: a value, the function that closes it, and the value that means "nothing held".
// The five names at the end are all the handles that are opened. Every open is close-on-exec.

#include <cstdio>
#include <dirent.h>
#include <dlfcn.h>
#include <unistd.h>
#include <utility>

namespace kt3::support {

template<typename Value, auto Close, Value Empty>
class Owned {
public:
    Owned() = default;
    explicit Owned(Value value) : value_(value) {}
    Owned(Owned&& other) noexcept : value_(other.release()) {}
    Owned& operator=(Owned&& other) noexcept {
        reset(other.release());
        return *this;
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() { reset(); }

    [[nodiscard]] Value get() const { return value_; }
    explicit operator bool() const { return value_ != Empty; }

    // Hands the value over to somebody who keeps it longer than this object lives.
    [[nodiscard]] Value release() { return std::exchange(value_, Empty); }

    void reset(Value value = Empty) {
        const Value old = std::exchange(value_, value);
        if (old != Empty) {
            Close(old);
        }
    }

private:
    Value value_ = Empty;
};

using Fd = Owned<int, ::close, -1>;
using Dir = Owned<DIR*, ::closedir, nullptr>;
using File = Owned<FILE*, ::fclose, nullptr>;
using Pipe = Owned<FILE*, ::pclose, nullptr>;
using Library = Owned<void*, ::dlclose, nullptr>;

} // namespace kt3::support
