#pragma once
// Page tables and allocation nodes as text, rows and JSON.

#include "text_table.hpp"
#include "vm_data.hpp"

namespace kt3::cli {

// Sub-table entries behind each other in one table, whose indexes count up by one and whose addresses grow by the same
// step.
struct PageRun {
    const PageEntry* first;
    std::size_t count;
    std::int64_t step; // 0 for a single entry
};
[[nodiscard]] std::vector<PageRun> fold_runs(const std::vector<PageEntry>& pages);

[[nodiscard]] std::size_t row_count(const VmClient& client);

// The tables of a client with what hangs below them, two blanks deeper for each level.
[[nodiscard]] std::string tree_text(const VmClient& client, bool color);

// Flat rows, in the order of the library: tables of level 0, 1 and 2, then sub-table entries of level 0, 1 and 2.
[[nodiscard]] Table flat_rows(const std::vector<VmClient>& clients);
[[nodiscard]] Json rows_json(const VmClient& client);

// One row per client.
[[nodiscard]] Table client_rows(const std::vector<VmClient>& clients, const std::vector<DumpFault>& findings);
[[nodiscard]] Json client_json(const VmClient& client);

// AllocationNodes by process: a heading with the sum, then the nodes.
[[nodiscard]] std::string nodes_text(const std::vector<VmNode>& nodes, bool color);
[[nodiscard]] Table node_rows(const std::vector<VmNode>& nodes);
[[nodiscard]] Json node_json(const VmNode& node);

// The findings of a report, as its last section; nothing without findings.
[[nodiscard]] std::string findings_text(const std::vector<DumpFault>& findings, bool color);
[[nodiscard]] std::string finding_line(const DumpFault& finding);
[[nodiscard]] Json findings_json(const std::vector<DumpFault>& findings);

[[nodiscard]] std::string hexadecimal(std::uint64_t value); // "0x1f40"
[[nodiscard]] std::string shown_size(std::uint64_t bytes);  // "1.5 MiB"

} // namespace kt3::cli
