// SPDX-License-Identifier: MIT
#pragma once
// Clients may call after the exported containers are destroyed: from the destructor of an object that is older than the
// library, or from an exit handler that was registered before the library was loaded. Every call that would touch a
// container asks first, and answers like a failed call when they are destroyed.

namespace kt3::interface {

// False from the moment at which the first container is about to be destroyed, at exit or when the library is unloaded.
bool containers_alive();

// Defined right after the containers of a file, one object of this type is destroyed right before them.
struct ContainerWatch {
    constexpr ContainerWatch() = default;
    ~ContainerWatch();
    ContainerWatch(const ContainerWatch&) = delete;
    ContainerWatch& operator=(const ContainerWatch&) = delete;
};

} // namespace kt3::interface
