// SPDX-License-Identifier: MIT
#include "output/vm/nodes.hpp"

#include "output/schema.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <charconv>
#include <fmt/format.h>
#include <map>

namespace kt3::output {
namespace {

std::optional<std::int64_t> handle_of(const VmNode& node) {
    std::int64_t handle = 0;
    const char* end = node.handle.data() + node.handle.size();
    const auto result = std::from_chars(node.handle.data(), end, handle, 16);
    return result.ec == std::errc() && result.ptr == end ? std::optional(handle) : std::nullopt;
}
std::string handle_text(const VmNode& node) {
    return "  " + node.handle;
}
std::string address_text(const VmNode& node) {
    return hexadecimal(node.gpu_va);
}
std::string size_text(const VmNode& node) {
    return bytes_text(node.size);
}

// clang-format off
// On screen the process is the heading above its nodes.
constexpr Column<VmNode> kNodeColumns[] = {
    column<&VmNode::pid>                  ("pid",        "PID",      {.forms = kCsv | kJson}),
    column<&VmNode::name>                 ("name",       "NAME",     {.forms = kCsv | kJson}),
    column<&VmNode::handle, handle_text>  ("handle",     "  HANDLE", {.forms = kText | kCsv}),
    member<handle_of>                     ("handle"),
    member<&VmNode::handle>               ("handle_hex"),
    column<&VmNode::gpu_va, address_text> ("gpu_va",     "ADDRESS",  {.least = 0}),
    column<&VmNode::size, size_text>      ("size_bytes", "SIZE",     {.least = 0}),
};
// clang-format on

} // namespace

std::string nodes_text(const std::vector<VmNode>& nodes, const Screen& screen) {
    std::map<std::int64_t, std::vector<VmNode>> by_process;
    for (const VmNode& node : nodes) {
        by_process[node.pid].push_back(node);
    }
    std::string text;
    for (const auto& [pid, own] : by_process) {
        std::uint64_t sum = 0;
        for (const VmNode& node : own) {
            sum += node.size;
        }
        const std::string heading = fmt::format("pid {}  {}  {}, {}", pid, screen_safe(own.front().name),
                                                counted(own.size(), "node", "nodes"), bytes_text(sum));
        text += (text.empty() ? "" : "\n") + painted(heading, Paint::bold, screen.color) + '\n' +
                aligned(table_of(kNodeColumns, own, Format::text), {.width = screen.width});
    }
    return text;
}

Table node_rows(const std::vector<VmNode>& nodes) {
    return table_of(kNodeColumns, nodes, Format::csv);
}

Json nodes_json(const std::vector<VmNode>& nodes) {
    return array_of(kNodeColumns, nodes);
}

Json nodes_form() {
    return array_form(form_of(kNodeColumns));
}

} // namespace kt3::output
