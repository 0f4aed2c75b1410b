// kt3 metric: samples of what moves. One adapter stays bound for the whole stream, so that its rates can be formed
// between samples; of several, each is bound in turn.

#include "kt3/adapter_choice.hpp"
#include "kt3/command_table.hpp"
#include "kt3/option_checks.hpp"
#include "observe/adapter/binding.hpp"
#include "observe/adapter/nodes.hpp"
#include "observe/adapter/samplers.hpp"
#include "observe/adapter/summary_facts.hpp"
#include "observe/interrupt.hpp"
#include "output/adapter.hpp"
#include "output/reading_text.hpp"
#include "output/text_table.hpp"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <span>

namespace kt3::cli {
namespace {

struct Wish {
    std::optional<double> wait; // seconds between samples
    std::optional<std::uint64_t> count;
};

constexpr double kUsualWait = 1;

struct Cell {
    const char* heading;
    const char* group;
    const char* key;
    int width;
};

// clang-format off
// The line of a sample: what most look for. JSON and CSV have all of it.
constexpr Cell kLine[] = {
    {"engine MHz", "clocks",  "engine_mhz",          10},
    {"memory MHz", "clocks",  "memory_mhz",          10},
    {"temp C",     "sensors", "temperature_c",        6},
    {"3D %",       "usage",   "engine_3d_percent",    5},
    {"codec %",    "usage",   "video_codec_percent",  7},
    {"post %",     "usage",   "video_post_percent",   6},
    {"frames/s",   "frames",  "frames_per_s",         9},
    {"interval s", "frames",  "interval_s",          10},
    {"fb used MiB", "memory", "fb_used_mib",         11},
    {"link",       "link",    "link_width",           5},
};
// clang-format on

// The facts of the driver's page that a sample has.
constexpr std::string_view kPageKeys[] = {"memory_usage", "pcie_generation"};

bool holds(std::span<const std::string_view> names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

Reading used_memory(const Reading& size, const Reading& free) {
    if (size.present() && free.present()) {
        return {size.value.get<std::int64_t>() - free.value.get<std::int64_t>()};
    }
    return absent(size.present() ? free.absence : size.absence);
}

Reading link_width(const Adapter& adapter) {
    if (adapter.family == nullptr || adapter.sysfs_fd < 0) {
        return absent(adapter.family == nullptr ? Absence::not_on_this_chip : Absence::driver);
    }
    const Page page = read_page(adapter.sysfs_fd, "current_link_width");
    if (page.absence != Absence::none) {
        return absent(page.absence);
    }
    return holds_number(page.text) ? Reading{std::strtoll(page.text.c_str(), nullptr, 10)}
                                   : absent(Absence::parse_error);
}

std::vector<NamedFact> read_moving_facts(Session& session, const Adapter& adapter) {
    std::vector<NamedFact> facts = read_live_facts(library_of(session), machine_of(session), adapter);
    facts.push_back({"memory", "fb_used_mib", "Used frame buffer", "MiB",
                     used_memory(fact_named(facts, "fb_size_mib").reading, fact_named(facts, "fb_free_mib").reading)});
    facts.push_back({"usage", "engine_3d_percent", "3D", "%", read_number(library_of(session), adapter, kUsage3d)});
    facts.push_back({"usage", "video_codec_percent", "Video codec", "%",
                     read_number(library_of(session), adapter, kUsageVideoCodec)});
    facts.push_back({"usage", "video_post_percent", "Post-processing", "%",
                     read_number(library_of(session), adapter, kUsageVideoPost)});
    for (NamedFact& fact : read_extended_summary(library_of(session), machine_of(session), adapter)) {
        if (holds(kPageKeys, fact.key)) {
            fact.group = std::string_view(fact.group) == "page" ? "memory" : fact.group;
            facts.push_back(fact);
        }
    }
    facts.push_back({"link", "link_width", "Link width", "lanes", link_width(adapter)});
    return facts;
}

// An adapter of the stream: bound for one sample, or for all of them.
struct Source {
    const Adapter* adapter;
    std::unique_ptr<Binding> binding;
    std::unique_ptr<ModuleSampler> sampler;

    void bind(Session& session) {
        if (adapter->family != nullptr && !binding) {
            binding = std::make_unique<Binding>(library_of(session), machine_of(session), *adapter);
            sampler = std::make_unique<ModuleSampler>(library_of(session), *adapter);
        }
    }
    void release() {
        sampler.reset();
        binding.reset();
    }
};

std::vector<NamedFact> take_sample(Session& session, Source& source, bool stays_bound) {
    source.bind(session);
    auto facts = read_moving_facts(session, *source.adapter);
    const auto counted = source.sampler ? source.sampler->sample() : no_module_facts(Absence::not_on_this_chip);
    facts.insert(facts.end(), counted.begin(), counted.end());
    if (!stays_bound) {
        source.release();
    }
    return facts;
}

std::string heading_line() {
    std::string line = "GPU";
    for (const Cell& cell : kLine) {
        line += fmt::format("  {:>{}}", cell.heading, cell.width);
    }
    return line + '\n';
}

std::string sample_line(const Adapter& adapter, const std::vector<NamedFact>& facts) {
    std::string line = fmt::format("{:>3}", adapter.slot);
    for (const Cell& cell : kLine) {
        line += fmt::format("  {:>{}}", shown_briefly(fact_named(facts, cell.key).reading), cell.width);
    }
    return line + '\n';
}

std::string csv_lines(const Adapter& adapter, const std::vector<NamedFact>& facts, bool with_heading) {
    std::vector<std::string> headings;
    Table table{{{"", "slot"}}, {{std::to_string(adapter.slot)}}};
    headings.reserve(facts.size()); // columns point into it
    for (const NamedFact& fact : facts) {
        headings.push_back(fmt::format("{}.{}", fact.group, fact.key));
        table.columns.push_back({"", headings.back().c_str()});
        table.rows[0].push_back(bare(fact.reading));
    }
    const std::string text = comma_separated(table);
    return with_heading ? text : text.substr(text.find('\n') + 1);
}

void add_sample(Session& session, const Adapter& adapter, const std::vector<NamedFact>& facts, bool first) {
    if (format_of(session) == Format::json) {
        Json object = identity_of(adapter);
        put_facts(object, facts);
        session.report.adapters.push_back(std::move(object));
    } else if (format_of(session) == Format::csv) {
        session.text += csv_lines(adapter, facts, first);
    } else {
        session.text += (first ? heading_line() : "") + sample_line(adapter, facts);
    }
}

ExitStatus run_metric(Session& session, const Wish& wish) {
    const std::uint64_t count = wish.count.value_or(wish.wait ? 0 : 1); // 0: until interrupted
    session.streaming = true; // a failure before the first sample is one line of JSON, too
    std::vector<Source> sources;
    for (const Adapter* adapter : selected_adapters(session)) {
        sources.push_back({adapter, nullptr, nullptr});
    }
    for (std::uint64_t number = 0; count == 0 || number < count; ++number) {
        if (number > 0) {
            sleep_or_interrupt(wish.wait.value_or(kUsualWait));
        }
        for (Source& source : sources) {
            const auto facts = take_sample(session, source, sources.size() == 1);
            add_sample(session, *source.adapter, facts, number == 0 && &source == sources.data());
        }
        session.report.members["sample"] = number;
        flush_sample(session);
    }
    return ExitStatus::ok;
}

} // namespace

void add_metric(CLI::App& app, Options& options, Chosen& chosen) {
    const auto wish = std::make_shared<Wish>();
    CLI::App& command =
        add_command(app, "metric", "Sample clocks, temperature, usage, frame rate and bandwidth", options, chosen,
                    {.gpu = true, .csv = true}, [wish](Session& session) { return run_metric(session, *wish); });
    command.add_option("-w,--wait", wish->wait, "Time between samples; without --count until interrupted")
        ->type_name("SECONDS")
        ->check(seconds_to_wait());
    command.add_option("-n,--count", wish->count, "Number of samples")
        ->type_name("COUNT")
        ->transform(whole_number(1, 1'000'000'000'000));
}

} // namespace kt3::cli
