#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that every source file names its licence in one of its first two lines.

Usage: licences.py REPOSITORY
"""
import os
import re
import sys

TEXT = "SPDX-License-Identifier: MIT"
CHECKED = ("abi", "bench", "cmake", "examples", "fuzz", "include", "scripts", "sim", "src", "support", "tests", "tools")
SOURCE = re.compile(r"(\.(c|h|cpp|hpp|def|map|py|sh|cmake)|/CMakeLists\.txt)$")


def without_licence(root):
    for top in CHECKED:
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                path = os.path.join(folder, name)
                with open(path, "rb") as file:
                    lines = [file.readline(), file.readline()]
                script = lines[0].startswith(b"#!")
                if (script or SOURCE.search(path)) and not any(TEXT.encode() in line for line in lines):
                    yield os.path.relpath(path, root)


def main():
    found = list(without_licence(sys.argv[1]))
    for path in found:
        print(f"{path}: none of the first two lines says \"{TEXT}\"")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
