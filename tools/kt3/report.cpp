#include "report.hpp"

#include "screen_text.hpp"

#include <cstdio>
#include <ctime>

namespace kt3::cli {
namespace {

constexpr int kSchemaVersion = 1;

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
    std::fprintf(stderr, "kt3: %s\n", screen_safe(failure.message).c_str());
    if (!failure.fix.empty()) {
        std::fprintf(stderr, "     %s\n", screen_safe(failure.fix).c_str());
    }
    report.errors.push_back(failure);
}

std::string document(const Report& report, bool compact) {
    Json top = {
        {"schema_version", kSchemaVersion},
        {"tool_version", KT3_TOOL_VERSION},
        {"interface_version", report.interface_version ? Json(*report.interface_version) : Json(nullptr)},
        {"timestamp", timestamp()},
        {"command", report.command},
        {"adapters", report.adapters},
    };
    top["errors"] = Json::array();
    for (const Failure& error : report.errors) {
        top["errors"].push_back(error_object(error));
    }
    top.update(report.members);
    // Texts of processes and files may be no UTF-8; dumping replaces what is not, instead of throwing.
    return top.dump(compact ? -1 : 2, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace kt3::cli
