// SPDX-License-Identifier: MIT
// The preference file with 1000 sections: reading it against counting its lines, writing it against a loop of fprintf,
// both against GLib's GKeyFile when it is there. Every peer does the whole job, file included.

#include "config/entry_text.hpp"
#include "config/home_folder.hpp"
#include "config/ini_reading.hpp"
#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#ifdef KT3_HAVE_GLIB
#include <glib.h>
#endif

namespace {

using Entry = _UTIL_GPU_PREFERENCE_NODE;
using kt3::tests::entry;
using kt3::tests::HomeFolder;

constexpr int kSections = 1000;

std::vector<Entry> sample_entries() {
    std::vector<Entry> entries;
    for (int i = 0; i < kSections; ++i) {
        const std::string name = "application" + std::to_string(i) + ".exe";
        entries.push_back(entry(name, "/opt/vendor/programs/" + name, i, "Gpu0:Vorla-55F0"));
        entries.back().bus_number = 3;
    }
    return entries;
}

struct SampleFile {
    SampleFile() {
        set_print_callback(nullptr);
        home.write(kt3::config::ini_text(entries));
        // Two names make the save write in place, as every peer does.
        std::filesystem::create_hard_link(path, home.root() / "second name");
    }
    std::vector<Entry> entries = sample_entries();
    HomeFolder home;
    std::string path = home.file();
};

SampleFile& sample() {
    static SampleFile file;
    return file;
}

void release_list() {
    initGPUPreference_config();
}

void silent(const char*) {}

// ---- reading --------------------------------------------------------------------------------------------------------

void count_lines_with_fgets(benchmark::State& state) {
    for (auto _ : state) {
        FILE* file = std::fopen(sample().path.c_str(), "re");
        char line[612];
        int lines = 0;
        while (std::fgets(line, sizeof line, file) != nullptr) {
            ++lines;
        }
        std::fclose(file);
        benchmark::DoNotOptimize(lines);
    }
}
BENCHMARK(count_lines_with_fgets)->Name("preferences_parse/floor_fgets");

void count_lines_with_getline(benchmark::State& state) {
    for (auto _ : state) {
        std::ifstream file(sample().path);
        std::string line;
        int lines = 0;
        while (std::getline(file, line)) {
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
}
BENCHMARK(count_lines_with_getline)->Name("preferences_parse/floor_getline");

void parse_file(benchmark::State& state) {
    for (auto _ : state) {
        const int sections = parseINI(sample().path.c_str());
        benchmark::DoNotOptimize(sections);
        release_list();
    }
}
BENCHMARK(parse_file)->Name("preferences_parse/library");

void parse_file_with_a_log_callback(benchmark::State& state) {
    static_cast<void>(sample());
    set_print_callback(silent);
    parse_file(state);
    set_print_callback(nullptr);
}
BENCHMARK(parse_file_with_a_log_callback)->Name("preferences_parse_logged/library");

void parse_text_only(benchmark::State& state) {
    const std::string text = sample().home.text();
    for (auto _ : state) {
        benchmark::DoNotOptimize(kt3::config::parse_ini(text));
    }
}
BENCHMARK(parse_text_only)->Name("preferences_parse_text/library");

// ---- writing --------------------------------------------------------------------------------------------------------

void write_entries(FILE* file, const std::vector<Entry>& entries) {
    std::fprintf(file, "; tqm_gfx_util.ini\n\n");
    for (const Entry& e : entries) {
        std::fprintf(file, "[%s]\n", e.name);
        std::fprintf(file, "FullPath = %s\n", e.FullPath);
        std::fprintf(file, "PreferGpuName = %s\n", e.PreferGpuName);
        std::fprintf(file, "PreferGpuBusID = %04d:%02d:%02d.%d\n", e.bus_domain, e.bus_number, e.device_number,
                     e.function_number);
        std::fprintf(file, "GpuPrefer = %d\n", e.GpuPrefer);
        std::fprintf(file, "\n\n");
    }
}

void save_with_fprintf(benchmark::State& state) {
    for (auto _ : state) {
        FILE* file = std::fopen(sample().path.c_str(), "we");
        write_entries(file, sample().entries);
        std::fclose(file);
    }
}
BENCHMARK(save_with_fprintf)->Name("preferences_save_in_place/peer_fprintf");

void save_in_place(benchmark::State& state) {
    interface_config_list = sample().entries;
    for (auto _ : state) {
        savefile_INI(sample().path.c_str());
    }
    release_list();
}
BENCHMARK(save_in_place)->Name("preferences_save_in_place/library");

// The whole safe save, flushes to the disk included, and what a loop of fprintf costs when it is to be as safe.
void save_by_renaming(benchmark::State& state) {
    interface_config_list = sample().entries;
    const std::string path = sample().home.root() / "renamed.ini";
    for (auto _ : state) {
        savefile_INI(path.c_str());
    }
    release_list();
}
BENCHMARK(save_by_renaming)->Name("preferences_save/library");

void save_with_fprintf_by_renaming(benchmark::State& state) {
    const std::string path = sample().home.root() / "renamed.ini";
    const std::string temporary = path + ".tmp";
    for (auto _ : state) {
        FILE* file = std::fopen(temporary.c_str(), "we");
        write_entries(file, sample().entries);
        std::fflush(file);
        ::fsync(::fileno(file));
        std::fclose(file);
        std::rename(temporary.c_str(), path.c_str());
        const int folder = ::open(sample().home.root().c_str(), O_RDONLY | O_CLOEXEC);
        ::fsync(folder);
        ::close(folder);
    }
}
BENCHMARK(save_with_fprintf_by_renaming)->Name("preferences_save/peer_fprintf");

#ifdef KT3_HAVE_GLIB
void parse_with_keyfile(benchmark::State& state) {
    // GKeyFile knows no ";" comments, so it gets the same file without the header line.
    const std::string path = sample().home.root() / "keyfile.ini";
    HomeFolder::write_to(path, kt3::config::ini_text(sample().entries).substr(20));
    for (auto _ : state) {
        GKeyFile* keys = g_key_file_new();
        const bool loaded = g_key_file_load_from_file(keys, path.c_str(), G_KEY_FILE_NONE, nullptr) != 0;
        if (!loaded) {
            state.SkipWithError("not loaded");
        }
        g_key_file_free(keys);
    }
}
BENCHMARK(parse_with_keyfile)->Name("preferences_parse/peer_keyfile");

GKeyFile* sample_keys() {
    GKeyFile* keys = g_key_file_new();
    for (const Entry& e : sample().entries) {
        char bus_id[32];
        std::snprintf(bus_id, sizeof bus_id, "%04d:%02d:%02d.%d", e.bus_domain, e.bus_number, e.device_number,
                      e.function_number);
        g_key_file_set_string(keys, e.name, "FullPath", e.FullPath);
        g_key_file_set_string(keys, e.name, "PreferGpuName", e.PreferGpuName);
        g_key_file_set_string(keys, e.name, "PreferGpuBusID", bus_id);
        g_key_file_set_integer(keys, e.name, "GpuPrefer", e.GpuPrefer);
    }
    return keys;
}

// In place: the text of the keys, then one plain write.
void save_with_keyfile_in_place(benchmark::State& state) {
    GKeyFile* keys = sample_keys();
    const std::string path = sample().home.root() / "keyfile.ini";
    for (auto _ : state) {
        gsize size = 0;
        gchar* text = g_key_file_to_data(keys, &size, nullptr);
        FILE* file = std::fopen(path.c_str(), "we");
        std::fwrite(text, 1, size, file);
        std::fclose(file);
        g_free(text);
    }
    g_key_file_free(keys);
}
BENCHMARK(save_with_keyfile_in_place)->Name("preferences_save_in_place/peer_keyfile");

void save_with_keyfile(benchmark::State& state) {
    GKeyFile* keys = sample_keys();
    const std::string path = sample().home.root() / "keyfile.ini";
    for (auto _ : state) {
        g_key_file_save_to_file(keys, path.c_str(), nullptr);
    }
    g_key_file_free(keys);
}
BENCHMARK(save_with_keyfile)->Name("preferences_save/peer_keyfile");
#endif

} // namespace
