// SPDX-License-Identifier: MIT
#pragma once
// All that is read from drivers, read in processes of their own: one for each adapter, and one for dumps when they are
// asked for. Whoever asks never waits longer than the time that a look may take.

#include "collect/supervisor.hpp"
#include "observe/machine_checks.hpp"

#include <memory>
#include <string>
#include <vector>

namespace kt3::collect {

struct MachineSeen {
    observe::MachineFacts facts;
    std::int32_t interface_version = 0; // of the library
    std::string library;                // its file
};

// How long a look is waited for.
enum class Waiting {
    to_the_end, // a file that does not answer may still do so
    little,     // what is still silent is reported by a later look
};

class Collector {
public:
    // `ahead` was started before it was known what to read; may be null.
    explicit Collector(Settings settings, std::unique_ptr<WorkerProcess> ahead = {})
        : settings_(std::move(settings)), ahead_(std::move(ahead)) {}
    ~Collector();
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    // Enumerates when first asked for. Throws Failure.
    [[nodiscard]] const MachineSeen& machine();

    // One look at each of the adapters, all at the same time.
    [[nodiscard]] std::vector<Observation> look(const std::vector<const observe::Adapter*>& adapters,
                                                const Groups& wanted, Waiting waiting = Waiting::to_the_end);
    [[nodiscard]] Observation look(const observe::Adapter& adapter, const Groups& wanted);

    // Sends registers to the driver and reads them back. Throws Failure.
    [[nodiscard]] std::vector<observe::DvfsChange> send(const observe::Adapter& adapter,
                                                        const std::vector<observe::DvfsWish>& wishes);

    // What stands between the user and full readings.
    [[nodiscard]] observe::Findings check();

    // Lets go of all adapters.
    void leave();

    [[nodiscard]] const Settings& settings() const { return settings_; }

private:
    Supervisor& supervisor_of(const observe::Adapter& adapter);
    void add_check(const char* what, observe::Findings& findings);
    [[nodiscard]] Json ask_opened(WorkerProcess& worker, const Json& request, const char* answer,
                                  const std::string& what);

    Settings settings_;
    std::unique_ptr<MachineSeen> machine_;
    std::unique_ptr<WorkerProcess> ahead_;                                 // not yet opened
    std::unique_ptr<WorkerProcess> first_;                                 // opened, not yet anybody's
    std::vector<std::pair<int, std::unique_ptr<Supervisor>>> supervisors_; // by slot
};

} // namespace kt3::collect
