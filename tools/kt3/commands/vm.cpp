// SPDX-License-Identifier: MIT
// kt3 vm: GPU virtual memory as the driver's dumps tell it.

#include "collect/dumps.hpp"
#include "kt3/adapter_table.hpp"
#include "kt3/arguments.hpp"
#include "kt3/command_table.hpp"
#include "kt3/input.hpp"
#include "output/schema.hpp"
#include "output/vm/diff.hpp"
#include "output/vm/findings.hpp"
#include "output/vm/map.hpp"
#include "output/vm/nodes.hpp"
#include "output/vm/picture.hpp"
#include "output/vm/rows.hpp"
#include "output/vm/tree.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <memory>

namespace kt3::cli {
namespace {

struct Arguments {
    double timeout = 10;
    std::string client; // its directory at the driver or its process id; empty for all
    std::string svg;
    std::string before, after;
    bool exit_code = false;
    bool rows = false; // as objects
};

bool wanted(const VmClient& client, const Arguments& arguments) {
    return arguments.client.empty() || client.folder == arguments.client || client.pid == arguments.client;
}

[[noreturn]] void no_such_client(const Arguments& arguments) {
    throw Failure{ExitStatus::failure, "no_such_client", fmt::format("no client '{}'", arguments.client),
                  "kt3 vm clients and kt3 vm nodes list them"};
}

// So that an empty screen never leaves open whether anything was looked at.
std::string said_when_empty(std::string text, const char* words) {
    return text.empty() ? words : std::move(text);
}

// Findings end every report: on screen as its last section, in CSV on standard error.
ExitStatus report_findings(Session& session, const std::vector<DumpFinding>& findings) {
    session.report.members["findings"] = findings_json(findings);
    if (format_of(session) == Format::text) {
        const std::string text = findings_text(findings, screen_of(session));
        session.text += (session.text.empty() || text.empty() ? "" : "\n") + text;
    } else if (format_of(session) == Format::csv) {
        for (const DumpFinding& finding : findings) {
            note_error(session.report, {ExitStatus::failure, finding.code, finding_line(finding)});
        }
    }
    return findings.empty() ? ExitStatus::ok : ExitStatus::failure;
}

Settings patient_settings(const Session& session, const Arguments& arguments) {
    Settings settings = settings_of(session);
    settings.timeout = arguments.timeout;
    return settings;
}

PageTables wanted_clients(Session& session, const Arguments& arguments) {
    PageTables read = read_page_tables(patient_settings(session, arguments));
    session.report.interface_version = read.interface_version;
    std::vector<VmClient> all = std::move(read.clients);
    read.clients.clear();
    for (VmClient& client : all) {
        if (wanted(client, arguments)) {
            read.clients.push_back(std::move(client));
        } else {
            std::erase_if(read.findings, [&](const DumpFinding& finding) { return finding.entry == client.folder; });
        }
    }
    if (read.clients.empty() && !arguments.client.empty()) {
        no_such_client(arguments);
    }
    return read;
}

ExitStatus run_clients(Session& session, const Arguments& arguments) {
    const PageTables read = wanted_clients(session, arguments);
    Json clients = Json::array();
    std::transform(read.clients.begin(), read.clients.end(), std::back_inserter(clients), client_json);
    session.report.members["clients"] = std::move(clients);
    session.text = table_text(session, client_rows(read.clients, read.findings, format_of(session)));
    return report_findings(session, read.findings);
}

std::string trees_text(const std::vector<VmClient>& clients, const Screen& screen) {
    std::string text;
    for (const VmClient& client : clients) {
        text += (text.empty() ? "" : "\n") + tree_text(client, screen);
    }
    return text;
}

void write_clients(JsonStream& json, const std::vector<VmClient>& clients, RowForm form) {
    json.key("clients");
    json.begin_array();
    for (const VmClient& client : clients) {
        write_client(json, client, form);
    }
    json.end_array();
}

ExitStatus run_pagetable(Session& session, const Arguments& arguments) {
    PageTables read = wanted_clients(session, arguments);
    if (format_of(session) == Format::csv) {
        session.text = comma_separated(flat_rows(read.clients));
    } else if (format_of(session) == Format::text) {
        session.text = said_when_empty(trees_text(read.clients, screen_of(session)), "no clients\n");
    } else {
        const RowForm form = arguments.rows ? RowForm::objects : RowForm::arrays;
        session.report.write_more = [clients = std::move(read.clients), form](JsonStream& json) {
            write_clients(json, clients, form);
        };
    }
    return report_findings(session, read.findings);
}

// Nodes know their process only: a directory stands for the process of its client.
std::string wanted_process(const Session& session, const Arguments& arguments, const std::vector<VmNode>& nodes) {
    const bool has_nodes = std::any_of(
        nodes.begin(), nodes.end(), [&](const VmNode& node) { return std::to_string(node.pid) == arguments.client; });
    if (has_nodes) {
        return arguments.client;
    }
    const auto pid = process_of_client(patient_settings(session, arguments), arguments.client);
    if (!pid) {
        no_such_client(arguments);
    }
    return std::to_string(*pid);
}

AllocationNodes wanted_nodes(Session& session, const Arguments& arguments) {
    AllocationNodes read = read_allocation_nodes(patient_settings(session, arguments));
    session.report.interface_version = read.interface_version;
    if (!arguments.client.empty()) {
        const std::string pid = wanted_process(session, arguments, read.nodes);
        std::erase_if(read.nodes, [&](const VmNode& node) { return std::to_string(node.pid) != pid; });
    }
    return read;
}

ExitStatus run_nodes(Session& session, const Arguments& arguments) {
    const AllocationNodes read = wanted_nodes(session, arguments);
    session.report.members["nodes"] = nodes_json(read.nodes);
    session.text = format_of(session) == Format::csv
                       ? comma_separated(node_rows(read.nodes))
                       : said_when_empty(nodes_text(read.nodes, screen_of(session)), "no nodes\n");
    return report_findings(session, read.findings);
}

void write_picture(const support::Fd& standard_output, const std::string& path,
                   const std::vector<AddressSpace>& spaces) {
    Output file(standard_output, path);
    file.write(svg_picture(spaces));
    file.finish();
}

std::string maps_text(const std::vector<AddressSpace>& spaces, const Screen& screen) {
    std::string text;
    for (const AddressSpace& space : spaces) {
        text += (text.empty() ? "" : "\n") + map_text(space, screen);
    }
    return text;
}

ExitStatus run_map(Session& session, const Arguments& arguments) {
    const AllocationNodes read = wanted_nodes(session, arguments);
    const std::vector<AddressSpace> spaces = address_spaces(read.nodes);
    session.report.members["spaces"] = Json::array();
    for (const AddressSpace& space : spaces) {
        session.report.members["spaces"].push_back(space_json(space));
    }
    session.text = format_of(session) == Format::csv
                       ? comma_separated(span_rows(spaces))
                       : said_when_empty(maps_text(spaces, screen_of(session)), "no nodes\n");
    if (!arguments.svg.empty()) {
        write_picture(session.output.standard_output(), arguments.svg, spaces);
    }
    return report_findings(session, read.findings);
}

[[noreturn]] void no_dump(const std::string& path, const std::string& why) {
    throw Failure{ExitStatus::failure, "no_dump", fmt::format("{}: {}", path, why),
                  "save one with: kt3 vm pagetable --json -o FILE, or kt3 vm nodes --json -o FILE"};
}

// Throws Failure when the file is none of the two documents or tells of errors of its own.
Json read_dump(const std::string& path) {
    Json document = Json::parse(text_of_file(path), nullptr, false);
    const std::string command = document.is_object() ? document.value("command", Json("")).dump() : "";
    if (command != "\"vm pagetable\"" && command != "\"vm nodes\"") {
        no_dump(path, "not written by kt3 vm pagetable --json or kt3 vm nodes --json");
    }
    if (!document.contains(command == "\"vm nodes\"" ? "nodes" : "clients")) {
        no_dump(path, "the command that wrote it failed");
    }
    try {
        if (document.contains("clients")) {
            for (Json& client : document["clients"]) {
                unfold_rows(client);
            }
        }
    } catch (const Json::exception&) {
        no_dump(path, "the rows of a client are damaged");
    }
    return document;
}

ExitStatus run_diff(Session& session, const Arguments& arguments) {
    const Json before = read_dump(arguments.before);
    const std::vector<DumpDifference> differences = compare_dumps(before, read_dump(arguments.after));
    session.report.members["differences"] = differences_json(differences);
    session.text = format_of(session) == Format::csv ? comma_separated(difference_rows(differences))
                                                     : differences_text(differences, screen_of(session));
    return arguments.exit_code && !differences.empty() ? ExitStatus::failure : ExitStatus::ok;
}

using Run = ExitStatus (*)(Session&, const Arguments&);

} // namespace

std::vector<DocumentForm> describe_vm() {
    const DocumentMember findings{"findings", findings_form()};
    return {{{"vm clients"}, nullptr, {{"clients", array_form(client_form())}, findings}},
            {{"vm pagetable"}, nullptr, {{"clients", array_form(client_with_rows_form())}, findings}},
            {{"vm nodes"}, nullptr, {{"nodes", nodes_form()}, findings}},
            {{"vm map"}, nullptr, {{"spaces", array_form(space_form())}, findings}},
            {{"vm diff"}, nullptr, {{"differences", differences_form()}}}};
}

void add_vm(CLI::App& app, Options& options, Chosen& chosen) {
    CLI::App& vm = add_family(app, "vm", "Show GPU page tables and allocation nodes");
    const auto arguments = std::make_shared<Arguments>();
    const auto add = [&](const char* name, const char* description, Run run) -> CLI::App& {
        return add_command(vm, name, description, options, chosen, {.csv = true},
                           [arguments, run](Session& session) { return run(session, *arguments); });
    };
    const auto add_reading = [&](const char* name, const char* description, Run run) -> CLI::App& {
        CLI::App& command = add(name, description, run);
        add_seconds(command, {"--timeout", "How long one client or allocation may take; 10 by default", "SECONDS"},
                    arguments->timeout, 0.001);
        add_text(command, {"--client", "Only this client: its directory or its process id", "CLIENT"},
                 arguments->client);
        return command;
    };
    add_reading("clients", "List the clients with the size of their page tables", run_clients);
    CLI::App& pagetable =
        add_reading("pagetable", "Show page tables: a tree, or rows with --csv and --json", run_pagetable);
    add_flag(pagetable, {"--rows", "With --json: rows as objects instead of arrays"}, arguments->rows);
    add_reading("nodes", "Show allocation nodes by process", run_nodes);
    CLI::App& map = add_reading("map", "Draw what is used of each process's GPU address space", run_map);
    add_text(map, {"--svg", "Draw it into FILE as well", "FILE"}, arguments->svg);
    CLI::App& diff = add("diff", "Compare two files that pagetable --json or nodes --json wrote", run_diff);
    add_text(diff, {.names = "before", .description = "The older file", .required = true}, arguments->before);
    add_text(diff, {.names = "after", .description = "The newer file", .required = true}, arguments->after);
    add_flag(diff, {"--exit-code", "End with status 1 when the two files differ"}, arguments->exit_code);
}

} // namespace kt3::cli
