#include "nodes/dvfs_registers.hpp"

#include "nodes/accessors.hpp"
#include "nodes/node_table.hpp"
#include "support/text_page.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace kt3::nodes {
namespace {

using Registers = _GPU_DVFS_REGISTER_DATA;
using DvfsPage = support::TextPage<512>;

enum class Base { hex, decimal };

// The gating counts are half words: they keep the low 16 bits of the number.
template<auto Member>
void store(Registers& record, std::uint32_t value) {
    auto& field = record.*Member;
    field = static_cast<std::remove_reference_t<decltype(field)>>(value);
}

struct RegisterKey {
    NodeIndex node;
    Base base;
    const char* key; // the value stands right behind it
    void (*store)(Registers&, std::uint32_t);
};

// The keys of a node stand together, so that each page is read once.
// clang-format off
constexpr RegisterKey kRegisterKeys[] = {
    {kPowerMode,         Base::hex,     "power_mode:0x",            store<&Registers::power_mode>},

    {kPwmWaitCount,      Base::hex,     "pg_3d:0x",                 store<&Registers::pg_3d>},
    {kPwmWaitCount,      Base::hex,     "cg_3d:0x",                 store<&Registers::cg_3d>},
    {kPwmWaitCount,      Base::hex,     "pg_vcp:0x",                store<&Registers::pg_vcp>},
    {kPwmWaitCount,      Base::hex,     "cg_vcp:0x",                store<&Registers::cg_vcp>},
    {kPwmWaitCount,      Base::hex,     "pg_vpp:0x",                store<&Registers::pg_vpp>},
    {kPwmWaitCount,      Base::hex,     "cg_vpp:0x",                store<&Registers::cg_vpp>},

    {kDvfsMode,          Base::hex,     "dvfs_mode:0x",             store<&Registers::dvfs_mode>},

    {kDvfsControlParams, Base::hex,     "gfx_dvfs_checksize:0x",    store<&Registers::gfx_dvfs_checksize>},
    {kDvfsControlParams, Base::hex,     "gfx_dvfs_h_threshold:0x",  store<&Registers::gfx_dvfs_h_threshold>},
    {kDvfsControlParams, Base::hex,     "gfx_dvfs_l_threshold:0x",  store<&Registers::gfx_dvfs_l_threshold>},
    {kDvfsControlParams, Base::hex,     "vcp0_dvfs_checksize:0x",   store<&Registers::vcp0_dvfs_checksize>},
    {kDvfsControlParams, Base::hex,     "vcp0_dvfs_h_threshold:0x", store<&Registers::vcp0_dvfs_h_threshold>},
    {kDvfsControlParams, Base::hex,     "vcp0_dvfs_l_threshold:0x", store<&Registers::vcp0_dvfs_l_threshold>},
    {kDvfsControlParams, Base::hex,     "vcp1_dvfs_checksize:0x",   store<&Registers::vcp1_dvfs_checksize>},
    {kDvfsControlParams, Base::hex,     "vcp1_dvfs_h_threshold:0x", store<&Registers::vcp1_dvfs_h_threshold>},
    {kDvfsControlParams, Base::hex,     "vcp1_dvfs_l_threshold:0x", store<&Registers::vcp1_dvfs_l_threshold>},
    {kDvfsControlParams, Base::hex,     "vpp_dvfs_checksize:0x",    store<&Registers::vpp_dvfs_checksize>},
    {kDvfsControlParams, Base::hex,     "vpp_dvfs_h_threshold:0x",  store<&Registers::vpp_dvfs_h_threshold>},
    {kDvfsControlParams, Base::hex,     "vpp_dvfs_l_threshold:0x",  store<&Registers::vpp_dvfs_l_threshold>},

    {kDvfsClkVoltage,    Base::decimal, "gfx_clock:",               store<&Registers::gfx_clock>},
    {kDvfsClkVoltage,    Base::decimal, "gfx_voltage:",             store<&Registers::gfx_voltage>},
};

// The first text found decides.
struct LevelText {
    const char* text;
    std::uint32_t level;
};
constexpr LevelText kLevelTexts[] = {
    {"dvfs_level:balance",     KT3_DVFS_BALANCE},
    {"dvfs_level:lowpower",    KT3_DVFS_LOWPOWER},
    {"dvfs_level:performance", KT3_DVFS_PERFORMANCE},
};
// clang-format on

DvfsPage read_dvfs_page(NodeIndex node) {
    return support::read_node_page<512>(current_info_directory(), kDriverNodes[node]);
}

// pg_3d:0x10 cg_3d:0x20
void store_value(const RegisterKey& row, const DvfsPage& page, Registers& record) {
    const char* at = page.behind(row.key);
    if (at == nullptr) {
        return;
    }
    const auto value =
        row.base == Base::hex ? support::scan_unsigned(at, 16) : std::optional<std::uint32_t>(support::scan_int(at));
    if (value) {
        row.store(record, *value);
    }
}

void read_registers_by_key(Registers& record) {
    for (const RegisterKey* row = std::begin(kRegisterKeys); row != std::end(kRegisterKeys);) {
        const NodeIndex node = row->node;
        const DvfsPage page = read_dvfs_page(node);
        for (; row != std::end(kRegisterKeys) && row->node == node; ++row) {
            store_value(*row, page, record);
        }
    }
}

void read_level(Registers& record) {
    const DvfsPage page = read_dvfs_page(kDvfsLevel);
    const auto* row = std::find_if(std::begin(kLevelTexts), std::end(kLevelTexts),
                                   [&](const LevelText& level) { return page.behind(level.text) != nullptr; });
    if (row != std::end(kLevelTexts)) {
        record.dvfs_level = row->level;
    }
}

constinit DvfsState state;

} // namespace

DvfsState& dvfs_state() {
    return state;
}

void read_dvfs_registers(Registers& record) {
    read_registers_by_key(record);
    record.vclk = driver_node_int(kVclk);
    record.mclk = driver_node_int(kMclk);
    read_level(record);
    state.last_read = record;
}

void mark_dvfs_registers_read(bool mirrors_driver) {
    dvfs_register_state_data_flushed = mirrors_driver ? 1 : 0;
}

} // namespace kt3::nodes
