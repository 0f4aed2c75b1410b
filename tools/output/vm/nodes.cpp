#include "output/vm/nodes.hpp"

#include "observe/text.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <fmt/format.h>
#include <map>

namespace kt3::output {

std::string nodes_text(const std::vector<VmNode>& nodes, bool color) {
    std::map<std::int64_t, std::vector<const VmNode*>> by_process;
    for (const VmNode& node : nodes) {
        by_process[node.pid].push_back(&node);
    }
    std::string text;
    for (const auto& [pid, own] : by_process) {
        std::uint64_t sum = 0;
        Table table{{{"  HANDLE", "handle"}, {"ADDRESS", "gpu_va", Align::right}, {"SIZE", "size", Align::right}}, {}};
        for (const VmNode* node : own) {
            sum += node->size;
            table.rows.push_back({"  " + node->handle, hexadecimal(node->gpu_va), bytes_text(node->size)});
        }
        const std::string heading = fmt::format("pid {}  {}  {}, {}", pid, screen_safe(own.front()->name),
                                                counted(own.size(), "node", "nodes"), bytes_text(sum));
        text += (text.empty() ? "" : "\n") + painted(heading, Paint::bold, color) + '\n' + aligned(table, false);
    }
    return text;
}

Table node_rows(const std::vector<VmNode>& nodes) {
    Table table{{{"PID", "pid"}, {"NAME", "name"}, {"HANDLE", "handle"}, {"ADDRESS", "gpu_va"}, {"SIZE", "size_bytes"}},
                {}};
    for (const VmNode& node : nodes) {
        table.rows.push_back(
            {std::to_string(node.pid), node.name, node.handle, std::to_string(node.gpu_va), std::to_string(node.size)});
    }
    return table;
}

Json node_json(const VmNode& node) {
    return {{"pid", node.pid},
            {"name", observe::valid_utf8(node.name)},
            {"handle", observe::valid_utf8(node.handle)},
            {"gpu_va", node.gpu_va},
            {"size_bytes", node.size}};
}

} // namespace kt3::output
