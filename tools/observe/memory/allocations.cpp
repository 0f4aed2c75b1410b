#include "observe/memory/allocations.hpp"

#include "observe/interrupt.hpp"
#include "observe/library/library_lines.hpp"
#include "output/screen_text.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <set>

namespace kt3::cli {

namespace {

bool same_record(const _GFX_ALLOCATION_INFO& a, const _GFX_ALLOCATION_INFO& b) {
    return std::memcmp(&a, &b, sizeof a) == 0; // 23 integers, no padding
}

bool record_before(const _GFX_ALLOCATION_INFO* a, const _GFX_ALLOCATION_INFO* b) {
    const int order = std::memcmp(a, b, sizeof *a);
    return order != 0 ? order < 0 : a < b;
}

void fetch_slices(Session& session, Allocations& allocations, int& result) {
    const auto get = KT3_ENTRY(library_of(session), get_allocation_raw_list);
    Machine& machine = machine_of(session);
    _GFX_ALLOCATION_RAW_LIST slice{};
    do {
        result = get(&slice, &machine.record);
        if (result < 0) {
            return;
        }
        allocations.insert(allocations.end(), slice.list, slice.list + slice.cur_cnt);
        ++slice.trasfer_cnt;
    } while (slice.has_more != 0);
}

} // namespace

std::vector<const Adapter*> memory_adapters(Session& session) {
    auto adapters = selected_adapters(session);
    const bool named = !session.options.gpu.empty() && session.options.gpu != "all";
    adapters.erase(std::remove_if(adapters.begin(), adapters.end(),
                                  [](const Adapter* adapter) { return adapter->family == nullptr; }),
                   adapters.end());
    if (adapters.empty()) {
        throw Failure{ExitStatus::not_found, "foreign_gpu",
                      named ? "this GPU is of another vendor; its memory is not known"
                            : "no adapter whose memory is known",
                      "kt3 list shows the adapters"};
    }
    return adapters;
}

ExitStatus for_each_bound(Session& session, const std::function<void(const Adapter&)>& look) {
    ExitStatus status = ExitStatus::ok;
    for (const Adapter* adapter : memory_adapters(session)) {
        const std::size_t errors = session.report.errors.size();
        const Binding binding(session, *adapter);
        session.report.adapters.push_back(identity_of(*adapter));
        try {
            const auto what = fmt::format("the allocations of GPU {}", adapter->slot);
            guarded(session, what, [&] { look(*adapter); });
        } catch (Failure& failure) {
            failure.adapter = adapter->slot;
            note_error(session.report, failure);
        }
        check_interrupt();
        if (status == ExitStatus::ok && session.report.errors.size() > errors) {
            status = session.report.errors[errors].status;
        }
    }
    return status;
}

Failure unreadable(const Adapter& adapter, const char* directory, const char* what) {
    const std::string path =
        fmt::format("/sys/kernel/debug/dri/{}/{}/{}", adapter.card, adapter.family->token, directory);
    errno = 0;
    const Dir listing(::opendir(path.c_str()));
    const int error = listing ? 0 : errno;
    const std::string message =
        fmt::format("cannot read {} of GPU {}: {}", what, adapter.slot,
                    error == 0 ? "they change faster than they can be read" : path + ": " + std::strerror(error));
    if (error == EACCES || error == EPERM) {
        return {ExitStatus::permission, "permission", message, "run kt3 as root", adapter.slot};
    }
    return {error == 0 ? ExitStatus::failure : ExitStatus::driver, error == 0 ? "unstable" : "no_directory", message,
            error == 0 ? "try again" : "kt3 doctor tells what is missing", adapter.slot};
}

OpenDevices read_open_devices(Session& session, const Adapter& adapter) {
    const auto get = KT3_ENTRY(library_of(session), get_device_pid_maps);
    _GFX_DEVICE_PID_MAP maps[ALLOCATION_SUMMARY_MAX] = {};
    int result = 0;
    LibraryLines lines;
    const auto what = fmt::format("the open devices of GPU {}", adapter.slot);
    guarded(session, what, [&] { lines = lines_during(session.options.verbose, [&] { result = get(maps); }); });
    check_interrupt();
    if (result < 0) {
        note_error(session.report, unreadable(adapter, "devices", "the open devices"));
    }
    if (lines.overflow) {
        note_error(session.report, {ExitStatus::failure, "too_many_devices",
                                    fmt::format("GPU {} has {} open devices or more; owners of the others are unknown",
                                                adapter.slot, static_cast<int>(ALLOCATION_SUMMARY_MAX)),
                                    "", adapter.slot});
    }
    OpenDevices devices;
    for (const _GFX_DEVICE_PID_MAP& entry : maps) {
        if (entry.pid != 0 || entry.handle != 0) {
            devices.push_back({entry.handle, entry.pid, field_text(entry.name)});
        }
    }
    return devices;
}

Allocations read_allocations(Session& session, const Adapter& adapter) {
    machine_of(session).record.current_index = adapter.slot;
    Allocations allocations;
    int result = 0;
    const LibraryLines lines =
        lines_during(session.options.verbose, [&] { fetch_slices(session, allocations, result); });
    check_interrupt();
    if (result < 0) {
        throw unreadable(adapter, "allocations", "the allocations");
    }
    if (lines.reread) {
        drop_repeated(allocations);
    }
    return allocations;
}

void drop_repeated(Allocations& allocations) {
    std::vector<const _GFX_ALLOCATION_INFO*> order;
    for (const auto& record : allocations) {
        order.push_back(&record);
    }
    std::sort(order.begin(), order.end(), record_before);
    std::vector<bool> repeated(allocations.size());
    for (std::size_t at = 1; at < order.size(); ++at) {
        if (same_record(*order[at - 1], *order[at])) {
            repeated[static_cast<std::size_t>(order[at] - allocations.data())] = true;
        }
    }
    std::size_t at = 0;
    allocations.erase(
        std::remove_if(allocations.begin(), allocations.end(), [&](const auto&) { return repeated[at++]; }),
        allocations.end());
}

Owner owner_of(std::int32_t device, const OpenDevices& devices) {
    const auto found =
        std::find_if(devices.begin(), devices.end(), [&](const OpenDevice& open) { return open.device == device; });
    return found == devices.end() ? Owner{device, std::nullopt, ""} : Owner{device, found->pid, found->name};
}

Shape shape_of(const _GFX_ALLOCATION_INFO& allocation) {
    return {allocation.width, allocation.height, allocation.size, allocation.hw_format, allocation.at_type};
}

std::optional<std::size_t> segment_slot(std::int32_t segment) {
    if (segment < 0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(std::min(segment, KT3_SEGMENT_SLOTS - 1));
}

std::string bytes_text(std::int64_t bytes) {
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; (value >= 1024 || value <= -1024) && unit + 1 < std::size(kUnits); ++unit) {
        value /= 1024;
    }
    return unit == 0 ? fmt::format("{} B", bytes) : fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string process_text(const Owner& owner) {
    if (!owner.pid) {
        return "(unknown)";
    }
    return owner.name.empty() ? "(gone)" : owner.name;
}

std::string owner_text(const Owner& owner) {
    return owner.pid ? fmt::format("{} ({})", process_text(owner), *owner.pid)
                     : fmt::format("(unknown, device {})", owner.device);
}

std::string pid_text(const Owner& owner) {
    return owner.pid ? std::to_string(*owner.pid) : "";
}

std::string shape_text(const Shape& shape) {
    return fmt::format("{}x{}, {} B, format {}, type {}", shape.width, shape.height, bytes_of(shape.size),
                       shape.hw_format, shape.at_type);
}

void put_owner(Json& object, const Owner& owner) {
    object["device"] = owner.device;
    object["pid"] = owner.pid ? Json(*owner.pid) : Json(nullptr);
    object["process"] = owner.pid && !owner.name.empty() ? Json(valid_utf8(owner.name)) : Json(nullptr);
    object["owner"] = !owner.pid ? "unknown" : owner.name.empty() ? "gone" : "process";
}

void put_shape(Json& object, const Shape& shape) {
    object["width"] = shape.width;
    object["height"] = shape.height;
    object["size_bytes"] = bytes_of(shape.size);
    object["hw_format"] = shape.hw_format;
    object["at_type"] = shape.at_type;
}

void put_tally(Json& object, const Tally& tally) {
    object["allocations"] = tally.count;
    object["bytes"] = tally.bytes;
}

std::string adapter_heading(const Session& session, const Adapter& adapter) {
    return painted(fmt::format("GPU {}  {}", adapter.slot, screen_safe(adapter.name)), Paint::bold, color_of(session));
}

void show_table(Session& session, const Table& table, const std::string& heading) {
    if (format_of(session) != Format::csv) {
        session.text += (session.text.empty() ? "" : "\n") + heading + '\n' + aligned(table, color_of(session));
        return;
    }
    const std::string lines = comma_separated(table);
    session.text += session.text.empty() ? lines : lines.substr(lines.find('\n') + 1);
}

} // namespace kt3::cli
