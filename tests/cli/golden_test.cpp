// SPDX-License-Identifier: MIT
// Whole outputs, compared with the files in golden/. KT3_UPDATE_GOLDEN=1 writes them anew; look at the difference then.

#include "cli/run_kt3.hpp"

using namespace kt3::tests;

namespace {

struct GoldenCase {
    const char* file;
    const char* scene;
    std::vector<std::string> arguments;
    int status = 0;
};

// What gtest prints of a case.
std::ostream& operator<<(std::ostream& out, const GoldenCase& one) {
    return out << one.file;
}

class Golden : public ::testing::TestWithParam<GoldenCase> {};

// clang-format off
const GoldenCase kCases[] = {
    {"summary_demo.txt",          "demo",          {}},
    {"summary_demo.json",         "demo",          {"--json"}},
    {"summary_demo.csv",          "demo",          {"--csv"}},
    {"list_demo.txt",             "demo",          {"list"}},
    {"list_demo.json",            "demo",          {"list", "--json"}},
    {"list_demo.csv",             "demo",          {"list", "--csv"}},
    {"list_four_devices.txt",     "four-devices",  {"list"}},
    {"list_no_gpu.json",          "no-gpu",        {"list", "--json"}, 3},
    {"info_demo.txt",             "demo",          {"info"}},
    {"info_idle.json",            "idle",          {"info", "--json"}},
    {"info_missing_nodes.txt",    "missing-nodes", {"info"}},
    {"info_missing_nodes.json",   "missing-nodes", {"info", "--json"}},
    {"info_no_rights.txt",        "no-rights",     {"info"}},
    {"metric_idle.json",          "idle",          {"metric", "--no-rates", "--json"}},
    {"metric_demo.txt",           "demo",          {"metric", "--no-rates"}},
    {"metric_no_module.json",     "no-module",     {"metric", "--no-rates", "--json"}},
    {"dvfs_get_idle.txt",         "idle",          {"dvfs", "get"}},
    {"dvfs_get_missing_nodes.json", "missing-nodes", {"dvfs", "get", "--json"}},
    {"dvfs_set_idle.json",        "idle",          {"dvfs", "set", "gfx_voltage=900", "--yes", "--json"}},
    {"dvfs_dry_run.txt",          "idle",          {"dvfs", "set", "pg_3d=-1", "dvfs_level=2", "--dry-run"}},
    {"doctor_demo.txt",           "demo",          {"doctor"}},
    {"doctor_no_rights.txt",      "no-rights",     {"doctor"}, 4},
    {"doctor_no_module.json",     "no-module",     {"doctor", "--json"}, 5},
    {"version.txt",               "idle",          {"version"}},
    {"version.json",              "idle",          {"version", "--json"}},
    {"prefer_list.txt",           "no-gpu",        {"prefer", "list"}},
    {"prefer_list.json",          "no-gpu",        {"prefer", "list", "--json"}},
    {"prefer_list.csv",           "no-gpu",        {"prefer", "list", "--csv"}},
    {"vm_clients_small.txt",      "vm-small",      {"vm", "clients"}},
    {"vm_clients_small.json",     "vm-small",      {"vm", "clients", "--json"}},
    {"vm_clients_small.csv",      "vm-small",      {"vm", "clients", "--csv"}},
    {"vm_clients_big.json",       "vm-big",        {"vm", "clients", "--json"}},
    {"vm_pagetable_small.txt",    "vm-small",      {"vm", "pagetable"}},
    {"vm_pagetable_small.json",   "vm-small",      {"vm", "pagetable", "--json"}},
    {"vm_pagetable_rows.json",    "vm-small",      {"vm", "pagetable", "--json", "--rows"}},
    {"vm_pagetable_small.csv",    "vm-small",      {"vm", "pagetable", "--csv"}},
    {"vm_pagetable_deep.txt",     "vm-deep",       {"vm", "pagetable"}, 1},
    {"vm_pagetable_broken.txt",   "vm-broken",     {"vm", "pagetable"}, 1},
    {"vm_pagetable_broken.json",  "vm-broken",     {"vm", "pagetable", "--json"}, 1},
    {"vm_clients_broken.csv",     "vm-broken",     {"vm", "clients", "--csv"}, 1},
    {"vm_nodes_small.txt",        "vm-small",      {"vm", "nodes"}},
    {"vm_nodes_small.json",       "vm-small",      {"vm", "nodes", "--json"}},
    {"vm_nodes_small.csv",        "vm-small",      {"vm", "nodes", "--csv"}},
    {"vm_nodes_broken.txt",       "vm-broken",     {"vm", "nodes"}, 1},
    {"vm_map_small.txt",          "vm-small",      {"vm", "map"}},
    {"vm_map_small.json",         "vm-small",      {"vm", "map", "--json"}},
    {"vm_map_small.csv",          "vm-small",      {"vm", "map", "--csv"}},
    {"alloc_list_churn.txt",      "churn",         {"alloc", "list"}},
    {"alloc_list_churn.json",     "churn",         {"alloc", "list", "--json"}},
    {"alloc_list_churn.csv",      "churn",         {"alloc", "list", "--csv"}},
    {"alloc_summary_busy.txt",    "busy",          {"alloc", "summary"}},
    {"alloc_summary_busy.json",   "busy",          {"alloc", "summary", "--json"}},
    {"alloc_summary_busy.csv",    "busy",          {"alloc", "summary", "--csv"}},
    {"alloc_diff_leak.txt",       "leak",          {"alloc", "diff", "-w", "0"}},
    {"alloc_diff_leak.json",      "leak",          {"alloc", "diff", "-w", "0", "--json"}},
    {"alloc_diff_leak.csv",       "leak",          {"alloc", "diff", "-w", "0", "--csv"}},
    {"process_busy.txt",          "busy",          {"process"}},
    {"process_busy.json",         "busy",          {"process", "--json"}},
    {"process_busy.csv",          "busy",          {"process", "--csv"}},
    {"process_containers.txt",    "containers",    {"process"}},
    {"process_containers.json",   "containers",    {"process", "--json"}},
    {"process_containers.csv",    "containers",    {"process", "--csv"}},
    {"process_orphans.txt",       "orphans",       {"process"}},
    {"process_orphans.json",      "orphans",       {"process", "--orphans", "--gate", "--json"}, 6},
    {"process_orphans.csv",       "orphans",       {"process", "--csv"}},
    {"process_in_container.txt",  "in-container",  {"process"}},
    {"process_by_user.txt",       "containers",    {"process", "--by", "user"}},
    {"process_by_user.json",      "orphans",       {"process", "--by", "user", "--json"}},
    {"process_by_pod.txt",        "containers",    {"process", "--by", "pod"}},
    {"process_by_container.csv",  "containers",    {"process", "--by", "container", "--csv"}},
    {"alloc_summary_by_unit.txt", "orphans",       {"alloc", "summary", "--by", "unit"}},
    {"alloc_summary_by_unit.json","orphans",       {"alloc", "summary", "--by", "unit", "--json"}},
    {"alloc_list_in_container.csv", "in-container", {"alloc", "list", "--csv"}},
    {"segment_node.txt",          "segment-node",  {"segment"}},
    {"segment_node_bars.txt",     "segment-node",  {"segment", "--color", "always"}},
    {"segment_node.json",         "segment-node",  {"segment", "--json"}},
    {"segment_node.csv",          "segment-node",  {"segment", "--csv"}},
    {"segment_heaps.txt",         "old-family-heaps", {"segment"}},
    {"segment_heaps.json",        "old-family-heaps", {"segment", "--json"}},
    {"leak.txt",                  "leak",          {"leak", "-w", "0", "-n", "6"}},
    {"leak.json",                 "leak",          {"leak", "-w", "0", "-n", "6", "--json"}},
    {"leak.csv",                  "leak",          {"leak", "-w", "0", "-n", "6", "--gate", "3", "--csv"}, 6},
};
// clang-format on

constexpr const char* kPreferences = "; tqm_gfx_util.ini\n\n"
                                     "[app]\nFullPath = /usr/bin/app\nPreferGpuName = Gpu0:Vorla-55F0\n"
                                     "PreferGpuBusID = 0000:03:00.0\nGpuPrefer = 2\n\n\n"
                                     "[game.exe]\nFullPath = C:\\apps, old\\game.exe\nPreferGpuName = Gpu1:QN R-4480\n"
                                     "PreferGpuBusID = 0000:10:31.7\nGpuPrefer = -1\n\n\n";

} // namespace

TEST_P(Golden, OutputIsAsRecorded) {
    const Scratch scratch;
    scratch.write_preferences(kPreferences);
    std::string command = "echo 'clock step 200000000' >>\"$KT3_SIM_ROOT/module-behaviour\"; exec \"$KT3\"";
    for (const std::string& argument : GetParam().arguments) {
        command += " '" + argument + "'";
    }
    const Ended run = run_script(GetParam().scene, command, scratch); // modules count by steps, not with the clock
    EXPECT_EQ(run.status, GetParam().status) << run.err;
    const auto file = std::filesystem::path(KT3_GOLDEN_FOLDER) / GetParam().file;
    if (std::getenv("KT3_UPDATE_GOLDEN") != nullptr) {
        std::ofstream(file, std::ios::binary) << normalised(run.out);
    }
    ASSERT_TRUE(std::filesystem::exists(file)) << file;
    EXPECT_EQ(normalised(run.out), file_text(file));
}

INSTANTIATE_TEST_SUITE_P(Files, Golden, ::testing::ValuesIn(kCases), [](const auto& one) {
    std::string name = one.param.file;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
});
