// SPDX-License-Identifier: MIT
#include "kt3/adapter_table.hpp"

#include "output/screen_text.hpp"

#include <fmt/format.h>

namespace kt3::cli {

std::string adapter_heading(const Session& session, const Adapter& adapter, const std::string& more) {
    return painted(fmt::format("GPU {}  {}{}", adapter.slot, screen_safe(adapter.name), more), Paint::bold,
                   color_of(session));
}

std::string table_text(const Session& session, const Table& table) {
    return format_of(session) == Format::csv ? comma_separated(table) : aligned(table, screen_of(session));
}

void show_table(Session& session, const Table& table, const std::string& heading) {
    if (format_of(session) != Format::csv) {
        session.text += (session.text.empty() ? "" : "\n") + heading + '\n' + aligned(table, screen_of(session));
        return;
    }
    const std::string lines = comma_separated(table);
    session.text += session.text.empty() ? lines : lines.substr(lines.find('\n') + 1);
}

} // namespace kt3::cli
