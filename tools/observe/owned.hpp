#pragma once
// Handles that close themselves.

#include <dirent.h>
#include <dlfcn.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace kt3::observe {

class Fd {
public:
    Fd() = default;
    explicit Fd(int number) : number_(number) {}
    Fd(Fd&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    explicit operator bool() const { return number_ >= 0; }
    [[nodiscard]] int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }

private:
    int number_ = -1;
};

struct CloseDirectory {
    void operator()(DIR* listing) const { ::closedir(listing); }
};
using Dir = std::unique_ptr<DIR, CloseDirectory>;

struct CloseObject {
    void operator()(void* object) const { ::dlclose(object); }
};
using SharedObject = std::unique_ptr<void, CloseObject>;

} // namespace kt3::observe
