// SPDX-License-Identifier: MIT
#pragma once
// One value of a row. What it is decides how it looks as text, in CSV and in JSON.

#include "observe/adapter/machine.hpp"
#include "observe/reading.hpp"
#include "output/json.hpp"

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace kt3::output {

using observe::Absence;
using observe::Reading;

enum class Kind { flag, integer, bytes, hex, number, text, bus_id, texts };

// A size: "7.9 MiB" on screen, the plain number elsewhere.
struct Bytes {
    std::int64_t count;
};

// An identifier: "0x5c0e" on screen, decimal elsewhere.
struct Hex {
    std::int64_t number;
};

class Value {
public:
    Value() = default; // nothing
    Value(Absence why) : why_(why) {}
    Value(bool flag) : kind_(Kind::flag), held_(flag) {}
    Value(double number) : kind_(Kind::number), held_(number) {}
    Value(std::signed_integral auto number) : kind_(Kind::integer), held_(std::int64_t{number}) {}
    Value(std::unsigned_integral auto number) : kind_(Kind::integer), held_(std::uint64_t{number}) {}
    Value(Bytes bytes) : kind_(Kind::bytes), held_(bytes.count) {}
    Value(Hex hex) : kind_(Kind::hex), held_(hex.number) {}
    Value(std::string text) : kind_(Kind::text), held_(std::move(text)) {}
    Value(const char* text) : Value(std::string(text)) {}
    Value(const observe::BusId& bus) : Value(observe::bus_text(bus)) {}
    Value(std::vector<std::string> texts) : kind_(Kind::texts), held_(std::move(texts)) {}

    template<typename T>
    Value(const std::optional<T>& value) : Value(value ? Value(*value) : Value()) {}
    template<typename T>
    Value(const Reading<T>& reading) : Value(reading.present() ? Value(reading.value()) : Value(reading.absence())) {
        raw_ = reading.raw();
    }

    [[nodiscard]] bool present() const { return !std::holds_alternative<std::monostate>(held_); }
    [[nodiscard]] std::optional<Absence> why() const { return why_; } // of an absent reading

    [[nodiscard]] const std::string& raw() const { return raw_; } // what an implausible value is in the node

    // A number of at most 63 bits.
    [[nodiscard]] std::optional<std::int64_t> whole() const {
        const auto* number = std::get_if<std::int64_t>(&held_);
        return number == nullptr ? std::nullopt : std::optional(*number);
    }

    [[nodiscard]] std::string text() const; // for the screen: "yes", "7.9 MiB"; "-" for an absent reading
    [[nodiscard]] std::string csv() const;  // bare: "true", "8294400"; empty when absent
    [[nodiscard]] Json json() const;        // null when absent

private:
    Kind kind_ = Kind::text;
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, std::vector<std::string>>
        held_;
    std::optional<Absence> why_;
    std::string raw_;
};

// For the screen, with its unit: "45 C", "2048 MiB", "-  (permission denied)".
[[nodiscard]] std::string shown(const Value& value, const char* unit = "");

// For a table cell: the same without the reason.
[[nodiscard]] std::string shown_briefly(const Value& value, const char* unit = "");

// "key": the value or null, and "key_reason": null or the code. Both keys are always there; the object "raw" has the
// text of an implausible one under its key.
void put_reading(Json& object, const std::string& key, const Value& value);

// What the schema says of the values of a column.
struct Type {
    Kind kind;
    bool nullable = false;
    bool reading = false; // null with a reason
};

template<typename T>
struct TypeOf;
template<std::integral T>
struct TypeOf<T> {
    static constexpr Type type{Kind::integer};
};
template<>
struct TypeOf<bool> {
    static constexpr Type type{Kind::flag};
};
template<>
struct TypeOf<double> {
    static constexpr Type type{Kind::number};
};
template<>
struct TypeOf<Bytes> {
    static constexpr Type type{Kind::bytes};
};
template<>
struct TypeOf<Hex> {
    static constexpr Type type{Kind::hex};
};
template<>
struct TypeOf<std::string> {
    static constexpr Type type{Kind::text};
};
template<>
struct TypeOf<const char*> {
    static constexpr Type type{Kind::text};
};
template<>
struct TypeOf<observe::BusId> {
    static constexpr Type type{Kind::bus_id};
};
template<>
struct TypeOf<std::vector<std::string>> {
    static constexpr Type type{Kind::texts};
};
template<typename T>
struct TypeOf<std::optional<T>> {
    static constexpr Type type{TypeOf<T>::type.kind, true};
};
template<typename T>
struct TypeOf<Reading<T>> {
    static constexpr Type type{TypeOf<T>::type.kind, true, true};
};

} // namespace kt3::output
