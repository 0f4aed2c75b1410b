// SPDX-License-Identifier: MIT
#include "failing_nodes.hpp"

#include "machine_state.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <sys/stat.h>

namespace kt3::sim {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSlowList = "/slow-nodes";
constexpr const char* kLostList = "/lost-nodes";

bool names(const std::string& listed, const std::string& path) {
    return listed == path || (listed.ends_with('/') && path.starts_with(listed));
}

// The first line that names the path, and its number.
struct Found {
    std::size_t line;
    std::istringstream fields;
};

std::optional<Found> find_entry(const std::string& list, const std::string& path) {
    std::ifstream in(list);
    std::size_t number = 0;
    for (std::string line; std::getline(in, line); ++number) {
        const std::size_t end = std::min(line.find('\t'), line.size());
        if (names(line.substr(0, end), path)) {
            return Found{number, std::istringstream(line.substr(std::min(end + 1, line.size())))};
        }
    }
    return std::nullopt;
}

void append(const std::string& root, const char* list, const std::string& line) {
    if (MachineState* state = machine_state(root)) {
        std::ofstream(root + list, std::ios::app) << line << '\n';
        state->failing_nodes.store(1);
    }
}

void sleep_for(std::int64_t milliseconds) {
    timespec left{milliseconds / 1000, milliseconds % 1000 * 1'000'000};
    while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

// Its last parts are those of the file, as who looks for the cause sees it in /proc.
std::string silent_fifo(const std::string& root, const std::string& path) {
    const std::string fifo = private_path(root, "silent") + path;
    std::error_code ignored;
    fs::create_directories(fs::path(fifo).parent_path(), ignored);
    ::mkfifo(fifo.c_str(), 0666);
    return fifo;
}

int loss_of(const std::string& root, const std::string& path) {
    auto found = find_entry(root + kLostList, path);
    std::uint32_t first = 0;
    int error = 0;
    if (!found || !(found->fields >> first >> error) || found->line >= kCountedNodes) {
        return 0;
    }
    return machine_state(root)->openings_of_lost[found->line].fetch_add(1) + 1 >= first ? error : 0;
}

} // namespace

void add_slow_node(const std::string& root, const std::string& path, std::int64_t milliseconds) {
    append(root, kSlowList, path + '\t' + (milliseconds == kForever ? "forever" : std::to_string(milliseconds)));
}

void add_lost_node(const std::string& root, const std::string& path, std::uint32_t first_lost, int error) {
    append(root, kLostList, path + '\t' + std::to_string(first_lost) + '\t' + std::to_string(error));
}

void take_up_failing_nodes(const std::string& root) {
    MachineState* state = machine_state(root);
    if (state != nullptr && (fs::exists(root + kSlowList) || fs::exists(root + kLostList))) {
        state->failing_nodes.store(1);
    }
}

bool anything_fails(std::string_view root) {
    const MachineState* state = machine_state(root);
    return state != nullptr && state->failing_nodes.load() != 0;
}

Opening open_failing_node(const std::string& root, const char* simulated_path) {
    const int before = errno;
    const std::string path = usual_path(root, simulated_path);
    Opening opening;
    if (auto slow = find_entry(root + kSlowList, path)) {
        std::string wait;
        slow->fields >> wait;
        if (wait == "forever") {
            opening.instead = silent_fifo(root, path);
        } else {
            sleep_for(std::atoll(wait.c_str()));
        }
    }
    opening.error = loss_of(root, path);
    errno = before;
    return opening;
}

} // namespace kt3::sim
