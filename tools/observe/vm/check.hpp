// SPDX-License-Identifier: MIT
#pragma once
// Finds the lines of dumps that the library cannot read or leaves out, with its own line parsers.

#include "observe/vm/dump_calls.hpp"
#include "observe/vm/dumps.hpp"

#include <string_view>

namespace kt3::observe {

// Texts are read in pieces of at most this many characters, each of which counts as a line.
constexpr std::size_t kPieceSize = 511;
constexpr std::size_t kFieldSize = 47; // of the library's text fields

// A number as the library reads it: white space and a sign before it, anything after it. Nothing when there is none or
// it does not fit 64 bits.
[[nodiscard]] std::optional<std::int64_t> leading_number(const std::string& text, int base);

// The process id in a client's info file; nothing when it has none that fits 32 bits.
[[nodiscard]] std::optional<std::int64_t> read_process(const DumpCalls& calls, std::string_view text);

// What is wrong with it.
[[nodiscard]] std::vector<DumpFinding> check_owner(const DumpCalls& calls, const std::string& client,
                                                   std::string_view text);

// What is wrong with the lines of a client's page-table dump.
[[nodiscard]] std::vector<DumpFinding> check_page_tables(const DumpCalls& calls, const std::string& client,
                                                         std::string_view text);

// Counts the entries of a page-table dump that comes in blocks. A dump of which the library kept fewer has dropped
// lines.
class EntryCounter {
public:
    void take(std::string_view block);
    [[nodiscard]] std::size_t finish();

private:
    std::string rest_; // a line whose end has not come yet
    std::size_t count_ = 0;
};

// The entries of a client's page-table dump that the library drops without a word, as one finding.
[[nodiscard]] std::vector<DumpFinding> check_dropped_lines(const DumpCalls& calls, const std::string& client,
                                                           std::string_view text);

// The nodes of an allocation's dump; those that are malformed become findings.
[[nodiscard]] std::vector<VmNode> read_nodes(const DumpCalls& calls, const std::string& allocation,
                                             std::string_view text, std::vector<DumpFinding>& findings);

} // namespace kt3::observe
