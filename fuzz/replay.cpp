// SPDX-License-Identifier: MIT
// Feeds every file of the folders named on the command line to the fuzz target: whole, cut at every length up to a
// bound, and with one byte replaced at a time. A target reports trouble by aborting, as it does under libFuzzer.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr std::size_t kDamagedPrefix = 512;
constexpr char kDamage[] = {'\0', '\n', ' ', '9', '\xFF'};

// In a buffer of exactly its size, so that the sanitizers see a read behind its end.
void run(const std::string& page) {
    const std::vector<std::uint8_t> exact(page.begin(), page.end());
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

void replay(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string page((std::istreambuf_iterator<char>(file)), {});
    run(page);
    const std::size_t damaged = std::min(page.size(), kDamagedPrefix);
    for (std::size_t at = 0; at < damaged; ++at) {
        run(page.substr(0, at));
        std::string changed = page;
        for (const char byte : kDamage) {
            changed[at] = byte;
            run(changed);
        }
    }
}

} // namespace

int main(int count, char** folders) {
    int replayed = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& file : std::filesystem::directory_iterator(folders[i])) {
            replay(file.path());
            ++replayed;
        }
    }
    std::printf("%d pages replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
