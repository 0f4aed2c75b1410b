#pragma once
// Clients may call in when the exported containers are gone: from the destructor of an object that is older than the
// library, or from an exit handler that was registered before the library was loaded. Every call that would touch a
// container asks first, does nothing when they are gone, and answers as it answers a failure.

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
