#include "kt3/options.hpp"

#include "kt3/option_checks.hpp"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <cstdlib>
#include <string_view>

namespace kt3::cli {
namespace {

bool is_set(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

Format format_of(const Options& options) {
    if (options.json) {
        return Format::json;
    }
    return options.csv ? Format::csv : Format::text;
}

void add_shared_options(CLI::App& app, Options& options, Accepts accepts) {
    if (accepts.gpu) {
        app.add_option("-g,--gpu", options.gpu, "Adapter: slot number, PCI bus id or \"all\"")
            ->type_name("SLOT|BDF|all")
            ->check(not_empty());
    }
    app.add_flag("--json", options.json, "Print one JSON document");
    if (accepts.csv) {
        app.add_flag("--csv", options.csv, "Print comma-separated values with a heading line");
    }
    app.add_option("-o,--output", options.output, "Write the data to FILE, replacing it when complete")
        ->type_name("FILE")
        ->check(not_empty());
    app.add_option("--color", options.color, "Colours: auto (the default; NO_COLOR is respected), always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    app.add_flag("-v,--verbose", options.verbose, "Show the library's messages on standard error");
    app.add_option("--library", options.library, "Use this libkt3_mgmt_interface.so")
        ->type_name("FILE")
        ->check(not_empty());
}

bool wants_color(const Options& options, bool is_terminal) {
    if (options.color != "auto") {
        return options.color == "always";
    }
    const char* terminal = std::getenv("TERM");
    const bool dumb = terminal != nullptr && std::string_view(terminal) == "dumb";
    return is_terminal && !is_set("NO_COLOR") && !dumb;
}

} // namespace kt3::cli
