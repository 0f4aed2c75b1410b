// SPDX-License-Identifier: MIT
#pragma once
// Collects the log lines that the library sends to the callback.

#include "kt3_mgmt/kt3_mgmt_interface.h"
#include "support/output_capture.hpp"

#include <string>
#include <vector>

namespace kt3::tests {

// Log lines since construction, each as delivered. The confirmation line of the installation is not kept.
class LogCapture {
public:
    LogCapture() {
        set_print_callback([](const char* line) { lines().emplace_back(line); });
        lines().clear();
    }
    ~LogCapture() { pServerPrintCallback = nullptr; }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static std::vector<std::string>& lines() {
        static std::vector<std::string> kept;
        return kept;
    }
};

} // namespace kt3::tests
