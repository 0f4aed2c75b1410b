// SPDX-License-Identifier: MIT
#pragma once
// The JSON schema, made from the tables that print the documents.

#include "output/row.hpp"

namespace kt3::output {

// ---- forms: what a value may be ----

[[nodiscard]] Json object_form(); // without members so far
void add_member(Json& form, const char* key, Json member);
void add_heading(Json& form, const Heading& heading); // with its group and its reason
[[nodiscard]] Json array_form(Json items);
[[nodiscard]] Json array_form(Json items, std::size_t length);
[[nodiscard]] Json nullable_form(Json form);

template<typename Record>
void add_columns(Json& form, Columns<Record> columns) {
    for (const Column<Record>& column : columns) {
        if (appears(column.heading, Format::json)) {
            add_heading(form, column.heading);
        }
    }
}

template<typename Record, std::size_t N>
[[nodiscard]] Json form_of(const Column<Record> (&columns)[N]) {
    Json form = object_form();
    add_columns<Record>(form, columns);
    return form;
}

// ---- the document ----

struct DocumentMember {
    const char* key;
    Json form;
};

// What the documents of a command have beside the members that every document has. They are all there unless something
// went wrong.
struct DocumentForm {
    std::vector<const char*> commands;
    Json adapter = nullptr; // of each adapter; null for commands that list none
    std::vector<DocumentMember> members{};
};

[[nodiscard]] std::string schema_text(const std::vector<DocumentForm>& documents);

} // namespace kt3::output
