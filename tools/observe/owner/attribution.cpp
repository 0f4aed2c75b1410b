// SPDX-License-Identifier: MIT
#include "observe/owner/attribution.hpp"

#include "observe/owner/control_group.hpp"
#include "observe/owner/process_pages.hpp"
#include "support/file_reading.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <pwd.h>
#include <set>
#include <unistd.h>

namespace kt3::observe {
namespace {

// The kernel gives this inode number to the pid namespace that it starts with, on every machine.
constexpr const char* kInitialNamespace = "pid:[4026531836]";

constexpr std::size_t kLongestPage = std::size_t{1} << 20; // /proc/stat has a word for each interrupt
constexpr std::size_t kPiece = 4096;
constexpr std::size_t kMostKnown = 4096; // processes that are remembered
constexpr int kTries = 3;                // when pids are taken over while they are read

struct Page {
    std::string text;
    int error = 0;
};

Page read_page(const std::string& path) {
    const support::Fd file = support::open_for_reading(AT_FDCWD, path.c_str());
    if (!file) {
        return {"", errno};
    }
    Page page;
    while (page.text.size() < kLongestPage) {
        const std::size_t filled = page.text.size();
        page.text.resize(filled + kPiece);
        const support::PageRead read = support::read_whole(file.get(), page.text.data() + filled, kPiece);
        page.text.resize(filled + read.bytes);
        if (read.failed) {
            return {"", errno};
        }
        if (read.bytes < kPiece) {
            break;
        }
    }
    return page;
}

std::string link_target(const std::string& path) {
    std::array<char, 64> target{};
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

// The number itself when there is no such user, or no way to know.
std::string user_name(std::uint32_t uid) {
    std::array<char, 4096> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    const int error = ::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found);
    return error == 0 && found != nullptr ? found->pw_name : std::to_string(uid);
}

void take_status(Attribution& attribution, const std::string& text) {
    const ProcessStatus status = parse_process_status(text);
    attribution.uid = status.uid;
    attribution.inner_pid = status.inner_pid;
    if (status.uid) {
        attribution.user = user_name(*status.uid);
    }
}

void take_control_group(Attribution& attribution, const std::string& text) {
    ControlGroup group = parse_control_group(text);
    attribution.unit = std::move(group.unit);
    attribution.container = std::move(group.container);
    attribution.runtime = std::move(group.runtime);
    attribution.pod = std::move(group.pod);
    attribution.job = std::move(group.job);
}

} // namespace

std::optional<std::int64_t> started_at(const Attribution& attribution) {
    const std::int64_t ticks_per_second = ::sysconf(_SC_CLK_TCK);
    if (!attribution.booted || !attribution.start_time || ticks_per_second <= 0) {
        return std::nullopt;
    }
    return *attribution.booted + static_cast<std::int64_t>(*attribution.start_time) / ticks_per_second;
}

// What holds for all processes of one look.
struct AttributionReader::View {
    bool initial_namespace = false;
    bool all = false; // a process that is not listed is no more
    std::optional<std::int64_t> booted;
};

// Process 1 never ends. Where it cannot be looked at, /proc hides the processes of other users (hidepid).
AttributionReader::View AttributionReader::look_around() const {
    View view;
    view.initial_namespace = link_target(proc_ + "/self/ns/pid") == kInitialNamespace;
    view.all = view.initial_namespace && read_page(proc_ + "/1/stat").error == 0;
    view.booted = parse_boot_time(read_page(proc_ + "/stat").text);
    return view;
}

// Another process can take over the pid while the pages are read one after the other, so the start time has to be the
// same before and after. Nothing when it is not.
std::optional<Attribution> AttributionReader::known_or_read(std::int32_t pid, std::uint64_t start_time) const {
    const auto known = known_.find(pid);
    if (known != known_.end() && known->second.start_time == start_time) {
        return known->second;
    }
    Attribution read;
    read.pid = pid;
    read.visible = true;
    read.start_time = start_time;
    take_status(read, read_page(page_of(pid, "status")).text);
    take_control_group(read, read_page(page_of(pid, "cgroup")).text);
    const auto after = parse_process_stat(read_page(page_of(pid, "stat")).text);
    return after && after->start_time == start_time ? std::optional(std::move(read)) : std::nullopt;
}

Attribution AttributionReader::look_at(std::int32_t pid, const View& view) {
    Attribution unknown;
    unknown.pid = pid;
    for (int tries = 0; tries < kTries && view.initial_namespace && pid > 0; ++tries) {
        const Page page = read_page(page_of(pid, "stat"));
        const auto stat = parse_process_stat(page.text);
        if (!stat) {
            unknown.ended = view.all && (page.error == ENOENT || page.error == ESRCH);
            break;
        }
        if (auto found = known_or_read(pid, stat->start_time)) {
            found->name = stat->name;
            found->state = stat->state;
            found->booted = view.booted;
            known_[pid] = *found;
            return *std::move(found);
        }
    }
    known_.erase(pid);
    return unknown;
}

std::string AttributionReader::page_of(std::int32_t pid, const char* page) const {
    return fmt::format("{}/{}/{}", proc_, pid, page);
}

Attributions AttributionReader::read(const std::vector<std::int32_t>& pids) {
    const std::set<std::int32_t> each(pids.begin(), pids.end());
    if (known_.size() > kMostKnown) { // of processes that came and went for days
        known_.clear();
    }
    const View view = look_around();
    Attributions attributions;
    for (const std::int32_t pid : each) {
        attributions.push_back(look_at(pid, view));
    }
    return attributions;
}

Attributions read_attributions(const std::vector<std::int32_t>& pids) {
    static AttributionReader reader;
    return reader.read(pids);
}

} // namespace kt3::observe
