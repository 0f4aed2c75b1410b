// SPDX-License-Identifier: MIT
#include "kt3/options.hpp"

#include "kt3/arguments.hpp"

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
        add_text(app, {"-g,--gpu", "Adapter: slot number, PCI bus id or \"all\"", "SLOT|BDF|all"}, options.gpu);
    }
    add_flag(app, {"--json", "Print one JSON document"}, options.json);
    if (accepts.csv) {
        add_flag(app, {"--csv", "Print comma-separated values with a heading line"}, options.csv);
    }
    add_text(app, {"-o,--output", "Write the data to FILE, replacing it when complete", "FILE"}, options.output);
    add_word(app, {"--color", "Colours: auto (the default; NO_COLOR is respected), always or never", "WHEN"},
             {"auto", "always", "never"}, options.color);
    add_flag(app, {"-v,--verbose", "Show the library's messages on standard error"}, options.verbose);
    add_text(app, {"--library", "Use this libkt3_mgmt_interface.so", "FILE"}, options.library);
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
