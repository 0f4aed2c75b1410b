// SPDX-License-Identifier: MIT
#include "driver_writes.hpp"

#include "machine_state.hpp"
#include "node_meanings.hpp"
#include "support/listing.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kt3::sim {
namespace {

constexpr std::string_view kNodeFolders[] = {"/wy_info/", "/qn_info/"};
constexpr char kSlashInNames = '|'; // a spool file is named after its number and its node's path

std::string read_whole(int file) {
    std::string text;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::pread(file, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    return text;
}

std::string read_whole(const std::string& path) {
    const support::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file ? read_whole(file.get()) : "";
}

void write_whole(const std::string& path, std::string_view text, int flags) {
    const support::Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0666));
    if (file && ::write(file.get(), text.data(), text.size()) < 0) {
        std::perror("kt3-sim: driver node");
    }
}

std::string spool_folder(const std::string& root) {
    return private_path(root, "writes");
}

std::vector<std::string> spooled(const std::string& folder) {
    std::vector<std::string> names;
    support::Listing listing(folder.c_str());
    while (const char* name = listing.next()) {
        if (name[0] >= '0' && name[0] <= '9') {
            names.emplace_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string node_of(std::string_view spool_name) {
    std::string path(spool_name.substr(spool_name.find(kSlashInNames)));
    std::replace(path.begin(), path.end(), kSlashInNames, '/');
    return path;
}

// Without a write the driver is not called, so a node that is only opened and closed leaves no record.
void deliver(const std::string& root, const std::string& path, const std::string& text) {
    if (text.empty()) {
        return;
    }
    const std::string page_path = root + path;
    const std::string page = read_whole(page_path);
    const auto changed = page_after_write(std::string_view(path).substr(path.rfind('/') + 1), page, text);
    if (changed && *changed != page) {
        write_whole(page_path, *changed, O_TRUNC);
    }
    write_whole(private_path(root, "log"), (changed ? "done\t" : "refused\t") + path + '\t' + escaped(text) + '\n',
                O_APPEND);
}

// Unfinished files are left for a later time. True when the file was finished.
bool settle(const std::string& root, const std::string& folder, const std::string& name) {
    const std::string path = folder + '/' + name;
    const support::Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file || ::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        return false;
    }
    deliver(root, node_of(name), read_whole(file.get()));
    ::unlink(path.c_str());
    return true;
}

// Root passes every other check of a mode, but nodes without any right to write are kept from root as well.
bool nobody_may_write(const std::string& page) {
    struct stat status {};
    return ::stat(page.c_str(), &status) == 0 && (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
}

std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\\' || at + 1 == text.size()) {
            plain += text[at];
            continue;
        }
        const char kind = text[++at];
        if (kind == 'x' && at + 2 < text.size()) {
            plain += static_cast<char>(std::strtol(std::string(text.substr(at + 1, 2)).c_str(), nullptr, 16));
            at += 2;
        } else {
            plain += kind == 'n' ? '\n' : kind == 't' ? '\t' : kind;
        }
    }
    return plain;
}

} // namespace

bool is_driver_node(std::string_view simulated_path) {
    for (const std::string_view folder : kNodeFolders) {
        const std::size_t at = simulated_path.rfind(folder);
        if (at != std::string_view::npos && at + folder.size() < simulated_path.size() &&
            simulated_path.find('/', at + folder.size()) == std::string_view::npos) {
            return true;
        }
    }
    return false;
}

int open_for_driver(const std::string& root, const char* simulated_path, int flags) {
    const std::string page = root + simulated_path;
    if (nobody_may_write(page)) {
        errno = EACCES;
        return -1;
    }
    if (::access(page.c_str(), W_OK) != 0) {
        // Nobody creates a file among the nodes of a driver.
        errno = errno == ENOENT && (flags & O_CREAT) != 0 ? EACCES : errno;
        return -1;
    }
    MachineState* state = machine_state(root);
    if (state == nullptr) {
        errno = EACCES;
        return -1;
    }
    std::string name = usual_path(root, simulated_path);
    std::replace(name.begin(), name.end(), '/', kSlashInNames);
    const std::string folder = spool_folder(root);
    ::mkdir(folder.c_str(), 0777);
    char number[16];
    std::snprintf(number, sizeof number, "%010u", state->writes_issued.fetch_add(1) + 1);
    // Renamed once it is locked: a file under its final name without a lock is a finished one.
    const std::string fresh = folder + "/new-" + number;
    const int kept = flags & (O_CLOEXEC | O_NONBLOCK | O_APPEND | O_SYNC | O_DSYNC);
    support::Fd file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | kept, 0666));
    if (!file || ::flock(file.get(), LOCK_SH) != 0 ||
        ::rename(fresh.c_str(), (folder + '/' + number + name).c_str()) != 0) {
        state->writes_settled.fetch_add(1);
        return -1;
    }
    return file.release(); // the program that opened the node owns it
}

bool writes_pending(std::string_view root) {
    const MachineState* state = machine_state(root);
    return state != nullptr && state->writes_issued.load() != state->writes_settled.load();
}

void settle_driver_writes(const std::string& root) {
    MachineState* state = machine_state(root);
    if (!writes_pending(root)) {
        return;
    }
    const int before = errno;
    const support::Fd only(::open(private_path(root, "settling").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (only && ::flock(only.get(), LOCK_EX) == 0) {
        const std::string folder = spool_folder(root);
        for (const std::string& name : spooled(folder)) {
            state->writes_settled.fetch_add(settle(root, folder, name) ? 1 : 0);
        }
    }
    errno = before;
}

std::vector<DriverWrite> driver_writes(const std::string& root) {
    const std::string log = read_whole(private_path(root, "log"));
    std::vector<DriverWrite> writes;
    for (std::size_t start = 0, end = 0; (end = log.find('\n', start)) != std::string::npos; start = end + 1) {
        const std::string line = log.substr(start, end - start);
        const std::size_t path = line.find('\t') + 1;
        const std::size_t text = line.find('\t', path) + 1;
        writes.push_back({line.substr(path, text - path - 1), unescaped(std::string_view(line).substr(text)),
                          line.compare(0, 7, "refused") == 0});
    }
    return writes;
}

std::string escaped(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n' || c == '\t') {
            line += c == '\n' ? "\\n" : "\\t";
        } else if (c == '\\' || c == '"') {
            line += {'\\', c};
        } else if (byte < 0x20 || byte >= 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", byte);
            line += code;
        } else {
            line += c;
        }
    }
    return line;
}

} // namespace kt3::sim
