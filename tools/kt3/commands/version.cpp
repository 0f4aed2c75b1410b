// SPDX-License-Identifier: MIT
// kt3 version: the versions of the tool and of the interface, and whether they fit.

#include "kt3/command_table.hpp"
#include "output/row.hpp"
#include "output/schema.hpp"
#include "output/text_table.hpp"

#include <fmt/format.h>

namespace kt3::cli {
namespace {

struct Verdict {
    std::int32_t code;
    const char* meaning;
};

constexpr Verdict kVerdicts[] = {
    {KT3_VERSION_MAJOR_MISMATCH, "not compatible"},
    {KT3_VERSION_MATCH, "match"},
    {KT3_VERSION_OLDER_CLIENT, "kt3 is older than the library; compatible"},
    {KT3_VERSION_NEWER_CLIENT, "kt3 is newer than the library; some calls may be missing"},
};

const char* meaning_of(std::int32_t code) {
    for (const Verdict& row : kVerdicts) {
        if (row.code == code) {
            return row.meaning;
        }
    }
    return "unknown answer";
}

std::string number_text(std::int32_t version) {
    const auto bits = static_cast<std::uint32_t>(version);
    return fmt::format("{}.{}", bits >> 16, bits & 0xFFFF);
}

using Negotiation = _GFX_INTERFACE_VERSION;

const char* verdict_of(const Negotiation& record) {
    return meaning_of(record.match_result);
}

constexpr Column<Negotiation> kNegotiationColumns[] = {
    member<&Negotiation::client_version>("client_version"),
    member<&Negotiation::server_version>("server_version"),
    member<&Negotiation::match_result>("match_result", {.one_of = "100 200 201 202"}),
    member<verdict_of>("meaning"),
};

ExitStatus run_version(Session& session) {
    const Library& library = library_of(session);
    Negotiation record{0, KT3_INTERFACE_VERSION, 0};
    library.calls.get_interface_version_ext1(&record);
    session.report.members["library"] = {{"path", library.path}};
    session.report.members["negotiation"] = object_of(kNegotiationColumns, record);
    session.text = fact_list({{"kt3", KT3_TOOL_VERSION},
                              {"Interface", number_text(record.server_version)},
                              {"Built against", number_text(record.client_version)},
                              {"Negotiation", fmt::format("{} ({})", record.match_result, verdict_of(record))},
                              {"Library", library.path}},
                             0, 13);
    return record.match_result == KT3_VERSION_MAJOR_MISMATCH ? ExitStatus::failure : ExitStatus::ok;
}

} // namespace

std::vector<DocumentForm> describe_version() {
    Json library = object_form();
    add_member(library, "path", {{"type", "string"}});
    return {{{"version"}, nullptr, {{"library", library}, {"negotiation", form_of(kNegotiationColumns)}}}};
}

void add_version(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "version", "Show the versions of kt3 and of the library", options, chosen, {}, run_version);
}

} // namespace kt3::cli
