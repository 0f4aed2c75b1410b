#include "vm_diff.hpp"

#include "exit_status.hpp"
#include "screen_text.hpp"
#include "vm_units.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <map>

namespace kt3::cli {
namespace {

[[noreturn]] void no_dump(const std::string& path, const std::string& why) {
    throw Failure{ExitStatus::failure, "no_dump", fmt::format("{}: {}", path, why),
                  "save one with: kt3 vm pagetable --json -o FILE, or kt3 vm nodes --json -o FILE"};
}

// One thing of a document that can be found again in another.
struct Item {
    std::string what;
    std::string where;
    const Json* value;
};
using Items = std::map<std::string, Item>; // by identity

// In the order of the document, numbered where several have the same identity.
class ItemList {
public:
    void add(const std::string& identity, Item item) {
        const int number = seen_[identity]++;
        order.push_back(identity + '#' + std::to_string(number));
        items.emplace(order.back(), std::move(item));
    }
    std::vector<std::string> order;
    Items items;

private:
    std::map<std::string, int> seen_;
};

std::string words_of(const Json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string client_words(const Json& client) {
    return fmt::format("client {} pid {} {}", words_of(client.at("client")), words_of(client.at("pid")),
                       words_of(client.at("name")));
}

ItemList clients_of(const Json& document) {
    ItemList list;
    for (const Json& client : document.at("clients")) {
        list.add(words_of(client.at("client")) + '/' + words_of(client.at("pid")),
                 {"client", client_words(client), &client});
    }
    return list;
}

ItemList rows_of(const Json& client) {
    ItemList list;
    for (const Json& row : client.at("rows")) {
        const std::string kind = row.at("kind").get<std::string>();
        const std::string place = row.at("under").get<std::string>();
        const int level = row.at("level").get<int>();
        const int index = row.at("index").get<int>();
        const std::string separator = kind == "sub_table" ? " sub " : place.empty() ? "" : "/";
        list.add(fmt::format("{} {} {}:{}", kind, place, level, index),
                 {kind, fmt::format("{}  {}{}{}:{}", client_words(client), place, separator, level, index), &row});
    }
    return list;
}

ItemList nodes_of(const Json& document) {
    ItemList list;
    for (const Json& node : document.at("nodes")) {
        const std::string where =
            fmt::format("pid {} {} handle {} address {}", words_of(node.at("pid")), words_of(node.at("name")),
                        words_of(node.at("handle")), hexadecimal(node.at("gpu_va").get<std::uint64_t>()));
        list.add(where, {"node", where, &node});
    }
    return list;
}

Difference came(const Item& item, Json value) {
    return {"added", item.what, item.where, nullptr, std::move(value)};
}
Difference went(const Item& item, Json value) {
    return {"removed", item.what, item.where, std::move(value), nullptr};
}

// A client that came or went is told without its rows.
Json brief(const Json& value) {
    Json copy = value;
    copy.erase("rows");
    return copy;
}

// Calls both(before, after) for what is in both lists.
template<typename Both>
void match(const ItemList& before, const ItemList& after, std::vector<Difference>& differences, Both both) {
    for (const std::string& identity : before.order) {
        const Item& old = before.items.at(identity);
        const auto found = after.items.find(identity);
        if (found == after.items.end()) {
            differences.push_back(went(old, brief(*old.value)));
        } else {
            both(old, found->second);
        }
    }
    for (const std::string& identity : after.order) {
        if (!before.items.contains(identity)) {
            const Item& fresh = after.items.at(identity);
            differences.push_back(came(fresh, brief(*fresh.value)));
        }
    }
}

std::string value_words(const Json& object) {
    if (object.contains("size_bytes")) {
        return shown_size(object["size_bytes"].get<std::uint64_t>());
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

std::string difference_line(const Difference& difference) {
    if (difference.before.is_null()) {
        return fmt::format("+ {}: {}", difference.where, value_words(difference.after));
    }
    if (difference.after.is_null()) {
        return fmt::format("- {}: {}", difference.where, value_words(difference.before));
    }
    return fmt::format("~ {}: {} -> {}", difference.where, value_words(difference.before),
                       value_words(difference.after));
}

Paint paint_of(const Difference& difference) {
    if (difference.before.is_null()) {
        return Paint::good;
    }
    return difference.after.is_null() ? Paint::bad : Paint::plain;
}

} // namespace

Json read_dump(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        no_dump(path, std::strerror(errno == 0 ? EIO : errno));
    }
    Json document = Json::parse(file, nullptr, false);
    const std::string command = document.is_object() ? document.value("command", Json("")).dump() : "";
    if (command != "\"vm pagetable\"" && command != "\"vm nodes\"") {
        no_dump(path, "not written by kt3 vm pagetable --json or kt3 vm nodes --json");
    }
    if (!document.contains(command == "\"vm nodes\"" ? "nodes" : "clients")) {
        no_dump(path, "the command that wrote it failed");
    }
    return document;
}

std::vector<Difference> compare_dumps(const Json& before, const Json& after) {
    if (before.at("command") != after.at("command")) {
        throw Failure{ExitStatus::failure, "no_dump", "one file holds page tables, the other allocation nodes",
                      "compare two files of the same kind"};
    }
    std::vector<Difference> differences;
    const auto values = [&](const Item& old, const Item& fresh) {
        if (*old.value != *fresh.value) {
            differences.push_back({"changed", old.what, old.where, *old.value, *fresh.value});
        }
    };
    try {
        if (before.contains("nodes")) {
            match(nodes_of(before), nodes_of(after), differences, values);
        } else {
            match(clients_of(before), clients_of(after), differences, [&](const Item& old, const Item& fresh) {
                match(rows_of(*old.value), rows_of(*fresh.value), differences, values);
            });
        }
    } catch (const Json::exception& error) {
        throw Failure{ExitStatus::failure, "no_dump", fmt::format("a file is damaged: {}", error.what())};
    }
    return differences;
}

std::string differences_text(const std::vector<Difference>& differences, bool color) {
    if (differences.empty()) {
        return "no differences\n";
    }
    std::string text;
    for (const Difference& difference : differences) {
        text += painted(screen_safe(difference_line(difference)), paint_of(difference), color) + '\n';
    }
    const auto count = [&](std::string_view change) {
        return std::count_if(differences.begin(), differences.end(),
                             [&](const Difference& one) { return one.change == change; });
    };
    return text + fmt::format("{} added, {} removed, {} changed\n", count("added"), count("removed"), count("changed"));
}

Table difference_rows(const std::vector<Difference>& differences) {
    Table table{{{"CHANGE", "change"}, {"WHAT", "what"}, {"WHERE", "where"}, {"BEFORE", "before"}, {"AFTER", "after"}},
                {}};
    for (const Difference& one : differences) {
        table.rows.push_back({one.change, one.what, one.where, one.before.is_null() ? "" : value_words(one.before),
                              one.after.is_null() ? "" : value_words(one.after)});
    }
    return table;
}

Json differences_json(const std::vector<Difference>& differences) {
    Json all = Json::array();
    for (const Difference& one : differences) {
        all.push_back({{"change", one.change},
                       {"what", one.what},
                       {"where", valid_utf8(one.where)},
                       {"before", one.before},
                       {"after", one.after}});
    }
    return all;
}

} // namespace kt3::cli
