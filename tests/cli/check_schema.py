# SPDX-License-Identifier: MIT
"""Runs kt3 with --json on every simulated machine and checks each document against the schema.

Usage: check_schema.py KT3-SIM KT3 SCHEMA
"""
import json
import os
import shlex
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

import jsonschema

sim, kt3, schema_file = sys.argv[1:]
with open(schema_file) as file:
    schema = json.load(file)
jsonschema.Draft7Validator.check_schema(schema)
validator = jsonschema.Draft7Validator(schema)

scenes = ["idle", "two-families", "demo", "foreign-gpu", "four-devices", "four-gpus", "no-gpu", "old-family",
          "missing-nodes", "no-rights", "no-module", "old-interface", "extended-interface", "game", "video",
          "throttled", "vm-small", "vm-deep", "vm-broken", "busy", "leak", "old-family-heaps", "segment-node", "churn"]
commands = [[], ["list"], ["info"], ["doctor"], ["version"], ["list", "-g", "9"], ["no-such-command"],
            ["prefer", "list"], ["prefer", "set", "/usr/bin/app", "--value", "1"], ["prefer", "get", "app"],
            ["prefer", "get", "absent"], ["prefer", "remove", "app"], ["prefer", "remove", "app"],
            ["metric"], ["metric", "-g", "0"], ["dvfs", "get"],
            ["dvfs", "set", "-g", "0", "gfx_voltage=901", "--dry-run"],
            ["dvfs", "set", "-g", "0", "gfx_voltage=901", "--yes"],
            ["vm", "clients"], ["vm", "pagetable"], ["vm", "nodes"], ["vm", "map"],
            ["vm", "clients", "--client", "absent"],
            ["vm", "pagetable", "-o", "{home}/tables"], ["vm", "diff", "{home}/tables", "{home}/tables"],
            ["alloc", "list"], ["alloc", "summary"], ["alloc", "diff", "-w", "0"], ["process"], ["segment"],
            ["leak", "-w", "0", "-n", "3"]]


def documents(scene):
    """Runs all commands on one machine, one after the other: to build one for each would take longer than they do."""
    with tempfile.TemporaryDirectory() as home:
        os.makedirs(home + "/.local/share")
        with open(home + "/.local/share/tqm_gfx_util.ini", "wb") as file:
            file.write(b"[broken\xff]\nFullPath = /\xc3\x28\n")
        script = f"export HOME={home}\n"
        for number, command in enumerate(commands):
            words = [kt3, *(part.format(home=home) for part in command), "--json"]
            script += f"{shlex.join(words)} >$HOME/document{number}\n"
        subprocess.run([sim, "run", scene, "--", "sh", "-c", script], stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       env=dict(os.environ, ASAN_OPTIONS="verify_asan_link_order=0"))
        for number, command in enumerate(commands):
            # What went into a file is checked from there.
            with open(home + ("/tables" if "-o" in command else f"/document{number}"), "rb") as file:
                yield command, file.read()


def keys(value):
    """The shape of a value: what must be the same for every chip."""
    return {key: keys(inner) for key, inner in value.items()} if isinstance(value, dict) else None


failures = 0
shapes = {}


def check(where, command, text):
    """Prints what is wrong with one document and returns how much."""
    try:
        document = json.loads(text)
    except ValueError as error:
        print(f"{where}: no JSON ({error}): {text!r}")
        return 1
    wrong = [f"{error.json_path}: {error.message}" for error in validator.iter_errors(document)]
    for adapter in document["adapters"]:
        expected = shapes.setdefault(tuple(command[:2]), keys(adapter))
        if keys(adapter) != expected:
            wrong.append(f"adapter {adapter['slot']} has other keys than the first one")
    for line in wrong:
        print(f"{where}: {line}")
    return len(wrong)


# Two scenes run at a time, while the documents of earlier ones are checked.
with ThreadPoolExecutor(2) as pool:
    for scene, made in zip(scenes, pool.map(lambda scene: list(documents(scene)), scenes)):
        for command, text in made:
            failures += check(f"{scene}: kt3 {' '.join(command)}", command, text)

# A check that cannot fail says nothing: a value in the wrong place must be found.
broken = {"schema_version": 2, "tool_version": "1", "interface_version": "23", "timestamp": "now", "command": "list",
          "adapters": [{}], "errors": []}
if len(list(validator.iter_errors(broken))) < 3:
    print("the schema accepts a broken document")
    failures += 1
sys.exit(1 if failures else 0)
