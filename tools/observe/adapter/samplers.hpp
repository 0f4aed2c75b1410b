#pragma once
// What the kernel-interface module of a bound adapter counts: busy words, frames and bandwidth words.

#include "observe/adapter/adapter_facts.hpp"

#include <chrono>
#include <optional>
#include <vector>

namespace kt3::observe {

// Prepared once per binding; each sample then costs one call per kind. Frames are counted from the first sample on.
class ModuleSampler {
public:
    ModuleSampler(const Library& library, const Adapter& adapter);

    // Groups "busy", "frames" and "bandwidth". Rates hold for the time since the sample before, which is given with
    // them.
    [[nodiscard]] std::vector<NamedFact> sample();

private:
    void add_busy(std::vector<NamedFact>& facts) const;
    void add_frames(std::vector<NamedFact>& facts);
    void add_bandwidth(std::vector<NamedFact>& facts) const;
    [[nodiscard]] Absence why_no_rates() const;

    const Library& library_;
    const Adapter& adapter_;
    bool busy_ = false;      // the module has a busy interface
    bool bandwidth_ = false; // the module has a bandwidth interface and prepared it
    std::optional<std::chrono::steady_clock::time_point> last_frame_sample_;
};

// The same facts without values, for an adapter that cannot be bound.
[[nodiscard]] std::vector<NamedFact> no_module_facts(Absence why);

} // namespace kt3::observe
