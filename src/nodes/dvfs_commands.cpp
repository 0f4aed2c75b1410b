#include "nodes/dvfs_commands.hpp"

#include "nodes/accessors.hpp"
#include "nodes/node_files.hpp"
#include "nodes/node_table.hpp"

#include <cstdint>
#include <cstdio>

namespace kt3::nodes {
namespace {

using Registers = _GPU_DVFS_REGISTER_DATA;

enum class Value { hex, decimal, level };

// A gating count is sign-extended, so a negative one is sent as eight hex digits.
template<auto Member>
std::int32_t field(const Registers& record) {
    return static_cast<std::int32_t>(record.*Member);
}

struct DvfsCommand {
    NodeIndex node;
    Value value;
    const char* prefix; // stands in front of the value
    std::int32_t (*read)(const Registers&);
};

// Row order is the order in which the driver receives the commands.
// clang-format off
constexpr DvfsCommand kCommands[] = {
    {kPowerMode,         Value::hex,    "0x",   field<&Registers::power_mode>},
    // gating kind (0 power, 1 clock), engine (0 3D, 1 video codec, 2 video post-processing), count
    {kPwmWaitCount,      Value::hex,    "0 0 ", field<&Registers::pg_3d>},
    {kPwmWaitCount,      Value::hex,    "0 1 ", field<&Registers::pg_vcp>},
    {kPwmWaitCount,      Value::hex,    "0 2 ", field<&Registers::pg_vpp>},
    {kPwmWaitCount,      Value::hex,    "1 0 ", field<&Registers::cg_3d>},
    {kPwmWaitCount,      Value::hex,    "1 1 ", field<&Registers::cg_vcp>},
    {kPwmWaitCount,      Value::hex,    "1 2 ", field<&Registers::cg_vpp>},
    {kDvfsMode,          Value::hex,    "0x",   field<&Registers::dvfs_mode>},
    {kDvfsLevel,         Value::level,  "",     field<&Registers::dvfs_level>},
    // engine (0 graphics, 1 and 2 video codecs, 3 video post-processing), parameter (0 check size, 1 high, 2 low), value
    {kDvfsControlParams, Value::hex,    "0 0 ", field<&Registers::gfx_dvfs_checksize>},
    {kDvfsControlParams, Value::hex,    "1 0 ", field<&Registers::vcp0_dvfs_checksize>},
    {kDvfsControlParams, Value::hex,    "2 0 ", field<&Registers::vcp1_dvfs_checksize>},
    {kDvfsControlParams, Value::hex,    "3 0 ", field<&Registers::vpp_dvfs_checksize>},
    {kDvfsControlParams, Value::hex,    "0 1 ", field<&Registers::gfx_dvfs_h_threshold>},
    {kDvfsControlParams, Value::hex,    "1 1 ", field<&Registers::vcp0_dvfs_h_threshold>},
    {kDvfsControlParams, Value::hex,    "2 1 ", field<&Registers::vcp1_dvfs_h_threshold>},
    {kDvfsControlParams, Value::hex,    "3 1 ", field<&Registers::vpp_dvfs_h_threshold>},
    {kDvfsControlParams, Value::hex,    "0 2 ", field<&Registers::gfx_dvfs_l_threshold>},
    {kDvfsControlParams, Value::hex,    "1 2 ", field<&Registers::vcp0_dvfs_l_threshold>},
    {kDvfsControlParams, Value::hex,    "2 2 ", field<&Registers::vcp1_dvfs_l_threshold>},
    {kDvfsControlParams, Value::hex,    "3 2 ", field<&Registers::vpp_dvfs_l_threshold>},
    // letter (c clock, v voltage), domain, value
    {kDvfsClkVoltage,    Value::decimal,"c 0 ", field<&Registers::gfx_clock>},
    {kDvfsClkVoltage,    Value::decimal,"v 0 ", field<&Registers::gfx_voltage>},
};
// clang-format on

// A level the driver does not know is sent as the neutral one.
const char* level_word(std::int32_t level) {
    return level == KT3_DVFS_LOWPOWER ? "lowpower" : level == KT3_DVFS_PERFORMANCE ? "performance" : "balance";
}

void send(const DvfsCommand& command, std::int32_t value) {
    char text[128];
    switch (command.value) {
    case Value::hex:
        std::snprintf(text, sizeof text, "%s%x\n", command.prefix, static_cast<std::uint32_t>(value));
        break;
    case Value::decimal:
        std::snprintf(text, sizeof text, "%s%d\n", command.prefix, value);
        break;
    case Value::level:
        std::snprintf(text, sizeof text, "%s%s\n", command.prefix, level_word(value));
        break;
    }
    write_node(current_info_directory(), kDriverNodes[command.node], text);
}

} // namespace

void write_dvfs_changes(const Registers& wanted, const Registers& last_read) {
    for (const DvfsCommand& command : kCommands) {
        if (command.read(wanted) != command.read(last_read)) {
            send(command, command.read(wanted));
        }
    }
}

} // namespace kt3::nodes
