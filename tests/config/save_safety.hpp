// SPDX-License-Identifier: MIT
#pragma once
// A preference list and a home to save it to, and what can be in the way of that.

#include "config/home_folder.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/in_child.hpp"
#include "support/log_capture.hpp"

#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace kt3::tests {

inline constexpr const char* kOld = "; tqm_gfx_util.ini\n\n[old]\nFullPath = /bin/old\n";
inline constexpr uid_t kNobody = 65534;

struct SaveSafety : testing::Test {
    SaveSafety() { fill(1); }

    static void fill(int entries) {
        interface_config_list.clear();
        for (int i = 0; i < entries; ++i) {
            interface_config_list.push_back(entry("app" + std::to_string(i), "/bin/app" + std::to_string(i), i));
        }
    }

    // What an undisturbed save writes.
    std::string new_text() {
        const std::string path = home.root() / "reference";
        savefile_INI(path.c_str());
        std::string text = HomeFolder::text_of(path);
        std::filesystem::remove(path);
        return text;
    }

    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& file : std::filesystem::directory_iterator(home.folder())) {
            names.push_back(file.path().filename());
        }
        return names;
    }

    // A save that was killed leaves its temporary file.
    void clear_folder() const {
        std::filesystem::remove_all(home.folder());
        std::filesystem::create_directory(home.folder());
    }

    // The log of a save of the list that `fill` makes of one entry.
    static std::vector<std::string> saved_lines() {
        return {"-------------------------\n", "Save to config: app0: /bin/app0, , 0000:00:00.0\n", "\n"};
    }
    std::vector<std::string> not_opened_lines() const { return {"savefile_INI: can't open " + home.file() + " \n"}; }
    std::vector<std::string> not_written_lines() const {
        auto lines = saved_lines();
        lines.push_back(not_opened_lines()[0]);
        return lines;
    }

    HomeFolder home;
    LogCapture log;
};

// A file may not grow beyond `bytes` in this process: writing stops there as on a full disk.
inline void limit_file_size(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, bytes};
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

inline ino_t inode(const std::filesystem::path& path) {
    struct stat status {};
    ::lstat(path.c_str(), &status);
    return status.st_ino;
}

inline mode_t mode(const std::filesystem::path& path) {
    struct stat status {};
    ::lstat(path.c_str(), &status);
    return status.st_mode & 07777;
}

// Gives up root's right to write everywhere.
inline void become_ordinary() {
    if (::geteuid() == 0 && ::setresuid(kNobody, kNobody, kNobody) != 0) {
        ::_exit(4);
    }
}

} // namespace kt3::tests
