// SPDX-License-Identifier: MIT
#include "kt3/options.hpp"

#include "kt3/arguments.hpp"

#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>

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

void add_timeout(CLI::App& app, Options& options) {
    add_seconds(app, {"--timeout", "How long to wait for a driver that does not answer (2)", "SECONDS"},
                options.timeout, 0.001);
}

void add_shared_options(CLI::App& app, Options& options, Accepts accepts) {
    if (accepts.gpu) {
        add_list(app, {"-g,--gpu", "Adapters: slot numbers, PCI bus ids or \"all\"; also several", "SLOT|BDF|all"},
                 options.gpus);
        add_timeout(app, options);
        add_flag(app, {"--wake", "Read adapters that are suspended, too"}, options.wake);
    }
    add_flag(app, {"--json", "Print one JSON document"}, options.json);
    if (accepts.csv) {
        add_flag(app, {"--csv", "Print comma-separated values with a heading line"}, options.csv);
    }
    add_text(app, {"-o,--output", "Write the data to FILE, replacing it when complete", "FILE"}, options.output);
    add_word(app, {"--color", "Colours: auto (the default; NO_COLOR is respected), always or never", "WHEN"},
             {"auto", "always", "never"}, options.color);
    add_flag(app, {"--strict", "End with status 7 when a value is absent that the chip could have given"},
             options.strict);
    add_flag(app, {"-v,--verbose", "Show the library's messages on standard error"}, options.verbose);
    add_text(app, {"--library", "Use this libkt3_mgmt_interface.so", "FILE"}, options.library);
}

std::size_t terminal_width(const support::Fd& terminal) {
    const char* columns = std::getenv("COLUMNS");
    if (const int wanted = columns == nullptr ? 0 : std::atoi(columns); wanted > 0) {
        return static_cast<std::size_t>(wanted);
    }
    winsize size{};
    return ::ioctl(terminal.get(), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
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
