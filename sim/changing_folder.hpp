// SPDX-License-Identifier: MIT
#pragma once
// A folder whose entries come and go while programs look at it, as allocations do. It moves by one step each time the
// folder is listed, so what a program sees depends on how often it looked and never on time.

#include <cstdint>
#include <string>
#include <vector>

namespace kt3::sim {

// At listing `from` and every `every` listings from there to listing `until`, `count` entries appear. Each is a folder
// that holds the text file "info", and is named by a number: `first_name`, then counting up.
struct ComingEntries {
    std::uint32_t every = 1;
    std::uint32_t from = 1;
    std::uint32_t until = UINT32_MAX;
    std::uint32_t count = 1;
    std::uint32_t stay = 0; // listings until they go again; 0: they stay for ever
    bool unread = false;    // they go as soon as they are listed, before anybody can open them
    std::uint32_t first_name = 1;
    std::string page; // of "info"; @ stands for the entry's name
};

// Makes the folder of the machine a changing one. A machine has one at most.
void make_changing(const std::string& root, const std::string& simulated_folder,
                   const std::vector<ComingEntries>& rules);

// Whether the machine has a changing folder. Costs no system call.
bool has_changing_folder(const char* root);

// One listing of a folder: the constructor makes the step that comes before it when the folder is the changing one,
// the destructor removes what goes before it can be opened.
class FolderStep {
public:
    FolderStep(const char* root, const std::string& simulated_folder);
    ~FolderStep();
    FolderStep(const FolderStep&) = delete;
    FolderStep& operator=(const FolderStep&) = delete;

private:
    std::string folder_; // where it really is; empty when nothing changes
    std::uint32_t listing_ = 0;
    std::vector<ComingEntries> rules_;
};

} // namespace kt3::sim
