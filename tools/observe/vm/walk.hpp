// SPDX-License-Identifier: MIT
#pragma once
// Dumps are read in a child process with a deadline: a stuck process can block ps for ever, and the library ends the
// process that meets an over-long field. The child sends what it read through a pipe, entry by entry.

#include "observe/failure.hpp"
#include "observe/library/library.hpp"
#include "observe/vm/dumps.hpp"

#include <functional>
#include <string_view>

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

// The child's end of the pipe. Sending ends the child when nobody listens any more.
class Sender {
public:
    explicit Sender(int pipe) : pipe_(pipe) {}
    void send(MessageKind kind, std::string_view bytes);
    void send(const DumpFinding& finding);

    template<typename T>
    void send_all(MessageKind kind, const std::vector<T>& records) {
        send(kind, {reinterpret_cast<const char*>(records.data()), records.size() * sizeof(T)});
    }

private:
    int pipe_;
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

struct EntryWork {
    const char* folder; // below the driver's directory
    std::vector<std::string> no_entries;
    // In the child. With `check` only to find out what is wrong with an entry that ended a child before.
    std::function<void(const std::string& entry, bool check, Sender& sender)> read;
    // In the parent: an entry begins; a message about it arrived.
    std::function<void(const std::string& entry)> begin;
    std::function<void(const Message& message)> take;
};

// The stage during which a child may end because a process name does not fit.
inline constexpr const char* kNameStage = "ps";

// Every entry of the folder, in the order of its listing. What went wrong is added to `findings`. Throws Failure when
// the folder cannot be listed.
void walk_entries(const Library& library, const EntryWork& work, double timeout, std::vector<DumpFinding>& findings);

} // namespace kt3::observe
