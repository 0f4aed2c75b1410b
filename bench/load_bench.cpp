// Loading and unloading the shared object, beside an empty C++ library with the same dependencies.

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Both write to standard output on every round, which goes nowhere for that time.
class QuietOutput {
public:
    QuietOutput() : saved_(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDOUT_FILENO);
        ::close(nowhere);
    }
    ~QuietOutput() {
        std::fflush(stdout);
        ::dup2(saved_, STDOUT_FILENO);
        ::close(saved_);
    }
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;

private:
    int saved_;
};

void load_and_unload(benchmark::State& state, const char* file) {
    const QuietOutput quiet;
    for (auto _ : state) {
        void* library = ::dlopen(file, RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            state.SkipWithError("the library cannot be loaded");
            return;
        }
        ::dlclose(library);
    }
}

BENCHMARK_CAPTURE(load_and_unload, empty_library, KT3_EMPTY_LIBRARY);
BENCHMARK_CAPTURE(load_and_unload, library, KT3_LIBRARY);

} // namespace
