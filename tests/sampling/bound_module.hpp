// SPDX-License-Identifier: MIT
#pragma once
// One adapter bound to a test module.

#include "support/one_adapter.hpp"

#include <dlfcn.h>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
#include "sampling/test_module.h"
}

namespace kt3::tests {

class BoundModule {
public:
    static constexpr std::int32_t kDescriptor = 77;

    // Loads the module under its own file and binds the adapter, whose chip asks for the name it goes by.
    explicit BoundModule(const std::string& variant, std::int32_t chip_id = 0x5C00)
        : adapter(chip_id), module_(::dlopen((KT3_TEST_MODULES "/" + variant + ".so").c_str(), RTLD_NOW)) {
        if (!module_) {
            throw std::runtime_error(::dlerror());
        }
        script_ = static_cast<module_script*>(::dlsym(module_.get(), "module_script"));
        adapter.record.drm_fd[0] = kDescriptor;
        bind();
    }

    std::int32_t bind() {
        LogCapture quiet;
        const std::int32_t result = gfx_global_init(&adapter.record);
        script_->calls = 0;
        return result;
    }

    [[nodiscard]] module_script& script() const { return *script_; }

    // Entries called since binding.
    [[nodiscard]] std::vector<std::string> called() const {
        return {script_->called, script_->called + script_->calls};
    }

    // Answers 1000, 1001, ... so that every word tells where it came from.
    void answer_positions(std::uint32_t words = 16) const {
        script_->answer_words = words;
        for (std::uint32_t i = 0; i < words; ++i) {
            script_->answer[i] = 1000 + i;
        }
    }
    void answer_sample(std::uint64_t timestamp, std::uint64_t frames, std::uint64_t scans = 0) const {
        script_->sample[0] = timestamp;
        script_->sample[1] = frames;
        script_->sample[2] = scans;
    }

    OneAdapter adapter;

private:
    support::Library module_;
    module_script* script_ = nullptr;
};

} // namespace kt3::tests
