// SPDX-License-Identifier: MIT
#include "observe/dvfs/changes.hpp"

#include "observe/failure.hpp"
#include "observe/interrupt.hpp"
#include "support/owned.hpp"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>

namespace kt3::observe {

std::vector<DvfsChange> plan_changes(const DvfsState& state, const std::vector<DvfsWish>& wishes) {
    std::vector<DvfsChange> changes;
    for (const DvfsRegister& row : dvfs_registers()) {
        const DvfsWish* last = nullptr;
        for (const DvfsWish& wish : wishes) {
            last = wish.row == &row ? &wish : last;
        }
        if (last == nullptr) {
            continue;
        }
        const Reading<std::int64_t>& reading = state.reading(row);
        if (!reading.present()) {
            throw Failure{reading.absence() == Absence::permission ? ExitStatus::permission : ExitStatus::driver,
                          reason_code(reading.absence()),
                          fmt::format("{} cannot be read from {}: {}; nothing was sent", row.name, row.node,
                                      reason_words(reading.absence()))};
        }
        if (reading.value() != last->value) {
            changes.push_back({&row, reading.value(), last->value});
        }
    }
    return changes;
}

namespace {

bool may_not_be_written(const Adapter& adapter, const DvfsRegister& row) {
    const support::Fd node(::openat(adapter.info_fd, row.node, O_WRONLY | O_CLOEXEC));
    return !node && (errno == EACCES || errno == EPERM || errno == EROFS);
}

} // namespace

// The library compares with the record it read last, so everything but the wishes is left alone.
std::vector<DvfsChange> send_changes(const Library& library, Machine& machine, const Adapter& adapter,
                                     const std::vector<DvfsWish>& wishes) {
    const DvfsState fresh = read_dvfs(library, machine, adapter); // asking may have taken its time
    std::vector<DvfsChange> changes = plan_changes(fresh, wishes);
    DvfsRecord record = fresh.record;
    for (const DvfsChange& change : changes) {
        change.row->store(record, change.wanted);
    }
    check_interrupt();
    KT3_ENTRY(library, set_data_to_dvfs_register)(&record);
    const DvfsState now = read_dvfs(library, machine, adapter);
    for (DvfsChange& change : changes) {
        const Reading<std::int64_t>& reading = now.reading(*change.row);
        change.after = reading.present() ? std::optional(reading.value()) : std::nullopt;
        change.refused = change.after != change.wanted && may_not_be_written(adapter, *change.row);
    }
    return changes;
}

std::string node_path(const Adapter& adapter, const DvfsRegister& row) {
    return fmt::format("/sys/bus/pci/devices/{}/{}/{}", bus_text(adapter.bus), adapter.family->info_dir, row.node);
}

std::string kept_text(const DvfsChange& change) {
    return change.after ? dvfs_text(*change.row, *change.after) : "nothing that can be read";
}

void check_taken(const std::vector<DvfsChange>& changes) {
    for (const DvfsChange& change : changes) {
        if (change.after == change.wanted) {
            continue;
        }
        if (change.refused) {
            throw Failure{
                ExitStatus::permission, "permission",
                fmt::format("{} may not be written; {} is {}", change.row->node, change.row->name, kept_text(change)),
                "run as root"};
        }
        throw Failure{ExitStatus::failure, "not_taken",
                      fmt::format("{} is {} after {} was sent to {}", change.row->name, kept_text(change),
                                  dvfs_text(*change.row, change.wanted), change.row->node),
                      "the driver decides what it takes; its log may say why"};
    }
}

} // namespace kt3::observe
