// SPDX-License-Identifier: MIT
#include "observe/vm/check.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

namespace kt3::observe {
namespace {

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

bool is_level(int level) {
    return level >= 0 && level < kLevels;
}

// Gathers what is wrong with the lines of one file. A dump can have the same fault in each of its lines.
struct Checked {
    std::string entry;
    std::string file;
    std::vector<DumpFinding> findings{};
    int line = 0; // the current one

    void add(const char* code, std::string message) {
        const auto same = std::find_if(findings.begin(), findings.end(), [&](const DumpFinding& finding) {
            return finding.code == code && finding.message == message;
        });
        if (same != findings.end()) {
            ++same->count;
        } else {
            findings.push_back({entry, file, line, code, std::move(message)});
        }
    }
};

// Calls take(number of the line, piece) for each line; a line ends at its first zero byte as far as its text is
// concerned.
template<typename Take>
void for_each_line(std::string_view text, Take take) {
    for (int line = 1; !text.empty();) {
        std::string_view piece = text.substr(0, kPieceSize);
        piece = piece.substr(0, std::min(piece.find('\n'), piece.size() - 1) + 1);
        take(line, piece.substr(0, piece.find('\0')));
        line += piece.back() == '\n' ? 1 : 0;
        text.remove_prefix(piece.size());
    }
}

void check_number(Checked& checked, const char* what, const std::function<void()>& read) {
    try {
        read();
    } catch (const std::invalid_argument&) {
        checked.add("bad_number", fmt::format("{} is not a number", what));
    } catch (const std::out_of_range&) {
        checked.add("bad_number", fmt::format("{} does not fit 32 bits", what));
    }
}

void check_length(Checked& checked, const char* what, const std::string& text) {
    if (text.size() > kFieldSize) {
        checked.add("over_long_field",
                    fmt::format("{} has {} characters, its field holds {}", what, text.size(), kFieldSize));
    }
}

// Addresses that cannot be read fail when clients fetch their rows, not before.
void check_address(Checked& checked, const DumpCalls& calls, const std::string& line, const char* key) {
    const std::string address = calls.find_Addr_in_Table(line, key);
    check_length(checked, "the address", address);
    if (address.size() > kFieldSize) {
        return;
    }
    const auto number = leading_number(address, 16);
    if (!contains(line, key)) {
        checked.add("missing_key", fmt::format("'{}' is missing", key));
    } else if (!number) {
        checked.add("bad_number", "the address is not a hexadecimal number");
    } else if (*number > std::numeric_limits<std::int32_t>::max() ||
               *number < std::numeric_limits<std::int32_t>::min()) {
        checked.add("big_address", "the address does not fit the 32 bits of exported rows");
    }
}

void check_line(Checked& checked, const DumpCalls& calls, const std::string& line) {
    const bool entry = contains(line, "entry");
    if (!entry && !contains(line, "Snoop")) {
        return;
    }
    int level = 0;
    check_number(checked, "the level", [&] { level = calls.find_Level_in_Table(line); });
    check_number(checked, "the index", [&] { (void)calls.find_Index_in_Table(line); });
    if (entry) {
        check_length(checked, "the buffer text", calls.find_Buffer_in_Table(line, "buffer:"));
    } else {
        for (const char* key : {"Snoop:", "Segment:", "LargePage:"}) {
            check_number(checked, key, [&] { (void)calls.find_value_in_subTable(line, key); });
        }
    }
    if (is_level(level)) {
        check_address(checked, calls, line, entry ? "addr:" : "Addr:");
    } else {
        check_length(checked, "the address", calls.find_Addr_in_Table(line, entry ? "addr:" : "Addr:"));
    }
}

} // namespace

std::optional<std::int64_t> leading_number(const std::string& text, int base) {
    try {
        return std::stoll(text, nullptr, base);
    } catch (const std::logic_error&) {
        return std::nullopt;
    }
}

namespace {

struct OwnerLine {
    int number;
    std::string pid;
};

// The first line with the word "pid"; the library looks no further.
std::optional<OwnerLine> owner_line(const DumpCalls& calls, std::string_view text) {
    std::optional<OwnerLine> owner;
    for_each_line(text, [&](int number, std::string_view line) {
        if (!owner && contains(line, "pid")) {
            owner = {number, calls.find_Pid_number(std::string(line))};
        }
    });
    return owner;
}

} // namespace

std::optional<std::int64_t> read_process(const DumpCalls& calls, std::string_view text) {
    const auto owner = owner_line(calls, text);
    const auto pid = owner ? leading_number(owner->pid, 10) : std::nullopt;
    return pid && *pid == static_cast<std::int32_t>(*pid) ? pid : std::nullopt;
}

std::vector<DumpFinding> check_owner(const DumpCalls& calls, const std::string& client, std::string_view text) {
    Checked checked{client, dump_path("devices", client, "info")};
    const auto owner = owner_line(calls, text);
    if (!owner) {
        checked.add("missing_key", "no line tells the process id");
        return checked.findings;
    }
    checked.line = owner->number;
    check_length(checked, "the process id", owner->pid);
    if (owner->pid.empty()) {
        checked.add("missing_key", "'pid = ' is missing");
    } else if (owner->pid.size() <= kFieldSize) {
        check_number(checked, "the process id", [&] { (void)std::stoi(owner->pid); });
    }
    return checked.findings;
}

std::vector<DumpFinding> check_page_tables(const DumpCalls& calls, const std::string& client, std::string_view text) {
    Checked checked{client, dump_path("devices", client, "vm_info")};
    for_each_line(text, [&](int number, std::string_view line) {
        checked.line = number;
        check_line(checked, calls, std::string(line));
    });
    return checked.findings;
}

// ---- lines that the library drops -----------------------------------------------------------------------------------

namespace {

// Nearly all lines begin "1:7", which takes no search.
bool looks_like_entry(std::string_view line) {
    constexpr const char* kDigits = "0123456789";
    const std::size_t level = std::min(line.find_first_not_of(' '), line.size());
    const std::size_t colon = std::min(line.find_first_not_of(kDigits, level), line.size());
    const bool numbered =
        colon > level && line.substr(colon, 1) == ":" && line.find_first_of(kDigits, colon) == colon + 1;
    return numbered || contains(line, "entry") || contains(line, "Snoop");
}

std::size_t count_entries(std::string_view text) {
    std::size_t count = 0;
    for_each_line(text, [&](int, std::string_view line) { count += looks_like_entry(line) ? 1 : 0; });
    return count;
}

// Not a level when the line has no number for it.
int level_of(const DumpCalls& calls, const std::string& line) {
    try {
        return calls.find_Level_in_Table(line);
    } catch (const std::logic_error&) {
        return -1;
    }
}

// Why the library drops the line; null when it keeps it. `above` is the level of the last page-table line, dropped ones
// included: it decides where the next one is hung.
const char* why_dropped(const DumpCalls& calls, const std::string& line, int& above) {
    const bool table = contains(line, "entry");
    if (!table && !contains(line, "Snoop")) {
        return "it has neither 'entry' nor 'Snoop'";
    }
    const int level = level_of(calls, line);
    if (!is_level(level)) {
        return "its level is not 0, 1 or 2";
    }
    if (!table) {
        return nullptr; // a sub-table entry is kept without a table, too
    }
    return level <= std::exchange(above, level) + 1 ? nullptr : "the table above it is missing";
}

} // namespace

void EntryCounter::take(std::string_view block) {
    rest_ += block;
    const std::size_t whole = rest_.rfind('\n') + 1;
    count_ += count_entries(std::string_view(rest_).substr(0, whole));
    rest_.erase(0, whole);
}

std::size_t EntryCounter::finish() {
    return count_ + count_entries(std::exchange(rest_, ""));
}

std::vector<DumpFinding> check_dropped_lines(const DumpCalls& calls, const std::string& client, std::string_view text) {
    Checked checked{client, dump_path("devices", client, "vm_info")};
    int dropped = 0;
    const char* why_first = nullptr;
    int above = -1;
    for_each_line(text, [&](int number, std::string_view line) {
        const char* why = looks_like_entry(line) ? why_dropped(calls, std::string(line), above) : nullptr;
        if (why != nullptr && dropped++ == 0) {
            checked.line = number;
            why_first = why;
        }
    });
    if (dropped > 0) { // a driver can add lines after the library's look
        checked.add("dropped_lines", fmt::format("the library leaves out {} of {} entries, the first because {}",
                                                 dropped, count_entries(text), why_first));
        checked.findings.back().count = dropped;
    }
    return checked.findings;
}

// ---- allocation nodes -----------------------------------------------------------------------------------------------

namespace {

int line_of(std::string_view text, std::size_t at) {
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

// The number of one key of a node; nothing, and a finding, when there is none.
std::optional<std::int64_t> node_number(const DumpCalls& calls, const std::string& node, const char* key, int base,
                                        Checked& checked) {
    const int first_line = checked.line;
    const std::size_t at = node.find(key);
    std::optional<std::int64_t> number;
    if (at == node.npos) {
        checked.add("missing_key", fmt::format("the node has no '{}'", key));
        return number;
    }
    checked.line += line_of(node, at) - 1;
    try {
        number = leading_number(calls.extractValue(node, key), base);
        const bool fits = number && *number >= 0 && (base == 16 || *number <= std::numeric_limits<std::int32_t>::max());
        if (!fits) {
            checked.add("bad_number", fmt::format("'{}' is not a number in its range", key));
            number.reset();
        }
    } catch (const std::out_of_range&) { // "=" is the last character
        checked.add("bad_number", fmt::format("'{}' has no value", key));
    }
    checked.line = first_line;
    return number;
}

} // namespace

std::vector<VmNode> read_nodes(const DumpCalls& calls, const std::string& allocation, std::string_view text,
                               std::vector<DumpFinding>& findings) {
    Checked checked{allocation, dump_path("allocations", allocation, "vm_info")};
    std::vector<VmNode> nodes;
    std::size_t at = 0;
    for (const std::string& node : calls.split_VmNode_Info(std::string(text))) {
        at = text.find(node, at);
        checked.line = line_of(text, at);
        at += node.size();
        const auto pid = node_number(calls, node, "device_pid", 10, checked);
        const auto gpu_va = node_number(calls, node, "gpu_va", 16, checked);
        const auto size = node_number(calls, node, "size", 16, checked);
        if (pid && gpu_va && size) {
            nodes.push_back({*pid, calls.extractValue(node, "device_pname"), allocation,
                             static_cast<std::uint64_t>(*gpu_va), static_cast<std::uint64_t>(*size)});
        }
    }
    findings.insert(findings.end(), checked.findings.begin(), checked.findings.end());
    return nodes;
}

} // namespace kt3::observe
