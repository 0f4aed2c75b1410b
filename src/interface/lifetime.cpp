// SPDX-License-Identifier: MIT
#include "interface/lifetime.hpp"

namespace kt3::interface {
namespace {

constinit bool alive = true; // nothing destroys a plain flag, so it can be asked until the library is unmapped

} // namespace

bool containers_alive() {
    return alive;
}

ContainerWatch::~ContainerWatch() {
    alive = false;
}

} // namespace kt3::interface
