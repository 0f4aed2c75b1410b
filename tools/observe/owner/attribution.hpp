// SPDX-License-Identifier: MIT
#pragma once
// Whom processes belong to: user, unit, container, pod and job, as /proc says.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kt3::observe {

// What is known of a process. Drivers publish pids of the initial pid namespace. Elsewhere a pid names another process
// or none, so nothing is known of it there: it is neither visible nor ended.
struct Attribution {
    std::int32_t pid = 0;
    bool visible = false; // what follows is of this process
    bool ended = false;   // it certainly is no more
    std::string name;     // as the kernel has it, at most 15 characters
    std::optional<std::uint32_t> uid;
    std::optional<std::string> user; // the number when the user has no name
    std::optional<std::string> unit;
    std::optional<std::string> container;
    std::optional<std::string> runtime;
    std::optional<std::string> pod;
    std::optional<std::string> job;
    std::optional<std::string> state;        // R, S, D, T, Z and others
    std::optional<std::int32_t> inner_pid;   // as its own container numbers it
    std::optional<std::uint64_t> start_time; // clock ticks after the boot; with the pid it names the process
    std::optional<std::int64_t> booted;      // when the machine started, in seconds since 1970
};

// In seconds since 1970, up to a second too early; nothing when it is not known.
[[nodiscard]] std::optional<std::int64_t> started_at(const Attribution& attribution);

using Attributions = std::vector<Attribution>; // by pid

// Looks again and again. State and start time are read each time; the rest only of a process that was not met before,
// which a later one with the same pid is not.
class AttributionReader {
public:
    explicit AttributionReader(std::string proc = "/proc") : proc_(std::move(proc)) {}

    [[nodiscard]] Attributions read(const std::vector<std::int32_t>& pids);

private:
    struct View;
    [[nodiscard]] View look_around() const;
    [[nodiscard]] Attribution look_at(std::int32_t pid, const View& view);
    [[nodiscard]] std::optional<Attribution> known_or_read(std::int32_t pid, std::uint64_t start_time) const;
    [[nodiscard]] std::string page_of(std::int32_t pid, const char* page) const;

    std::string proc_;
    std::map<std::int32_t, Attribution> known_; // those seen at some look
};

// The same with one reader for the life of this process.
[[nodiscard]] Attributions read_attributions(const std::vector<std::int32_t>& pids);

} // namespace kt3::observe
