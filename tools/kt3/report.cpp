// SPDX-License-Identifier: MIT
#include "kt3/report.hpp"

#include "output/screen_text.hpp"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fmt/format.h>

namespace kt3::cli {
namespace {

constexpr int kSchemaVersion = 2;

std::string timestamp() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

Json error_object(const Failure& error) {
    return {{"code", error.code},
            {"message", error.message},
            {"fix", error.fix.empty() ? Json(nullptr) : Json(error.fix)},
            {"slot", error.adapter ? Json(*error.adapter) : Json(nullptr)}};
}

} // namespace

void note_error(Report& report, const Failure& failure) {
    std::fprintf(stderr, "kt3: %s\n", output::screen_safe(failure.message).c_str());
    if (!failure.fix.empty()) {
        std::fprintf(stderr, "     %s\n", output::screen_safe(failure.fix).c_str());
    }
    report.errors.push_back(failure);
}

void note_absences(Report& report, int slot, const output::Row& row) {
    for (const output::Cell& cell : row) {
        const auto why = cell.value.why();
        if (!why || *why == observe::Absence::not_on_this_chip) {
            continue;
        }
        std::string text = fmt::format("GPU {}: {}: {}", slot, cell.heading->key, observe::reason_words(*why));
        if (std::find(report.absent.begin(), report.absent.end(), text) == report.absent.end()) { // once a stream
            report.absent.push_back(std::move(text));
        }
    }
}

bool nothing_read(const output::Row& row) {
    bool any = false;
    for (const output::Cell& cell : row) {
        if (cell.heading->type.reading && !cell.value.why()) {
            return false;
        }
        any = any || cell.heading->type.reading;
    }
    return any;
}

void write_document(const Report& report, bool compact, const JsonStream::Send& send) {
    JsonStream json(send, compact);
    json.begin_object();
    json.member("schema_version", kSchemaVersion);
    json.member("tool_version", KT3_TOOL_VERSION);
    json.member("interface_version", report.interface_version ? Json(*report.interface_version) : Json(nullptr));
    json.member("timestamp", timestamp());
    json.member("command", report.command);
    json.member("adapters", report.adapters);
    json.key("errors");
    json.begin_array();
    for (const Failure& error : report.errors) {
        json.value(error_object(error));
    }
    json.end_array();
    for (const auto& [name, value] : report.members.items()) {
        json.member(name, value);
    }
    if (report.write_more) {
        report.write_more(json);
    }
    json.end_object();
    json.finish();
}

} // namespace kt3::cli
