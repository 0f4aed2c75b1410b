// SPDX-License-Identifier: MIT
#pragma once
// The driver's power-management registers: where each stands in the driver's pages, how it is written there, and which
// field of the client's record holds it.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "nodes/node_table.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <type_traits>

namespace kt3::nodes {

using DvfsRecord = _GPU_DVFS_REGISTER_DATA;

// How a value is written in pages and commands.
enum class DvfsForm : std::uint8_t {
    hex,
    gate, // hexadecimal, of which the record keeps the low 16 bits with their sign
    decimal,
    level, // one of kDvfsLevels
};

// The order of the columns is for readers of the rows. NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct DvfsRegister {
    const char* name; // of the record's field
    NodeIndex node;
    const char* key;     // stands right before the value in the node's page
    const char* command; // stands right before the value in the text that changes it
    DvfsForm form;
    std::size_t sent; // its place among the commands
    const char* meaning;
    const char* unit; // empty for what is only a number to the driver's clients
    std::int64_t (*read)(const DvfsRecord&);
    void (*store)(DvfsRecord&, std::int64_t);
};

// A clock that the driver reports and nobody sets. It is the whole page of its node, in decimal.
struct DvfsClock {
    const char* name;
    NodeIndex node;
    const char* meaning;
    const char* unit;
    std::int64_t (*read)(const DvfsRecord&);
    void (*store)(DvfsRecord&, std::int64_t);
};

namespace dvfs {

template<auto Member>
constexpr std::int64_t read(const DvfsRecord& record) {
    return static_cast<std::int64_t>(record.*Member);
}

template<auto Member>
constexpr void store(DvfsRecord& record, std::int64_t value) {
    record.*Member = static_cast<std::remove_reference_t<decltype(record.*Member)>>(value);
}

template<auto Member>
constexpr DvfsRegister row(const char* name, NodeIndex node, const char* key, const char* command, DvfsForm form,
                           std::size_t sent, const char* meaning, const char* unit) {
    return {name, node, key, command, form, sent, meaning, unit, read<Member>, store<Member>};
}

template<auto Member>
constexpr DvfsClock clock(const char* name, NodeIndex node, const char* meaning, const char* unit) {
    return {name, node, meaning, unit, read<Member>, store<Member>};
}

} // namespace dvfs

// Row order is the order in which values are read; the rows of a node stand together, so that each page is read once.
// Commands: of "pwm_wait_count" gating kind (0 power, 1 clock), engine (0 3D, 1 video codec, 2 video post-processing)
// and count; of "dvfs_control_params" engine (0 graphics, 1 and 2 video codecs, 3 video post-processing), parameter
// (0 check size, 1 high, 2 low) and value; of "dvfs_clk_voltage" letter (c clock, v voltage), domain and value.
// clang-format off
inline constexpr DvfsRegister kDvfsRegisters[] = {
    dvfs::row<&DvfsRecord::power_mode>           ("power_mode",            kPowerMode,         "power_mode:0x",            "0x",   DvfsForm::hex,      0, "power mode word", ""),
    dvfs::row<&DvfsRecord::pg_3d>                ("pg_3d",                 kPwmWaitCount,      "pg_3d:0x",                 "0 0 ", DvfsForm::gate,     1, "power-gating wait count, 3D engine", ""),
    dvfs::row<&DvfsRecord::cg_3d>                ("cg_3d",                 kPwmWaitCount,      "cg_3d:0x",                 "1 0 ", DvfsForm::gate,     4, "clock-gating wait count, 3D engine", ""),
    dvfs::row<&DvfsRecord::pg_vcp>               ("pg_vcp",                kPwmWaitCount,      "pg_vcp:0x",                "0 1 ", DvfsForm::gate,     2, "power-gating wait count, video codec engine", ""),
    dvfs::row<&DvfsRecord::cg_vcp>               ("cg_vcp",                kPwmWaitCount,      "cg_vcp:0x",                "1 1 ", DvfsForm::gate,     5, "clock-gating wait count, video codec engine", ""),
    dvfs::row<&DvfsRecord::pg_vpp>               ("pg_vpp",                kPwmWaitCount,      "pg_vpp:0x",                "0 2 ", DvfsForm::gate,     3, "power-gating wait count, video post-processing engine", ""),
    dvfs::row<&DvfsRecord::cg_vpp>               ("cg_vpp",                kPwmWaitCount,      "cg_vpp:0x",                "1 2 ", DvfsForm::gate,     6, "clock-gating wait count, video post-processing engine", ""),
    dvfs::row<&DvfsRecord::dvfs_mode>            ("dvfs_mode",             kDvfsMode,          "dvfs_mode:0x",             "0x",   DvfsForm::hex,      7, "mode word", ""),
    dvfs::row<&DvfsRecord::gfx_dvfs_checksize>   ("gfx_dvfs_checksize",    kDvfsControlParams, "gfx_dvfs_checksize:0x",    "0 0 ", DvfsForm::hex,      9, "graphics engine: check size", ""),
    dvfs::row<&DvfsRecord::gfx_dvfs_h_threshold> ("gfx_dvfs_h_threshold",  kDvfsControlParams, "gfx_dvfs_h_threshold:0x",  "0 1 ", DvfsForm::hex,     13, "graphics engine: high threshold", ""),
    dvfs::row<&DvfsRecord::gfx_dvfs_l_threshold> ("gfx_dvfs_l_threshold",  kDvfsControlParams, "gfx_dvfs_l_threshold:0x",  "0 2 ", DvfsForm::hex,     17, "graphics engine: low threshold", ""),
    dvfs::row<&DvfsRecord::vcp0_dvfs_checksize>  ("vcp0_dvfs_checksize",   kDvfsControlParams, "vcp0_dvfs_checksize:0x",   "1 0 ", DvfsForm::hex,     10, "video codec engine 0: check size", ""),
    dvfs::row<&DvfsRecord::vcp0_dvfs_h_threshold>("vcp0_dvfs_h_threshold", kDvfsControlParams, "vcp0_dvfs_h_threshold:0x", "1 1 ", DvfsForm::hex,     14, "video codec engine 0: high threshold", ""),
    dvfs::row<&DvfsRecord::vcp0_dvfs_l_threshold>("vcp0_dvfs_l_threshold", kDvfsControlParams, "vcp0_dvfs_l_threshold:0x", "1 2 ", DvfsForm::hex,     18, "video codec engine 0: low threshold", ""),
    dvfs::row<&DvfsRecord::vcp1_dvfs_checksize>  ("vcp1_dvfs_checksize",   kDvfsControlParams, "vcp1_dvfs_checksize:0x",   "2 0 ", DvfsForm::hex,     11, "video codec engine 1: check size", ""),
    dvfs::row<&DvfsRecord::vcp1_dvfs_h_threshold>("vcp1_dvfs_h_threshold", kDvfsControlParams, "vcp1_dvfs_h_threshold:0x", "2 1 ", DvfsForm::hex,     15, "video codec engine 1: high threshold", ""),
    dvfs::row<&DvfsRecord::vcp1_dvfs_l_threshold>("vcp1_dvfs_l_threshold", kDvfsControlParams, "vcp1_dvfs_l_threshold:0x", "2 2 ", DvfsForm::hex,     19, "video codec engine 1: low threshold", ""),
    dvfs::row<&DvfsRecord::vpp_dvfs_checksize>   ("vpp_dvfs_checksize",    kDvfsControlParams, "vpp_dvfs_checksize:0x",    "3 0 ", DvfsForm::hex,     12, "video post-processing engine: check size", ""),
    dvfs::row<&DvfsRecord::vpp_dvfs_h_threshold> ("vpp_dvfs_h_threshold",  kDvfsControlParams, "vpp_dvfs_h_threshold:0x",  "3 1 ", DvfsForm::hex,     16, "video post-processing engine: high threshold", ""),
    dvfs::row<&DvfsRecord::vpp_dvfs_l_threshold> ("vpp_dvfs_l_threshold",  kDvfsControlParams, "vpp_dvfs_l_threshold:0x",  "3 2 ", DvfsForm::hex,     20, "video post-processing engine: low threshold", ""),
    dvfs::row<&DvfsRecord::gfx_clock>            ("gfx_clock",             kDvfsClkVoltage,    "gfx_clock:",               "c 0 ", DvfsForm::decimal, 21, "graphics clock setting", "MHz"),
    dvfs::row<&DvfsRecord::gfx_voltage>          ("gfx_voltage",           kDvfsClkVoltage,    "gfx_voltage:",             "v 0 ", DvfsForm::decimal, 22, "graphics voltage setting", "mV"),
    dvfs::row<&DvfsRecord::dvfs_level>           ("dvfs_level",            kDvfsLevel,         "dvfs_level:",              "",     DvfsForm::level,    8, "what the driver aims at", ""),
};

// They are read before the level and after all other registers.
inline constexpr DvfsClock kDvfsClocks[] = {
    dvfs::clock<&DvfsRecord::vclk>("vclk", kVclk, "video clock", "MHz"),
    dvfs::clock<&DvfsRecord::mclk>("mclk", kMclk, "memory clock", "MHz"),
};
// clang-format on

// By the value of the level. The driver's page may name several; the first of these that it names counts.
inline constexpr const char* kDvfsLevels[] = {"balance", "lowpower", "performance"};
static_assert(std::string_view(kDvfsLevels[KT3_DVFS_BALANCE]) == "balance");
static_assert(std::string_view(kDvfsLevels[KT3_DVFS_LOWPOWER]) == "lowpower");
static_assert(std::string_view(kDvfsLevels[KT3_DVFS_PERFORMANCE]) == "performance");

// The rows in the order in which the driver receives their commands.
inline constexpr auto kDvfsCommandOrder = [] {
    std::array<std::size_t, std::size(kDvfsRegisters)> rows = {};
    for (std::size_t row = 0; row < std::size(kDvfsRegisters); ++row) {
        rows[kDvfsRegisters[row].sent] = row;
    }
    return rows;
}();

constexpr bool every_dvfs_register_has_its_place() {
    for (std::size_t place = 0; place < std::size(kDvfsRegisters); ++place) {
        if (kDvfsRegisters[kDvfsCommandOrder[place]].sent != place) {
            return false;
        }
    }
    return true;
}
static_assert(std::size(kDvfsRegisters) == 23 && every_dvfs_register_has_its_place());

} // namespace kt3::nodes
