// SPDX-License-Identifier: MIT
#include "scenes/load.hpp"

#include "scenes/adapters.hpp"

namespace kt3::sim {
namespace {

constexpr std::int64_t kSecond = 1000; // milliseconds
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

// "frames nanoseconds" in one node, blit scans in another.
void count_frames(Adapter& adapter, std::int64_t frames_per_second, std::int64_t blit_scans_per_second) {
    adapter.moving_node("fps_count", Waveform::count, 3600, frames_per_second, kSecond);
    adapter.moving_node("fps_count", Waveform::count, 0, kNanosecondsPerSecond, kSecond, " ");
    adapter.moving_node("rxa_blt_scn_cnt", Waveform::count, 120, blit_scans_per_second, kSecond);
}

// The node and the page say the same.
void use_3d(Adapter& adapter, std::int64_t lowest, std::int64_t highest, std::int64_t period_ms) {
    adapter.moving_node("engine_3d_usage", Waveform::triangle, lowest, highest, period_ms);
    adapter.moving_page("GPU Use Rate(3d) : ", Waveform::triangle, lowest, highest, period_ms);
}

void use_video(Adapter& adapter, std::int64_t lowest, std::int64_t highest, std::int64_t period_ms) {
    adapter.moving_node("engine_vcp_usage", Waveform::triangle, lowest, highest, period_ms);
    adapter.moving_page("GPU Use Rate(video) : ", Waveform::triangle, lowest, highest, period_ms);
}

void heat(Adapter& adapter, std::int64_t lowest, std::int64_t highest, std::int64_t period_ms) {
    adapter.moving_hwmon("temp1_input", Waveform::triangle, lowest, highest, period_ms);
    adapter.moving_page("Realtime Temperature : ", Waveform::triangle, lowest, highest, period_ms);
}

} // namespace

void put_to_work(Adapter& adapter, std::int64_t lowest_percent, std::int64_t highest_percent, std::int64_t frames) {
    use_3d(adapter, lowest_percent, highest_percent, 6 * kSecond);
    count_frames(adapter, frames, frames / 2);
}

// Clocks follow the scene on screen within seconds, heat and memory much later.
void build_game(Machine& machine) {
    Adapter adapter = add_newer(machine, "0000:03:00.0");
    adapter.node("engine_3d_usage", "87\n").node("eclk", "1100\n").node("coreclk", "1100\n");
    adapter.node("free_fb_mem", "3310\n").node("dvfs_level", "dvfs_level:performance\n");
    adapter.node("dvfs_clk_voltage", "gfx_clock:1100\ngfx_voltage:980\n").hwmon("temp1_input", "71 *C\n");
    adapter.moving_node("eclk", Waveform::triangle, 950, 1250, 6 * kSecond);
    adapter.moving_node("coreclk", Waveform::triangle, 950, 1250, 6 * kSecond);
    adapter.moving_node("free_fb_mem", Waveform::triangle, 3000, 3600, 20 * kSecond);
    adapter.moving_node("fan_speed", Waveform::triangle, 1900, 2300, 30 * kSecond);
    use_3d(adapter, 74, 98, 6 * kSecond);
    heat(adapter, 66, 76, 30 * kSecond);
    count_frames(adapter, 75, 15);
    machine.file("/module-behaviour", "sway 15 6\nbusy 87 3 9\nbusy_ext 0 87 9 3 3 0 9 0 0\nframes 75 15\n"
                                      "bandwidth 5200 3100 1900 1400 760 220 90 40 20 10 5 1\n");
}

// The codec works, the 3D engine has little to do.
void build_video(Machine& machine) {
    Adapter adapter = add_newer(machine, "0000:03:00.0");
    adapter.node("vclk", "600\n").node("dvfs_level", "dvfs_level:lowpower\n").node("free_fb_mem", "7200\n");
    adapter.moving_node("vclk", Waveform::triangle, 560, 640, 4 * kSecond);
    adapter.moving_node("engine_vpp_usage", Waveform::triangle, 10, 20, 5 * kSecond);
    adapter.moving_page("GPU Use Rate(vpp) : ", Waveform::triangle, 10, 20, 5 * kSecond);
    use_video(adapter, 45, 65, 5 * kSecond);
    use_3d(adapter, 3, 9, 7 * kSecond);
    heat(adapter, 47, 52, 40 * kSecond);
    count_frames(adapter, 24, 24);
    machine.file("/module-behaviour", "sway 20 5\nbusy 6 55 15\nbusy_ext 0 6 15 55 55 0 15 0 0\nframes 24 24\n"
                                      "bandwidth 900 400 300 200 120 60 20 10 5 2 1 0\n");
}

// Too hot: the clock falls from its height to its floor and back every few seconds while the work stays.
void build_throttled(Machine& machine) {
    Adapter adapter = add_newer(machine, "0000:03:00.0");
    adapter.node("dvfs_level", "dvfs_level:lowpower\n").node("free_fb_mem", "2900\n").hwmon("temp1_input", "96 *C\n");
    adapter.node("dvfs_clk_voltage", "gfx_clock:400\ngfx_voltage:800\n");
    adapter.moving_node("eclk", Waveform::square, 400, 1100, 8 * kSecond);
    adapter.moving_node("coreclk", Waveform::square, 400, 1100, 8 * kSecond);
    adapter.moving_node("fan_speed", Waveform::triangle, 3900, 4100, 10 * kSecond);
    use_3d(adapter, 98, 100, 4 * kSecond);
    heat(adapter, 93, 99, 8 * kSecond);
    count_frames(adapter, 31, 15);
    machine.file("/module-behaviour", "sway 5 8\nbusy 99 0 4\nbusy_ext 0 99 4 0 0 0 4 0 0\nframes 31 15\n"
                                      "bandwidth 2100 1300 700 500 300 90 30 10 5 2 1 0\n");
}

// This chip's module has the extended interfaces and counts no frames, so they come from the driver's nodes.
void build_extended_interface(Machine& machine) {
    Adapter adapter = add_newer(machine, "0000:03:00.0", {.device = 0x5C05});
    use_3d(adapter, 20, 40, 6 * kSecond);
    count_frames(adapter, 60, 30);
    machine.file("/module-behaviour", "sway 25 6\nbusy_ext 0 30 5 10 8 0 0 0 0\n");
}

} // namespace kt3::sim
