// SPDX-License-Identifier: MIT
#include "output/vm/diff.hpp"

#include "observe/failure.hpp"
#include "output/schema.hpp"
#include "output/screen_text.hpp"
#include "output/units.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <unordered_map>

namespace kt3::output {
namespace {

struct Name {
    std::string what;
    std::string where;
};

// How the things of one list are found again in another list, and what they are called in a difference.
struct ItemKind {
    std::function<std::string(const Json&)> identity;
    std::function<Name(const Json&)> name;
};

// The end of a list by identity; things of the same identity are numbered.
class Items {
public:
    Items(const Json& list, std::size_t first, const ItemKind& kind) {
        for (std::size_t at = first; at < list.size(); ++at) {
            const std::string identity = kind.identity(list[at]);
            const int number = seen_[identity]++;
            in_order_.push_back(&*by_identity_.emplace(identity + '#' + std::to_string(number), &list[at]).first);
        }
    }
    [[nodiscard]] const Json* find(const std::string& numbered_identity) const {
        const auto found = by_identity_.find(numbered_identity);
        return found == by_identity_.end() ? nullptr : found->second;
    }
    [[nodiscard]] auto begin() const { return in_order_.begin(); }
    [[nodiscard]] auto end() const { return in_order_.end(); }

private:
    using Entries = std::unordered_map<std::string, const Json*>;
    std::unordered_map<std::string, int> seen_;
    Entries by_identity_;
    std::vector<const Entries::value_type*> in_order_;
};

std::string words_of(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string client_words(const Json& client) {
    return fmt::format("client {} pid {} {}", words_of(client.at("client")), words_of(client.at("pid")),
                       words_of(client.at("name")));
}

std::string client_identity(const Json& client) {
    return words_of(client.at("client")) + '/' + words_of(client.at("pid"));
}

std::string row_identity(const Json& row) {
    return fmt::format("{} {} {}:{}", row.at("kind").get_ref<const std::string&>(),
                       row.at("under").get_ref<const std::string&>(), row.at("level").get<int>(),
                       row.at("index").get<int>());
}

Name row_name(const Json& client, const Json& row) {
    const std::string kind = row.at("kind").get<std::string>();
    const std::string place = row.at("under").get<std::string>();
    const char* separator = kind == "sub_table" ? " sub " : place.empty() ? "" : "/";
    return {kind, fmt::format("{}  {}{}{}:{}", client_words(client), place, separator, row.at("level").get<int>(),
                              row.at("index").get<int>())};
}

std::string node_words(const Json& node) {
    return fmt::format("pid {} {} handle {} address {}", words_of(node.at("pid")), words_of(node.at("name")),
                       words_of(node.at(node.contains("handle_hex") ? "handle_hex" : "handle")),
                       hexadecimal(node.at("gpu_va").get<std::uint64_t>()));
}

ItemKind clients_kind() {
    return {client_identity, [](const Json& client) { return Name{"client", client_words(client)}; }};
}

ItemKind nodes_kind() {
    return {node_words, [](const Json& node) { return Name{"node", node_words(node)}; }};
}

ItemKind rows_kind(const Json& client) {
    return {row_identity, [&client](const Json& row) { return row_name(client, row); }};
}

// A client that came or went is told without its rows.
Json brief(const Json& value) {
    Json copy = value;
    copy.erase("rows");
    return copy;
}

DumpDifference difference(const char* change, const ItemKind& kind, Json before, Json after) {
    Name name = kind.name(after.is_null() ? before : after);
    return {change, std::move(name.what), std::move(name.where), std::move(before), std::move(after)};
}

struct List {
    const Json& values;
    const ItemKind& kind;
};

// Calls both(before, after) for what is in both lists. Mostly they go side by side, which needs no index.
template<typename Both>
void match(const List& before, const List& after, std::vector<DumpDifference>& differences, Both both) {
    std::size_t same = 0;
    while (same < before.values.size() && same < after.values.size() &&
           before.kind.identity(before.values[same]) == after.kind.identity(after.values[same])) {
        both(before.values[same], after.values[same]);
        ++same;
    }
    const Items old_items(before.values, same, before.kind);
    const Items fresh_items(after.values, same, after.kind);
    for (const auto* old : old_items) {
        if (const Json* fresh = fresh_items.find(old->first)) {
            both(*old->second, *fresh);
        } else {
            differences.push_back(difference("removed", before.kind, brief(*old->second), nullptr));
        }
    }
    for (const auto* fresh : fresh_items) {
        if (old_items.find(fresh->first) == nullptr) {
            differences.push_back(difference("added", after.kind, nullptr, brief(*fresh->second)));
        }
    }
}

void compare_values(const List& before, const List& after, std::vector<DumpDifference>& differences) {
    match(before, after, differences, [&](const Json& old, const Json& fresh) {
        if (old != fresh) {
            differences.push_back(difference("changed", before.kind, old, fresh));
        }
    });
}

void compare_clients(const Json& before, const Json& after, std::vector<DumpDifference>& differences) {
    const ItemKind kind = clients_kind();
    match({before, kind}, {after, kind}, differences, [&](const Json& old, const Json& fresh) {
        const ItemKind old_rows = rows_kind(old);
        const ItemKind fresh_rows = rows_kind(fresh);
        compare_values({old.at("rows"), old_rows}, {fresh.at("rows"), fresh_rows}, differences);
    });
}

std::string value_words(const Json& object) {
    if (object.contains("size_bytes")) {
        return bytes_text(object["size_bytes"].get<std::uint64_t>());
    }
    if (object.contains("row_count")) {
        return fmt::format("{} rows", object["row_count"].get<std::uint64_t>());
    }
    std::string text;
    for (const char* key : {"address", "buffer", "snoop", "segment", "large_page"}) {
        if (object.contains(key)) {
            const Json& value = object[key];
            const bool number = std::string_view(key) == "address" && value.is_number_unsigned();
            text += fmt::format("{}{} {}", text.empty() ? "" : ", ", key,
                                number ? hexadecimal(value.get<std::uint64_t>()) : words_of(value));
        }
    }
    return text;
}

std::string difference_line(const DumpDifference& difference) {
    if (difference.before.is_null()) {
        return fmt::format("+ {}: {}", difference.where, value_words(difference.after));
    }
    if (difference.after.is_null()) {
        return fmt::format("- {}: {}", difference.where, value_words(difference.before));
    }
    return fmt::format("~ {}: {} -> {}", difference.where, value_words(difference.before),
                       value_words(difference.after));
}

std::optional<std::string> words_before(const DumpDifference& difference) {
    return difference.before.is_null() ? std::nullopt : std::optional(value_words(difference.before));
}
std::optional<std::string> words_after(const DumpDifference& difference) {
    return difference.after.is_null() ? std::nullopt : std::optional(value_words(difference.after));
}

// clang-format off
// JSON has the two values themselves at its end.
constexpr Column<DumpDifference> kDifferenceColumns[] = {
    column<&DumpDifference::change>("change", "CHANGE", {.one_of = "added removed changed"}),
    column<&DumpDifference::what>  ("what",   "WHAT",   {.one_of = "client table sub_table node"}),
    column<&DumpDifference::where> ("where",  "WHERE"),
    column<words_before>           ("before", "BEFORE", {.forms = kCsv}),
    column<words_after>            ("after",  "AFTER",  {.forms = kCsv}),
};
// clang-format on

Paint paint_of(const DumpDifference& difference) {
    if (difference.before.is_null()) {
        return Paint::good;
    }
    return difference.after.is_null() ? Paint::bad : Paint::plain;
}

} // namespace

std::vector<DumpDifference> compare_dumps(const Json& before, const Json& after) {
    if (before.at("command") != after.at("command")) {
        throw observe::Failure{observe::ExitStatus::failure, "no_dump",
                               "one file holds page tables, the other allocation nodes",
                               "compare two files of the same kind"};
    }
    std::vector<DumpDifference> differences;
    try {
        if (before.contains("nodes")) {
            const ItemKind kind = nodes_kind();
            compare_values({before.at("nodes"), kind}, {after.at("nodes"), kind}, differences);
        } else {
            compare_clients(before.at("clients"), after.at("clients"), differences);
        }
    } catch (const Json::exception& error) {
        throw observe::Failure{observe::ExitStatus::failure, "no_dump",
                               fmt::format("a file is damaged: {}", error.what())};
    }
    return differences;
}

std::string differences_text(const std::vector<DumpDifference>& differences, const Screen& screen) {
    if (differences.empty()) {
        return "no differences\n";
    }
    std::string text;
    for (const DumpDifference& difference : differences) {
        text += painted(wrapped(screen_safe(difference_line(difference)), screen.width, 2), paint_of(difference),
                        screen.color) +
                '\n';
    }
    const auto count = [&](std::string_view change) {
        return std::count_if(differences.begin(), differences.end(),
                             [&](const DumpDifference& one) { return one.change == change; });
    };
    return text + fmt::format("{} added, {} removed, {} changed\n", count("added"), count("removed"), count("changed"));
}

Table difference_rows(const std::vector<DumpDifference>& differences) {
    return table_of(kDifferenceColumns, differences, Format::csv);
}

Json differences_json(const std::vector<DumpDifference>& differences) {
    Json all = Json::array();
    for (const DumpDifference& one : differences) {
        Json& object = all.emplace_back(object_of(kDifferenceColumns, one));
        object["before"] = one.before;
        object["after"] = one.after;
    }
    return all;
}

Json differences_form() {
    Json form = form_of(kDifferenceColumns);
    for (const char* side : {"before", "after"}) {
        add_member(form, side, {{"type", {"object", "null"}}});
    }
    return array_form(form);
}

} // namespace kt3::output
