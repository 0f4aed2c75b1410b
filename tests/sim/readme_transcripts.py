# SPDX-License-Identifier: MIT
"""Runs the commands that README shows and compares what they print.

Usage: readme_transcripts.py README KT3-SIM KT3
"""
import difflib
import json
import os
import re
import shlex
import subprocess
import sys

readme, sim, kt3 = sys.argv[1:]
programs = {"kt3-sim": sim, "kt3": kt3}
environment = dict(os.environ, ASAN_OPTIONS="verify_asan_link_order=0")


def lasting(text):
    """The text without what changes from run to run or from version to version."""
    return re.sub(r'("(?:timestamp|tool_version|interface_version)": )[^,]*', r"\1...", text)


with open(readme) as file:
    transcripts = re.findall(r"^```\n\$ (.*)\n((?:.*\n)*?)```$", file.read(), re.MULTILINE)
different = 0
for command, shown in transcripts:
    words = [programs.get(word, word) for word in shlex.split(command)]
    printed = subprocess.run(words, env=environment, stdout=subprocess.PIPE, check=True, text=True).stdout
    if "--json" in words:
        json.loads(shown)
    if lasting(printed) != lasting(shown):
        sys.stdout.writelines(difflib.unified_diff(lasting(shown).splitlines(True), lasting(printed).splitlines(True),
                                                   "README", command))
        different += 1
sys.exit(different > 0 or not transcripts)
