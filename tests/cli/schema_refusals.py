# SPDX-License-Identifier: MIT
"""Breaks recorded documents in one place at a time. The schema has to take each document and refuse what is made of it.

Usage: schema_refusals.py SCHEMA GOLDEN-FOLDER
"""
import copy
import json
import os
import sys

import jsonschema

schema_file, golden = sys.argv[1:]
with open(schema_file) as file:
    validator = jsonschema.Draft7Validator(json.load(file))

GONE = object()  # the member is taken away


def recorded(name):
    """A golden document, with a time where the files have a word."""
    with open(os.path.join(golden, name + ".json")) as file:
        document = json.load(file)
    document["timestamp"] = "2026-01-31T08:00:00Z"
    return document


# Documents that no golden file has.
preference = recorded("prefer_list")["preferences"][0]
node = recorded("vm_nodes_small")["nodes"][0]
written = {
    "prefer_set": {"command": "prefer set", "change": "added", "before": None, "after": preference},
    "vm_diff": {"command": "vm diff", "differences": [
        {"change": "removed", "what": "node", "where": "pid 1", "before": node, "after": None}]},
}


def document_of(name):
    if name not in written:
        return recorded(name)
    frame = recorded("prefer_list")
    del frame["preferences"]
    return {**frame, **copy.deepcopy(written[name])}


# Document, place, what stands there then.
BREAKS = [
    # the frame
    ("version", "schema_version", 1),
    ("version", "interface_version", "23"),
    ("version", "timestamp", "2026-01-31 08:00:00"),
    ("version", "command", GONE),
    ("version", "errors", [{"code": "usage", "message": "wrong"}]),
    ("version", "errors", [{"code": "usage", "message": "wrong", "fix": None, "slot": "0"}]),
    # what every adapter has
    ("list_demo", "adapters.0.bdf", "0000:3:00.0"),
    ("list_demo", "adapters.0.bdf", None),
    ("list_demo", "adapters.0.slot", 3),
    ("list_demo", "adapters.0.slot", -1),
    ("list_demo", "adapters.0.family", "newest"),
    ("list_demo", "adapters.0.chip_id", "0x5c0e"),
    ("list_demo", "adapters.0.luid_low", GONE),
    ("list_demo", "adapters.0.colour", "green"),
    ("list_demo", "adapters.0.va_driver", "yes"),
    # readings and their reasons
    ("info_idle", "adapters.0.clocks.engine_mhz", None),
    ("info_idle", "adapters.0.clocks.engine_mhz_reason", "no_node"),
    ("info_idle", "adapters.0.clocks.engine_mhz_reason", GONE),
    ("info_idle", "adapters.0.clocks.engine_mhz", "300"),
    ("info_missing_nodes", "adapters.0.clocks.video_mhz_reason", "lost"),
    ("info_missing_nodes", "adapters.0.clocks.video_mhz_reason", None),
    ("info_missing_nodes", "adapters.0.clocks.video_mhz", 300),
    ("info_idle", "adapters.0.sensors", GONE),
    ("info_idle", "adapters.0.sensors.noise", 3),
    ("info_idle", "adapters.0.summary.display_types", ["SCART"]),
    ("info_idle", "adapters.0.page.max_resolution", "4K"),
    ("metric_idle", "sample", -1),
    ("metric_idle", "sample", GONE),
    ("metric_idle", "adapters.0.frames.source", "guess"),
    ("metric_idle", "adapters.0.busy.word_9_reason", None),
    ("metric_idle", "adapters.0.bandwidth.word_11", GONE),
    ("summary_demo", "adapters.0.memory.fb_size_mib", 0.5),
    # registers
    ("dvfs_get_missing_nodes", "adapters.0.registers.power_mode", GONE),
    ("dvfs_get_missing_nodes", "adapters.0.registers.power_mode_reason", None),
    ("dvfs_set_idle", "adapters.0.changes.0.register", "no_such_register"),
    ("dvfs_set_idle", "adapters.0.changes.0.wanted", None),
    ("dvfs_set_idle", "adapters.0.dry_run", 0),
    # checks and versions
    ("doctor_no_module", "findings.0.level", "fatal"),
    ("doctor_no_module", "findings.0.fix", GONE),
    ("doctor_no_module", "findings", GONE),
    ("version", "negotiation.match_result", 300),
    ("version", "library.path", None),
    # memory
    ("alloc_list_churn", "allocations.0.owner", "nobody"),
    ("alloc_list_churn", "allocations.0.size_bytes", -4096),
    ("alloc_list_churn", "allocations.0.size_bytes", 4294967296),
    ("alloc_list_churn", "allocations.0.share", GONE),
    ("alloc_list_churn", "allocations.0.pid", "41002"),
    ("alloc_summary_busy", "allocation_summaries.0.segments", []),
    ("alloc_summary_busy", "allocation_summaries.0.shapes.0.size_bytes", -1),
    ("alloc_summary_busy", "allocation_summaries.0.invalid_segment", GONE),
    ("alloc_diff_leak", "difference.totals.0.growth", GONE),
    ("alloc_diff_leak", "difference.processes.0.owner", None),
    ("alloc_diff_leak", "difference.shapes", GONE),
    ("process_busy", "processes.0.segments_bytes", [1, 2, 3, 4]),
    ("process_busy", "processes.0.segments_bytes.0", "1"),
    ("process_containers", "processes.0.owner", "invisible"),
    ("process_containers", "processes.0.user", GONE),
    ("process_containers", "processes.0.uid", -1),
    ("process_containers", "processes.0.state", "sleeping"),
    ("process_containers", "processes.0.pod", 5),
    ("process_containers", "by", "colour"),
    ("process_containers", "groups", GONE),
    ("process_by_user", "groups.0.kind", "some"),
    ("process_by_user", "groups.0.group", 5),
    ("process_by_user", "groups.0.processes", -1),
    ("process_by_user", "groups.0.segments_bytes", [1]),
    ("process_by_user", "groups.0.total_bytes", GONE),
    ("alloc_summary_by_unit", "by", GONE),
    ("alloc_summary_by_unit", "allocation_summaries.0.groups.0.bytes", "1"),
    ("alloc_summary_by_unit", "allocation_summaries.0.groups.0.kind", None),
    ("segment_node", "segments.0.source", "guess"),
    ("segment_node", "segments.0.segments.0.segment", 16),
    ("segment_node", "segments.0.segments.0.used_bytes", "0"),
    ("leak", "groups.0.leaks", "yes"),
    ("leak", "groups.0.owners.0.live", GONE),
    ("leak", "gate", "3"),
    ("leak", "wait_s", None),
    # preferences
    ("prefer_list", "preferences", GONE),
    ("prefer_list", "preferences.0.gpu_bdf", "03:00.0"),
    ("prefer_list", "preferences.0.value", "2"),
    ("prefer_list", "preferences.0.path", None),
    ("prefer_list", "preferences.0.gpu", "Gpu0"),
    ("prefer_set", "change", "replaced"),
    ("prefer_set", "change", GONE),
    ("prefer_set", "before", {}),
    ("prefer_set", "after.name", GONE),
    # page tables and nodes
    ("vm_clients_small", "clients.0.table_counts", [1, 2]),
    ("vm_clients_small", "clients.0.sub_table_counts.0", -1),
    ("vm_clients_small", "clients.0.row_count", -1),
    ("vm_clients_small", "clients.0.read", "yes"),
    ("vm_clients_small", "clients.0.pid", "4711"),
    ("vm_clients_small", "clients.0.rows", []),
    ("vm_clients_small", "findings", GONE),
    ("vm_pagetable_small", "clients.0.rows", GONE),
    ("vm_pagetable_small", "clients.0.rows.0", []),
    ("vm_pagetable_small", "clients.0.row_columns.0", "sort"),
    ("vm_pagetable_rows", "clients.0.rows", GONE),
    ("vm_pagetable_rows", "clients.0.rows.0.kind", "page"),
    ("vm_pagetable_rows", "clients.0.rows.0.kind", "sub_table"),
    ("vm_pagetable_rows", "clients.0.rows.0.level", 3),
    ("vm_pagetable_rows", "clients.0.rows.0.address", "0x1000"),
    ("vm_pagetable_rows", "clients.0.rows.0.buffer", GONE),
    ("vm_pagetable_rows", "clients.0.rows.0.snoop", 1),
    ("vm_pagetable_rows", "clients.0.rows.12.segment", -1),
    ("vm_pagetable_rows", "clients.0.rows.12.parent_level", 3),
    ("vm_pagetable_rows", "clients.0.rows.12.buffer", "b"),
    ("vm_pagetable_broken", "findings.0.code", "odd"),
    ("vm_pagetable_broken", "findings.0.line", 0),
    ("vm_pagetable_broken", "findings.0.message", GONE),
    ("vm_pagetable_broken", "findings.0.count", 0),
    ("vm_nodes_small", "nodes.0.gpu_va", -1),
    ("vm_nodes_small", "nodes.0.size_bytes", "4096"),
    ("vm_nodes_small", "nodes", GONE),
    ("vm_map_small", "spaces.0.ranges.0.size_bytes", 0),
    ("vm_map_small", "spaces.0.holes.0.end", GONE),
    ("vm_map_small", "spaces.0.largest_range", {}),
    ("vm_map_small", "spaces.0.used_bytes", -1),
    ("vm_diff", "differences.0.change", "moved"),
    ("vm_diff", "differences.0.what", "page"),
    ("vm_diff", "differences.0.before", "gone"),
    ("vm_diff", "differences", GONE),
]


def step(part):
    return int(part) if part.isdigit() else part


failures = 0


def fail(message):
    global failures
    print(message)
    failures += 1


for name, place, value in BREAKS:
    document = document_of(name)
    for error in validator.iter_errors(document):
        fail(f"{name}: {error.json_path}: {error.message}")
    *way, last = map(step, place.split("."))
    holder = document
    for part in way:
        holder = holder[part]
    if value is GONE:
        del holder[last]
    else:
        holder[last] = value
    if validator.is_valid(document):
        fail(f"{name}: the schema takes {place} {'without a value' if value is GONE else f'= {value!r}'}")
sys.exit(1 if failures else 0)
