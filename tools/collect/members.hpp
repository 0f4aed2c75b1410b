// SPDX-License-Identifier: MIT
#pragma once
// The members of a plain struct, one after the other. kMembers<T> says how many there are; a wrong number does not
// compile, so none is ever forgotten.

#include <cstddef>
#include <type_traits>

namespace kt3::collect {

template<typename T>
inline constexpr std::size_t kMembers = 0; // for what is no plain struct

#define KT3_MEMBERS(type, count)                                                                                       \
    template<>                                                                                                         \
    inline constexpr std::size_t kMembers<type> = count

// Calls `use` with a reference to each member. T may be const.
template<typename T, typename Use>
constexpr auto with_members(T& value, Use&& use) {
    constexpr std::size_t kCount = kMembers<std::remove_const_t<T>>;
    static_assert(kCount >= 1 && kCount <= 15, "KT3_MEMBERS(type, count) is missing");
    if constexpr (kCount == 1) {
        auto& [a] = value;
        return use(a);
    } else if constexpr (kCount == 2) {
        auto& [a, b] = value;
        return use(a, b);
    } else if constexpr (kCount == 3) {
        auto& [a, b, c] = value;
        return use(a, b, c);
    } else if constexpr (kCount == 4) {
        auto& [a, b, c, d] = value;
        return use(a, b, c, d);
    } else if constexpr (kCount == 5) {
        auto& [a, b, c, d, e] = value;
        return use(a, b, c, d, e);
    } else if constexpr (kCount == 6) {
        auto& [a, b, c, d, e, f] = value;
        return use(a, b, c, d, e, f);
    } else if constexpr (kCount == 7) {
        auto& [a, b, c, d, e, f, g] = value;
        return use(a, b, c, d, e, f, g);
    } else if constexpr (kCount == 8) {
        auto& [a, b, c, d, e, f, g, h] = value;
        return use(a, b, c, d, e, f, g, h);
    } else if constexpr (kCount == 9) {
        auto& [a, b, c, d, e, f, g, h, i] = value;
        return use(a, b, c, d, e, f, g, h, i);
    } else if constexpr (kCount == 10) {
        auto& [a, b, c, d, e, f, g, h, i, j] = value;
        return use(a, b, c, d, e, f, g, h, i, j);
    } else if constexpr (kCount == 11) {
        auto& [a, b, c, d, e, f, g, h, i, j, k] = value;
        return use(a, b, c, d, e, f, g, h, i, j, k);
    } else if constexpr (kCount == 12) {
        auto& [a, b, c, d, e, f, g, h, i, j, k, l] = value;
        return use(a, b, c, d, e, f, g, h, i, j, k, l);
    } else if constexpr (kCount == 13) {
        auto& [a, b, c, d, e, f, g, h, i, j, k, l, m] = value;
        return use(a, b, c, d, e, f, g, h, i, j, k, l, m);
    } else if constexpr (kCount == 14) {
        auto& [a, b, c, d, e, f, g, h, i, j, k, l, m, n] = value;
        return use(a, b, c, d, e, f, g, h, i, j, k, l, m, n);
    } else {
        auto& [a, b, c, d, e, f, g, h, i, j, k, l, m, n, o] = value;
        return use(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o);
    }
}

} // namespace kt3::collect
