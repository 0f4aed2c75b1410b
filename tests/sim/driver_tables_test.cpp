// SPDX-License-Identifier: MIT
// The library's tables of what drivers call things against the simulated drivers, which keep an account of their own:
// a name that only one side knows is a mistake on one of them.

#include "adapter/chip_table.hpp"
#include "node_meanings.hpp"
#include "nodes/dvfs_table.hpp"
#include "nodes/node_table.hpp"
#include "scenes/adapters.hpp"
#include "stand_in_paths.hpp"
#include "summary/gpuinfo_keys.hpp"
#include "support/fake_kernel.hpp"

#include <gmock/gmock.h>
#include <set>
#include <sstream>

using namespace kt3;
using testing::Contains;

namespace {

using Names = std::set<std::string>;

struct NewerAdapter {
    tests::FakeKernel kernel;
    sim::Adapter adapter = sim::add_newer(kernel.machine(), "0000:03:00.0");

    [[nodiscard]] std::string text(const std::string& path) const {
        std::ostringstream all;
        all << std::ifstream(kernel.real(path)).rdbuf();
        return all.str();
    }
    [[nodiscard]] Names listing(const std::string& path) const {
        Names names;
        for (const auto& entry : std::filesystem::directory_iterator(kernel.real(path))) {
            names.insert(entry.path().filename());
        }
        return names;
    }
};

} // namespace

TEST(DriverTables, NameTheNodesThatDriversPublish) {
    const NewerAdapter machine;
    Names known;
    for (const char* name : nodes::kDriverNodes) {
        if (name != nullptr && std::string_view(name) != "none") {
            known.insert(name);
        }
    }
    EXPECT_EQ(machine.listing(machine.adapter.node_path("")), known);
}

TEST(DriverTables, NameTheSensorsThatDriversPublish) {
    const NewerAdapter machine;
    Names published = machine.listing(std::filesystem::path(machine.adapter.hwmon_path("name")).parent_path());
    published.erase("name"); // of the driver, as every hwmon directory has one
    EXPECT_EQ(published, Names(std::begin(nodes::kHwmonNodes), std::prev(std::end(nodes::kHwmonNodes))));
}

TEST(DriverTables, HaveTheCommandAndTheKeyOfEveryRegister) {
    for (const nodes::DvfsRegister& row : nodes::kDvfsRegisters) {
        const bool level = row.form == nodes::DvfsForm::level;
        const std::string key = row.key;
        const auto page = sim::page_after_write(nodes::kDriverNodes[row.node], key + (level ? "balance\n" : "0\n"),
                                                row.command + std::string(level ? "lowpower\n" : "17\n"));
        EXPECT_EQ(page, key + (level ? "lowpower\n" : "17\n")) << row.name;
    }
}

TEST(DriverTables, HaveARegisterForEveryKeyOfTheirPages) {
    const NewerAdapter machine;
    Names known;
    Names published;
    for (const nodes::DvfsRegister& row : nodes::kDvfsRegisters) {
        known.insert(std::string(row.key, std::string_view(row.key).find(':')));
        std::istringstream page(machine.text(machine.adapter.node_path(nodes::kDriverNodes[row.node])));
        for (std::string word; page >> word;) {
            published.insert(word.substr(0, word.find(':')));
        }
    }
    EXPECT_EQ(published, known);
}

TEST(DriverTables, KnowTheLevelsThatDriversTake) {
    for (const char* level : nodes::kDvfsLevels) {
        EXPECT_TRUE(sim::page_after_write("dvfs_level", "dvfs_level:balance\n", level)) << level;
    }
    EXPECT_FALSE(sim::page_after_write("dvfs_level", "dvfs_level:balance\n", "none of them"));
}

TEST(DriverTables, HaveEveryKeyOfTheCardsPage) {
    const NewerAdapter machine;
    const std::string page = machine.text("/proc/gpuinfo_0");
    std::vector<std::string> known = {summary::kDeviceIdKey, summary::kDisplayPortsKey, summary::kDisplayTypesKey};
    for (const summary::GpuinfoKey& row : summary::kGpuinfoKeys) {
        known.emplace_back(row.key);
        if (row.second_key != nullptr) {
            known.emplace_back(row.second_key);
        }
    }
    for (const std::string& key : known) {
        EXPECT_NE(("\n" + page).find("\n" + key), std::string::npos) << key;
    }
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        const auto starts_line = [&](const std::string& key) { return line.starts_with(key); };
        EXPECT_TRUE(std::any_of(known.begin(), known.end(), starts_line)) << line;
    }
}

TEST(DriverTables, NameTheVendorAndTheFoldersOfBothFamilies) {
    const std::pair<sim::Family, std::uint16_t> families[] = {{sim::Family::older, adapter::kOlderVendor},
                                                              {sim::Family::newer, adapter::kNewerVendor}};
    for (const auto& [simulated, vendor] : families) {
        EXPECT_EQ(sim::vendor_of(simulated), vendor);
        const std::string token(sim::token_of(simulated));
        const adapter::Family& family = *adapter::find_family(vendor);
        EXPECT_EQ(family.token, token);
        EXPECT_EQ(family.info_dir, token + "_info");
        EXPECT_EQ(family.debugfs_info, token + "/info");
        for (const adapter::Chip& chip : adapter::kChips) {
            if (chip.vendor == vendor) {
                EXPECT_EQ(chip.debugfs_dir, "/sys/kernel/debug/dri/%d/" + token) << chip.display_name;
            }
        }
    }
}

TEST(DriverTables, NameTheModulesThatDriversInstall) {
    Names wanted;
    for (const adapter::Chip& chip : adapter::kChips) {
        wanted.insert(chip.module);
        if (chip.second_module != nullptr) {
            wanted.insert(chip.second_module);
        }
    }
    Names installed;
    for (const auto& entry : std::filesystem::directory_iterator(KT3_STAND_IN_MODULES)) {
        installed.insert(entry.path().filename());
    }
    EXPECT_EQ(installed, wanted);
}
