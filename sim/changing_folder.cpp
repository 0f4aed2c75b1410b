// SPDX-License-Identifier: MIT
#include "changing_folder.hpp"

#include "machine_state.hpp"

#include <algorithm>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace kt3::sim {
namespace {

// <machine>/.kt3sim/changing: the folder on the first line, then a rule per line. Pages have | for line ends.
constexpr const char* kFile = "changing";

std::string with_replaced(std::string text, char what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, 1, by);
    }
    return text;
}

std::vector<ComingEntries> read_rules(const char* root, const std::string& folder) {
    std::ifstream in(private_path(root, kFile));
    std::string changing;
    std::vector<ComingEntries> rules;
    if (!std::getline(in, changing) || changing != folder) {
        return rules;
    }
    for (ComingEntries rule; in >> rule.every >> rule.from >> rule.until >> rule.count >> rule.stay >> rule.unread >>
                             rule.first_name >> rule.page;) {
        rule.page = with_replaced(rule.page, '|', "\n");
        rules.push_back(rule);
    }
    return rules;
}

bool comes_at(const ComingEntries& rule, std::uint32_t listing) {
    return listing >= rule.from && listing <= rule.until && (listing - rule.from) % rule.every == 0;
}

// Calls `act` with the name of each entry that came at this listing.
template<typename Act>
void for_entries_of(const ComingEntries& rule, std::uint32_t listing, Act act) {
    const std::uint32_t first = rule.first_name + (listing - rule.from) / rule.every * rule.count;
    for (std::uint32_t at = 0; at < rule.count; ++at) {
        act(std::to_string(first + at));
    }
}

void add_entries(const std::string& folder, const ComingEntries& rule, std::uint32_t listing) {
    for_entries_of(rule, listing, [&](const std::string& name) {
        ::mkdir((folder + '/' + name).c_str(), 0777);
        std::ofstream(folder + '/' + name + "/info") << with_replaced(rule.page, '@', name);
    });
}

void take_entries(const std::string& folder, const ComingEntries& rule, std::uint32_t listing) {
    for_entries_of(rule, listing, [&](const std::string& name) {
        ::unlink((folder + '/' + name + "/info").c_str());
        ::rmdir((folder + '/' + name).c_str());
    });
}

} // namespace

void make_changing(const std::string& root, const std::string& simulated_folder,
                   const std::vector<ComingEntries>& rules) {
    MachineState* state = machine_state(root);
    if (state == nullptr) {
        return;
    }
    std::ofstream out(private_path(root, kFile));
    out << simulated_folder << '\n';
    for (const ComingEntries& rule : rules) {
        out << rule.every << ' ' << rule.from << ' ' << rule.until << ' ' << rule.count << ' ' << rule.stay << ' '
            << rule.unread << ' ' << rule.first_name << ' ' << with_replaced(rule.page, '\n', "|") << '\n';
    }
    state->changing_folders.store(1);
}

bool has_changing_folder(const char* root) {
    const MachineState* state = root == nullptr ? nullptr : machine_state(root);
    return state != nullptr && state->changing_folders.load() != 0;
}

FolderStep::FolderStep(const char* root, const std::string& simulated_folder) {
    if (!has_changing_folder(root)) {
        return;
    }
    rules_ = read_rules(root, simulated_folder);
    if (rules_.empty()) {
        return;
    }
    folder_ = root + simulated_folder;
    listing_ = machine_state(root)->listings.fetch_add(1) + 1;
    for (const ComingEntries& rule : rules_) {
        if (rule.stay != 0 && listing_ > rule.stay && comes_at(rule, listing_ - rule.stay)) {
            take_entries(folder_, rule, listing_ - rule.stay);
        }
        if (comes_at(rule, listing_)) {
            add_entries(folder_, rule, listing_);
        }
    }
}

FolderStep::~FolderStep() {
    for (const ComingEntries& rule : rules_) {
        if (rule.unread && comes_at(rule, listing_)) {
            take_entries(folder_, rule, listing_);
        }
    }
}

} // namespace kt3::sim
