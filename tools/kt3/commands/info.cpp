// kt3 info: everything about an adapter. It is bound while it is looked at, so that the state of its kernel-interface
// module shows.

#include "kt3/adapter_choice.hpp"
#include "kt3/command_table.hpp"
#include "observe/adapter/adapter_facts.hpp"
#include "observe/adapter/binding.hpp"
#include "observe/adapter/summary_facts.hpp"
#include "observe/owned.hpp"
#include "output/adapter.hpp"
#include "output/reading_text.hpp"
#include "output/screen_text.hpp"
#include "output/text_table.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <dirent.h>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

constexpr std::size_t kLabelWidth = 18;

// The module file that binding has loaded.
Reading module_of(const Adapter& adapter, bool complete) {
    if (adapter.family == nullptr) {
        return absent(Absence::not_on_this_chip);
    }
    const ModuleFiles* files = complete ? find_module_files(adapter.chip_id) : nullptr;
    for (const char* file : {files == nullptr ? nullptr : files->first, files == nullptr ? nullptr : files->second}) {
        if (file != nullptr && SharedObject(::dlopen(file, RTLD_LAZY | RTLD_NOLOAD))) {
            return {file};
        }
    }
    return absent(Absence::driver);
}

Reading debugfs_of(const Adapter& adapter) {
    if (adapter.family == nullptr) {
        return absent(Absence::not_on_this_chip);
    }
    const std::string path = fmt::format("/sys/kernel/debug/dri/{}/{}", adapter.card, adapter.family->token);
    const Dir listing(::opendir(path.c_str()));
    return listing ? Reading{path} : absent(absence_of(errno));
}

Reading info_directory_of(const Adapter& adapter) {
    if (adapter.family == nullptr) {
        return absent(Absence::not_on_this_chip);
    }
    return adapter.info_fd >= 0 ? Reading{adapter.family->info_directory} : absent(Absence::driver);
}

std::vector<NamedFact> read_driver_state(const Adapter& adapter, bool complete) {
    return {
        {"driver", "module", "Interface module", "", module_of(adapter, complete)},
        {"driver", "info_directory", "Info directory", "", info_directory_of(adapter)},
        {"driver", "debugfs_directory", "Debugfs", "", debugfs_of(adapter)},
    };
}

std::vector<NamedFact> read_facts(Session& session, const Adapter& adapter, bool bound) {
    auto facts = read_driver_state(adapter, bound);
    for (const auto& group :
         {read_versions(adapter), read_live_facts(library_of(session), machine_of(session), adapter),
          read_summary(library_of(session), machine_of(session), adapter),
          read_extended_summary(library_of(session), machine_of(session), adapter)}) {
        facts.insert(facts.end(), group.begin(), group.end());
    }
    // Groups stand together; their order is that of their first facts, the link's last.
    std::stable_partition(facts.begin(), facts.end(),
                          [](const NamedFact& fact) { return std::string_view(fact.group) != "link"; });
    return facts;
}

std::vector<NamedFact> read_bound_facts(Session& session, const Adapter& adapter) {
    if (adapter.family == nullptr) { // a GPU of another vendor cannot be bound
        return read_facts(session, adapter, false);
    }
    const Binding binding(library_of(session), machine_of(session), adapter);
    return read_facts(session, adapter, binding.complete());
}

std::vector<Fact> identity_facts(const Adapter& adapter) {
    return {
        {"Bus id", bus_text(adapter.bus)},
        {"Vendor",
         fmt::format("{:#06x} ({})", adapter.vendor_id,
                     adapter.family == nullptr ? "another vendor" : adapter.family->name + std::string(" family"))},
        {"Chip", fmt::format("{:#06x}", adapter.chip_id)},
        {"Node", fmt::format("/dev/dri/card{}", adapter.card)},
        {"LUID", fmt::format("{:#010x}:{:#010x}", adapter.luid_high, adapter.luid_low)},
        {"VA driver", shown(adapter.va_driver)},
    };
}

std::string capitalised(std::string text) {
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    return text;
}

// One line when all facts of a group are absent for the same reason.
std::string group_lines(const std::vector<NamedFact>& group, bool color) {
    const Absence why = group.front().reading.absence;
    const bool empty = why != Absence::none && std::all_of(group.begin(), group.end(), [&](const NamedFact& fact) {
                           return fact.reading.absence == why;
                       });
    if (empty) {
        return fact_list({{capitalised(group.front().group), shown(group.front().reading)}}, 2, kLabelWidth + 2);
    }
    std::string text = "  " + painted(capitalised(group.front().group), Paint::bold, color) + '\n';
    for (const NamedFact& fact : group) {
        text += fact_list({{fact.label, shown(fact.reading, fact.unit)}}, 4, kLabelWidth);
    }
    return text;
}

std::string page_of(const Adapter& adapter, const std::vector<NamedFact>& facts, bool color) {
    const std::string heading = fmt::format("GPU {}  {}", adapter.slot, screen_safe(adapter.name));
    std::string text = painted(heading, Paint::bold, color) + '\n';
    text += fact_list(identity_facts(adapter), 2, kLabelWidth + 2);
    for (auto group = facts.begin(); group != facts.end();) {
        const auto end = std::find_if(
            group, facts.end(), [&](const NamedFact& fact) { return std::string_view(fact.group) != group->group; });
        text += group_lines({group, end}, color);
        group = end;
    }
    return text;
}

ExitStatus run_info(Session& session) {
    for (const Adapter* adapter : selected_adapters(session)) {
        const auto facts = read_bound_facts(session, *adapter);
        Json object = identity_of(*adapter);
        put_facts(object, facts);
        session.report.adapters.push_back(std::move(object));
        session.text += (session.text.empty() ? "" : "\n") + page_of(*adapter, facts, color_of(session));
    }
    return ExitStatus::ok;
}

} // namespace

void add_info(CLI::App& app, Options& options, Chosen& chosen) {
    add_command(app, "info", "Show what is known about an adapter", options, chosen, {.gpu = true}, run_info);
}

} // namespace kt3::cli
