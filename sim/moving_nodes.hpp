// SPDX-License-Identifier: MIT
#pragma once
// Driver nodes and pages whose numbers move with time. The machine lists them in <machine>/moving-nodes, one number per
// line, fields apart by tabs:
//
//     /sys/bus/pci/devices/0000:03:00.0/wy_info/eclk  <key>  triangle  900  1300  8000
//
// simulated path, key that stands before the number in the text (empty: the first number), waveform, lowest, highest,
// period in milliseconds. Waveforms: triangle and square swing between lowest and highest; count starts at lowest and
// grows by highest per period; ramp goes from lowest to highest in the first period and stays there. The text around
// the number stays as published.
//
// Engine usages and frame counters stand still while the adapter's "enable_usage" is 0: drivers account for nothing
// then.
//
// A line "clock step MILLISECONDS" makes runs repeatable: time then stands still but for one step at each opening of a
// listed file. Without a list, opening files costs nothing more.

#include <cstdint>
#include <string>
#include <string_view>

namespace kt3::sim {

enum class Waveform { triangle, square, count, ramp };

struct MovingNumber {
    std::string path; // simulated
    std::string key;  // stands before the number; empty for the first number of the text
    Waveform waveform = Waveform::triangle;
    std::int64_t lowest = 0;
    std::int64_t highest = 0;
    std::int64_t period_ms = 1000;
};

// Adds to the machine's list.
void add_moving_number(const std::string& root, const MovingNumber& number);
void step_moving_numbers(const std::string& root, std::int64_t milliseconds);

// The number at a time, which for a ramp counts from its first reading.
std::int64_t moving_value(const MovingNumber& number, std::int64_t time_ms);

// The text with the number after the key replaced; the text itself when there is no such number.
std::string with_number(std::string_view text, std::string_view key, std::int64_t value);

// Makes a list count that somebody wrote into the machine's folder by hand.
void take_up_moving_numbers(const std::string& root);

// Whether anything moves at all. Costs no system call.
bool anything_moves(std::string_view root);

// Writes the text of the file at this simulated path again when it is listed.
void refresh_moving_file(const std::string& root, const char* simulated_path);

} // namespace kt3::sim
