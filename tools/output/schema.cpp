// SPDX-License-Identifier: MIT
#include "output/schema.hpp"

#include <sstream>

namespace kt3::output {
namespace {

constexpr std::size_t kLinesDownTo = 4; // deeper values stand in the line of their key

Json choice_of(const Heading& heading) {
    Json choice = Json::array();
    std::istringstream text(heading.look.one_of);
    for (std::string word; text >> word;) {
        choice.push_back(heading.type.kind == Kind::integer ? Json(std::stoll(word)) : Json(word));
    }
    return {{"enum", choice}};
}

const char* type_name(Kind kind) {
    switch (kind) {
    case Kind::flag:
        return "boolean";
    case Kind::number:
        return "number";
    case Kind::integer:
    case Kind::bytes:
    case Kind::hex:
        return "integer";
    default:
        return "string";
    }
}

Json value_form(const Heading& heading) {
    const Look& look = heading.look;
    if (heading.type.kind == Kind::texts) {
        return array_form(look.one_of == nullptr ? Json{{"type", "string"}} : choice_of(heading));
    }
    if (look.one_of != nullptr) {
        return choice_of(heading);
    }
    if (heading.type.kind == Kind::bus_id) {
        return {{"$ref", "#/definitions/bdf"}};
    }
    Json form = {{"type", type_name(heading.type.kind)}};
    if (look.least != INT64_MIN) {
        form["minimum"] = look.least;
    }
    if (look.most != INT64_MAX) {
        form["maximum"] = look.most;
    }
    if (look.pattern != nullptr) {
        form["pattern"] = look.pattern;
    }
    return form;
}

// The object that holds the members of a group; made when it is first asked for.
Json& group_form(Json& form, const char* group) {
    if (group == nullptr) {
        return form;
    }
    if (!form["properties"].contains(group)) {
        add_member(form, group, object_form());
    }
    return form["properties"][group];
}

// A reading is there without a reason, or null with one.
void add_reading_rule(Json& form, const std::string& key) {
    const std::string reason = key + "_reason";
    form["allOf"].push_back({{"if", {{"properties", {{key, {{"type", "null"}}}}}}},
                             {"then", {{"properties", {{reason, {{"type", "string"}}}}}}},
                             {"else", {{"properties", {{reason, {{"type", "null"}}}}}}}});
}

Json reasons() {
    Json codes = Json::array({nullptr});
    for (const observe::AbsenceWords& row : observe::kAbsences) {
        codes.push_back(row.code);
    }
    return {{"enum", codes}};
}

Json error_form() {
    constexpr const char* kTexts[] = {"code", "message"};
    Json form = object_form();
    for (const char* key : kTexts) {
        add_member(form, key, {{"type", "string"}});
    }
    add_member(form, "fix", {{"type", {"string", "null"}}});
    add_member(form, "slot", {{"type", {"integer", "null"}}});
    return form;
}

Json frame_form() {
    Json form = object_form();
    form.erase("additionalProperties"); // commands add their own
    add_member(form, "schema_version", {{"const", 2}});
    add_member(form, "tool_version", {{"type", "string"}});
    add_member(form, "interface_version", {{"type", {"integer", "null"}}});
    add_member(form, "timestamp",
               {{"type", "string"}, {"pattern", "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$"}});
    add_member(form, "command", {{"type", "string"}, {"description", "empty after wrong usage"}});
    add_member(form, "adapters", {{"type", "array"}});
    add_member(form, "errors", array_form({{"$ref", "#/definitions/error"}}));
    return form;
}

Json rule_of(const DocumentForm& document) {
    Json properties = Json::object();
    Json required = Json::array();
    if (!document.adapter.is_null()) {
        properties["adapters"] = {{"items", document.adapter}};
    }
    for (const DocumentMember& member : document.members) {
        properties[member.key] = member.form;
        required.push_back(member.key);
    }
    return {{"if", {{"properties", {{"command", {{"enum", document.commands}}}}}}},
            {"then",
             {{"properties", properties},
              {"if", {{"properties", {{"errors", {{"maxItems", 0}}}}}}},
              {"then", {{"required", required}}}}}};
}

// One line for each value that is deep or simple.
void append(std::string& text, const Json& value, std::size_t depth) {
    if (depth == kLinesDownTo || !value.is_structured() || value.empty()) {
        text += value.dump();
        return;
    }
    const std::string indent(2 * depth + 2, ' ');
    const char* separator = "\n";
    text += value.is_object() ? '{' : '[';
    for (const auto& [key, item] : value.items()) {
        text += separator + indent + (value.is_object() ? Json(key).dump() + ": " : "");
        append(text, item, depth + 1);
        separator = ",\n";
    }
    text += '\n' + std::string(2 * depth, ' ') + (value.is_object() ? '}' : ']');
}

} // namespace

Json object_form() {
    return {{"type", "object"},
            {"additionalProperties", false},
            {"required", Json::array()},
            {"properties", Json::object()}};
}

void add_member(Json& form, const char* key, Json member) {
    form["required"].push_back(key);
    form["properties"][key] = std::move(member);
}

void add_heading(Json& form, const Heading& heading) {
    Json& group = group_form(form, heading.look.group);
    const Json value = value_form(heading);
    add_member(group, heading.key, heading.type.nullable ? nullable_form(value) : value);
    if (heading.type.reading) {
        add_member(group, (std::string(heading.key) + "_reason").c_str(), {{"$ref", "#/definitions/reason"}});
        add_reading_rule(group, heading.key);
        group["properties"]["raw"] = {{"$ref", "#/definitions/raw"}};
    }
}

Json array_form(Json items) {
    return {{"type", "array"}, {"items", std::move(items)}};
}

Json array_form(Json items, std::size_t length) {
    return {{"type", "array"}, {"minItems", length}, {"maxItems", length}, {"items", std::move(items)}};
}

Json nullable_form(Json form) {
    if (form.contains("enum")) {
        form["enum"].push_back(nullptr);
    } else if (form.contains("type") && form["type"].is_string()) {
        form["type"] = {form["type"], "null"};
    } else {
        form = {{"anyOf", {std::move(form), {{"type", "null"}}}}};
    }
    return form;
}

std::string schema_text(const std::vector<DocumentForm>& documents) {
    Json schema = {{"$schema", "http://json-schema.org/draft-07/schema#"},
                   {"title", "What kt3 prints with --json"},
                   {"description",
                    "Every document has the seven members required below; a command that did its work adds its "
                    "own. Keys are the same for every chip: an absent value is null and the key with _reason says "
                    "why."}};
    schema.update(frame_form());
    schema["allOf"] = Json::array();
    for (const DocumentForm& document : documents) {
        schema["allOf"].push_back(rule_of(document));
    }
    schema["definitions"] = {
        {"reason", reasons()},
        {"raw",
         {{"type", "object"},
          {"description", "the published text of values that are null because they cannot be"},
          {"additionalProperties", {{"type", "string"}}}}},
        {"bdf", {{"type", "string"}, {"pattern", "^[0-9a-f]{4}:[0-9a-f]{2}:[0-9a-f]{2}\\.[0-9a-f]$"}}},
        {"error", error_form()}};
    std::string text;
    append(text, schema, 0);
    return text + '\n';
}

} // namespace kt3::output
