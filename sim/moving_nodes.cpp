// SPDX-License-Identifier: MIT
#include "moving_nodes.hpp"

#include "machine_state.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

namespace kt3::sim {
namespace {

struct WaveformName {
    std::string_view name;
    Waveform waveform;
};

constexpr WaveformName kWaveforms[] = {
    {"triangle", Waveform::triangle},
    {"square", Waveform::square},
    {"count", Waveform::count},
    {"ramp", Waveform::ramp},
};

constexpr char kStepClock[] = "clock step ";

struct MovingList {
    std::vector<MovingNumber> numbers;
    std::int64_t step_ms = 0; // 0: the real clock
};

std::string list_path(const std::string& root) {
    return root + "/moving-nodes";
}

// A line that is not an entry is left out.
void read_entry(const std::string& line, MovingList& list) {
    if (line.compare(0, sizeof kStepClock - 1, kStepClock) == 0) {
        list.step_ms = std::strtoll(line.c_str() + sizeof kStepClock - 1, nullptr, 10);
        return;
    }
    std::istringstream fields(line);
    MovingNumber number;
    std::string waveform;
    std::getline(fields, number.path, '\t');
    std::getline(fields, number.key, '\t');
    std::getline(fields, waveform, '\t');
    for (const WaveformName& row : kWaveforms) {
        if (row.name == waveform && fields >> number.lowest >> number.highest >> number.period_ms &&
            number.period_ms > 0) {
            number.waveform = row.waveform;
            list.numbers.push_back(number);
        }
    }
}

MovingList read_list(const std::string& root) {
    MovingList list;
    std::ifstream in(list_path(root));
    for (std::string line; std::getline(in, line);) {
        read_entry(line, list);
    }
    return list;
}

void append(const std::string& root, const std::string& line) {
    if (MachineState* state = machine_state(root)) {
        std::ofstream(list_path(root), std::ios::app) << line << '\n';
        state->moving.fetch_add(1);
    }
}

// Engine usages and frame counters, which drivers keep up while accounting is switched on.
constexpr std::string_view kAccounted[] = {"engine_3d_usage",  "engine_vcp_usage", "engine_vcp_info",
                                           "engine_vpp_usage", "fps_count",        "rxa_blt_scn_cnt"};
constexpr std::string_view kAccountedKey = "GPU Use Rate(";
constexpr std::string_view kPages = "/proc/gpuinfo_";

bool is_accounted(const MovingNumber& number) {
    const std::string name = std::filesystem::path(number.path).filename();
    return number.key.starts_with(kAccountedKey) ||
           std::find(std::begin(kAccounted), std::end(kAccounted), name) != std::end(kAccounted);
}

// The folder of nodes of the adapter that the node or page belongs to.
std::filesystem::path nodes_beside(const std::string& root, const std::string& path) {
    if (!path.starts_with(kPages)) {
        return std::filesystem::path(root + path).parent_path();
    }
    const std::string device = root + "/sys/class/drm/card" + path.substr(kPages.size()) + "/device/";
    std::error_code ignored;
    return device + (std::filesystem::exists(device + "wy_info", ignored) ? "wy_info" : "qn_info");
}

bool accounting_is_off(const std::string& root, const std::string& path) {
    std::ifstream node(nodes_beside(root, path) / "enable_usage");
    int state = 1; // of an adapter without the node
    node >> state;
    return node && state == 0;
}

std::int64_t since_first_reading(MachineState& state, std::int64_t now) {
    std::int64_t first = 0;
    return state.first_reading_ms.compare_exchange_strong(first, now) ? 0 : now - first;
}

std::int64_t time_now(const MovingList& list, MachineState& state) {
    if (list.step_ms != 0) {
        return list.step_ms * static_cast<std::int64_t>(state.moving_steps.fetch_add(1) + 1);
    }
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Other processes may be reading: they see the old text or the new one, never a part of it.
void replace_text(const std::string& path, const std::string& text) {
    const std::string fresh = path + ".moving-" + std::to_string(::getpid());
    std::ofstream(fresh, std::ios::binary) << text;
    if (std::rename(fresh.c_str(), path.c_str()) != 0) {
        std::perror("kt3-sim: moving node");
    }
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

void add_moving_number(const std::string& root, const MovingNumber& number) {
    std::ostringstream line;
    const auto* name = std::find_if(std::begin(kWaveforms), std::end(kWaveforms),
                                    [&](const WaveformName& row) { return row.waveform == number.waveform; });
    line << number.path << '\t' << number.key << '\t' << name->name << '\t' << number.lowest << '\t' << number.highest
         << '\t' << number.period_ms;
    append(root, line.str());
}

void step_moving_numbers(const std::string& root, std::int64_t milliseconds) {
    append(root, kStepClock + std::to_string(milliseconds));
}

void take_up_moving_numbers(const std::string& root) {
    if (MachineState* state = machine_state(root)) {
        state->moving.store(static_cast<std::uint32_t>(read_list(root).numbers.size()));
    }
}

std::int64_t moving_value(const MovingNumber& number, std::int64_t time_ms) {
    const std::int64_t phase = time_ms % number.period_ms;
    switch (number.waveform) {
    case Waveform::count:
        // Whole periods first, so that the product stays small.
        return number.lowest + time_ms / number.period_ms * number.highest + phase * number.highest / number.period_ms;
    case Waveform::square:
        return phase * 2 < number.period_ms ? number.lowest : number.highest;
    case Waveform::ramp:
        return number.lowest +
               (number.highest - number.lowest) * std::min(time_ms, number.period_ms) / number.period_ms;
    case Waveform::triangle:
        break;
    }
    const std::int64_t height = phase * 2 < number.period_ms ? phase : number.period_ms - phase;
    return number.lowest + (number.highest - number.lowest) * 2 * height / number.period_ms;
}

std::string with_number(std::string_view text, std::string_view key, std::int64_t value) {
    const std::size_t found = text.find(key);
    if (found == std::string_view::npos) {
        return std::string(text);
    }
    std::size_t start = found + key.size();
    while (start < text.size() && text[start] != '\n' && !is_digit(text[start])) {
        ++start;
    }
    if (start == text.size() || !is_digit(text[start])) {
        return std::string(text);
    }
    std::size_t end = start;
    while (end < text.size() && is_digit(text[end])) {
        ++end;
    }
    return std::string(text.substr(0, start)) + std::to_string(value) + std::string(text.substr(end));
}

bool anything_moves(std::string_view root) {
    const MachineState* state = machine_state(root);
    return state != nullptr && state->moving.load() != 0;
}

void refresh_moving_file(const std::string& root, const char* simulated_path) {
    const int before = errno;
    const std::string path = usual_path(root, simulated_path);
    const MovingList list = read_list(root);
    const auto listed = [&](const MovingNumber& number) { return number.path == path; };
    if (std::any_of(list.numbers.begin(), list.numbers.end(), listed)) {
        const std::string file = root + path;
        std::ifstream in(file, std::ios::binary);
        const bool there = in.is_open(); // a node that was removed stays removed
        std::string text(std::istreambuf_iterator<char>(in), {});
        MachineState& state = *machine_state(root);
        const std::int64_t now = time_now(list, state);
        const std::int64_t age = since_first_reading(state, now);
        const bool off = accounting_is_off(root, path);
        for (const MovingNumber& number : list.numbers) {
            if (listed(number) && !(off && is_accounted(number))) {
                const std::int64_t time = number.waveform == Waveform::ramp ? age : now;
                text = with_number(text, number.key, moving_value(number, time));
            }
        }
        if (there) {
            replace_text(file, text);
        }
    }
    errno = before;
}

} // namespace kt3::sim
