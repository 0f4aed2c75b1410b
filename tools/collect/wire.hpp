// SPDX-License-Identifier: MIT
#pragma once
// Readings on their way from one process to another. Both ends are the same program, so a struct travels as the array
// of its members; a reading that is absent travels as an object with the reason.

#include "collect/members.hpp"
#include "observe/reading.hpp"

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace kt3::collect {

using Json = nlohmann::json;

// Plain data that travels as its bytes, whole vectors at once.
template<typename T>
inline constexpr bool kAsBytes = false;

template<typename T>
Json to_wire(const T& value);
template<typename T>
void from_wire(const Json& wire, T& into); // throws Json::exception when the text is of something else

template<typename T>
[[nodiscard]] T from_wire(const Json& wire) {
    T value{};
    from_wire(wire, value);
    return value;
}

// ---- the kinds of values --------------------------------------------------------------------------------------------

template<typename T>
struct Wire {
    static Json to(const T& value) {
        if constexpr (kMembers<T> != 0) {
            return with_members(value, [](const auto&... member) { return Json::array({to_wire(member)...}); });
        } else if constexpr (std::is_enum_v<T>) {
            return static_cast<std::underlying_type_t<T>>(value);
        } else {
            return value;
        }
    }
    static void from(const Json& wire, T& into) {
        if constexpr (kMembers<T> != 0) {
            std::size_t at = 0;
            with_members(into, [&](auto&... member) { (from_wire(wire.at(at++), member), ...); });
        } else if constexpr (std::is_enum_v<T>) {
            into = static_cast<T>(wire.get<std::underlying_type_t<T>>());
        } else {
            wire.get_to(into);
        }
    }
};

template<typename T>
struct Wire<observe::Reading<T>> {
    static Json to(const observe::Reading<T>& reading) {
        if (reading.present()) {
            return to_wire(reading.value());
        }
        return {{"absent", static_cast<int>(reading.absence())}, {"raw", reading.raw()}};
    }
    static void from(const Json& wire, observe::Reading<T>& into) {
        if (!wire.is_object()) {
            T value{};
            from_wire(wire, value);
            into = observe::Reading<T>(std::move(value));
            return;
        }
        const auto why = static_cast<observe::Absence>(wire.at("absent").get<int>());
        if (why == observe::Absence::implausible) {
            into = observe::Reading<T>(observe::Implausible{wire.at("raw").get<std::string>()});
        } else {
            into = observe::Reading<T>(why);
        }
    }
};

template<typename T>
struct Wire<std::optional<T>> {
    static Json to(const std::optional<T>& value) { return value ? Json::array({to_wire(*value)}) : Json(nullptr); }
    static void from(const Json& wire, std::optional<T>& into) {
        into.reset();
        if (!wire.is_null()) {
            from_wire(wire.at(0), into.emplace());
        }
    }
};

template<typename A, typename B>
struct Wire<std::pair<A, B>> {
    static Json to(const std::pair<A, B>& value) { return Json::array({to_wire(value.first), to_wire(value.second)}); }
    static void from(const Json& wire, std::pair<A, B>& into) {
        from_wire(wire.at(0), into.first);
        from_wire(wire.at(1), into.second);
    }
};

template<typename T>
struct Wire<std::vector<T>> {
    static Json to(const std::vector<T>& values) {
        if constexpr (kAsBytes<T>) {
            static_assert(std::is_trivially_copyable_v<T>);
            const auto* first = reinterpret_cast<const std::uint8_t*>(values.data());
            return Json::binary({first, first + values.size() * sizeof(T)});
        } else {
            Json wire = Json::array();
            for (const T& value : values) {
                wire.push_back(to_wire(value));
            }
            return wire;
        }
    }
    static void from(const Json& wire, std::vector<T>& into) {
        into.clear();
        if constexpr (kAsBytes<T>) {
            const auto& bytes = wire.get_binary();
            into.resize(bytes.size() / sizeof(T));
            std::copy_n(bytes.data(), into.size() * sizeof(T), reinterpret_cast<std::uint8_t*>(into.data()));
        } else {
            for (const Json& value : wire) {
                from_wire(value, into.emplace_back());
            }
        }
    }
};

template<typename T, std::size_t N>
struct Wire<std::array<T, N>> {
    static Json to(const std::array<T, N>& values) {
        Json wire = Json::array();
        for (const T& value : values) {
            wire.push_back(to_wire(value));
        }
        return wire;
    }
    static void from(const Json& wire, std::array<T, N>& into) {
        for (std::size_t at = 0; at < N; ++at) {
            from_wire(wire.at(at), into[at]);
        }
    }
};

template<typename Key, typename T>
struct Wire<std::map<Key, T>> {
    static Json to(const std::map<Key, T>& values) {
        Json wire = Json::array();
        for (const auto& [key, value] : values) {
            wire.push_back(Json::array({to_wire(key), to_wire(value)}));
        }
        return wire;
    }
    static void from(const Json& wire, std::map<Key, T>& into) {
        into.clear();
        for (const Json& pair : wire) {
            from_wire(pair.at(1), into[from_wire<Key>(pair.at(0))]);
        }
    }
};

template<typename T>
Json to_wire(const T& value) {
    return Wire<T>::to(value);
}

template<typename T>
void from_wire(const Json& wire, T& into) {
    Wire<T>::from(wire, into);
}

// ---- what is absent as a whole --------------------------------------------------------------------------------------

template<typename T>
void make_absent(observe::Reading<T>& reading, observe::Absence why) {
    reading = observe::Reading<T>(why);
}
template<typename T, std::size_t N>
void make_absent(std::array<T, N>& readings, observe::Absence why) {
    for (T& reading : readings) {
        make_absent(reading, why);
    }
}
// A struct of readings.
template<typename T>
requires(kMembers<T> != 0) void make_absent(T& readings, observe::Absence why) {
    with_members(readings, [&](auto&... member) { (make_absent(member, why), ...); });
}

} // namespace kt3::collect
