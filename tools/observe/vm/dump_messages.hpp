// SPDX-License-Identifier: MIT
#pragma once
// What a process that reads dumps sends to the one that waits for them, entry by entry.

#include "observe/vm/dumps.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kt3::observe {

enum class MessageKind : std::uint32_t {
    names,   // of all entries, each ended by a zero byte
    refused, // the directory cannot be opened; the error number
    begin,   // of one entry; its name
    stage,   // what is being done for it, for the case that it never ends
    finding,
    done, // all entries
    data, // and above: what the work sends about an entry
};

struct Message {
    MessageKind kind = MessageKind::done;
    std::string bytes;
};

[[nodiscard]] constexpr MessageKind data_kind(std::uint32_t which) {
    return static_cast<MessageKind>(static_cast<std::uint32_t>(MessageKind::data) + which);
}

// Where a reader sends what it read.
class Sender {
public:
    explicit Sender(std::function<void(MessageKind, std::string_view)> send) : send_(std::move(send)) {}
    void send(MessageKind kind, std::string_view bytes) const { send_(kind, bytes); }
    void send(const DumpFinding& finding) const;

    template<typename T>
    void send_all(MessageKind kind, const std::vector<T>& records) const {
        send(kind, {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(T)});
    }

private:
    std::function<void(MessageKind, std::string_view)> send_;
};

template<typename T>
void take_all(const Message& message, std::vector<T>& into) {
    into.resize(message.bytes.size() / sizeof(T));
    message.bytes.copy(reinterpret_cast<char*>(into.data()), into.size() * sizeof(T));
}

// Texts and numbers of a message one after the other. Both ends of the pipe are the same program.
class Packer {
public:
    Packer& add(std::string_view text);
    Packer& add(std::int64_t number);
    [[nodiscard]] const std::string& bytes() const { return bytes_; }

private:
    std::string bytes_;
};

class Unpacker {
public:
    explicit Unpacker(std::string_view bytes) : rest_(bytes) {}
    [[nodiscard]] bool at_end() const { return rest_.empty(); }
    std::string text();
    std::int64_t number();

private:
    std::string_view rest_;
};

[[nodiscard]] DumpFinding finding_in(const Message& message);

// What the process sends about a client of the driver, in this order.
inline constexpr MessageKind kPid = data_kind(0);
inline constexpr MessageKind kName = data_kind(1);
inline constexpr MessageKind kTables[] = {data_kind(2), data_kind(3), data_kind(4)};
inline constexpr MessageKind kPages[] = {data_kind(5), data_kind(6), data_kind(7)};
inline constexpr MessageKind kEnd = data_kind(8);
inline constexpr MessageKind kDropped = data_kind(9); // no client after all

// And about an allocation.
inline constexpr MessageKind kNodes = data_kind(0);

// The folders below the driver's directory, and the stage during which a reader may end because a process name does
// not fit.
inline constexpr const char* kClientFolder = "devices";
inline constexpr const char* kAllocationFolder = "allocations";
inline constexpr const char* kNameStage = "ps";

} // namespace kt3::observe
