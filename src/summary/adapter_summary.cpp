// SPDX-License-Identifier: MIT
#include "summary/adapter_summary.hpp"

#include "adapter/chip_table.hpp"
#include "adapter/current_adapter.hpp"
#include "interface/logging.hpp"
#include "nodes/accessors.hpp"
#include "nodes/node_files.hpp"
#include "nodes/node_table.hpp"
#include "summary/display_outputs.hpp"
#include "summary/gpuinfo_page.hpp"
#include "summary/shell_commands.hpp"

namespace kt3::summary {
namespace {

constinit SummaryState state;

std::uint32_t node_word(nodes::NodeIndex node) {
    return static_cast<std::uint32_t>(nodes::driver_node_int(node));
}

std::uint32_t read_link_width() {
    char path[1024];
    std::snprintf(path, sizeof path, "%s/current_link_width", adapter::current_pci_directory());
    return static_cast<std::uint32_t>(nodes::int_in(nodes::read_number_page(AT_FDCWD, path)));
}

// The connector directory of the newer family says nothing about its outputs.
DisplayOutputs find_outputs(const SummaryAdapter& adapter) {
    const auto published = outputs_in_page(read_gpuinfo_page(adapter.card), adapter.chip_id);
    if (published) {
        return *published;
    }
    return adapter::is_newer_family(adapter.chip_id) ? DisplayOutputs{} : count_connectors(adapter.card);
}

// The tool is run whatever the family, and the messages come in this order.
void gather_facts(const SummaryAdapter& adapter) {
    _GPU_ADAPTER_SUMMARY& facts = state.summary;
    facts = {};
    facts.frame_buffer_size = node_word(nodes::kFbSize);
    facts.memory_speed = configured_memory_speed();
    facts.memory_type = read_memory_generation();
    facts.memory_bit_width = read_bus_width();
    facts.memory_channel_number = node_word(nodes::kMiuChannelNum);
    facts.current_link_width = read_link_width();
    interface::log("cached_current_link_width: 0x%x\n", facts.current_link_width);
    const DisplayOutputs outputs = find_outputs(adapter);
    facts.display_port_number = outputs.ports;
    facts.display_types = outputs.types;
    interface::log("cached_display_port_number: 0x%x, cached_support_disp_port_type: 0x%x\n", outputs.ports,
                   outputs.types);
    state.summary_chip = adapter.chip_id;
}

void read_clocks(_GPU_ADAPTER_SUMMARY& record) {
    record.engine_clock = node_word(nodes::kEclk);
    record.memory_clock = node_word(nodes::kMclk);
    record.video_clock = node_word(nodes::kVclk);
    record.core_clock = node_word(nodes::kCoreclk);
}

void copy_facts(_GPU_ADAPTER_SUMMARY& record, const _GPU_ADAPTER_SUMMARY& facts) {
    record.frame_buffer_size = facts.frame_buffer_size;
    record.display_port_number = facts.display_port_number;
    record.display_types = facts.display_types;
    record.memory_channel_number = facts.memory_channel_number;
    record.current_link_width = facts.current_link_width;
}

// The newer family's memory sits on the adapter: what the system's memory devices say does not apply to it.
void copy_memory_facts(_GPU_ADAPTER_SUMMARY& record, const _GPU_ADAPTER_SUMMARY& facts, bool newer_family) {
    if (newer_family) {
        record.memory_speed = record.memory_clock * 2;
        return;
    }
    record.memory_speed = facts.memory_speed;
    record.memory_type = facts.memory_type;
    record.memory_bit_width = facts.memory_bit_width;
}

} // namespace

SummaryState& summary_state() {
    return state;
}

void read_summary(_GPU_ADAPTER_SUMMARY& record, const SummaryAdapter& adapter) {
    if (state.summary_chip != adapter.chip_id) {
        gather_facts(adapter);
    }
    read_clocks(record);
    copy_facts(record, state.summary);
    copy_memory_facts(record, state.summary, adapter::is_newer_family(adapter.chip_id));
}

} // namespace kt3::summary
