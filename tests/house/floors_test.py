#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The check of the floors, on small repositories that break one rule each."""
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import floors

PAGE = "# Floors\n\n```floors\nground: support/*\nabove: src/low/*\nroof:   src/high/*\n```\n"
SOUND = {"docs/ARCHITECTURE.md": PAGE, "support/digits.hpp": "#include <vector>\n",
         "src/low/node.hpp": '#include "support/digits.hpp"\n', "src/low/node.cpp": '#include "low/node.hpp"\n',
         "src/high/calls.cpp": '#include "low/node.hpp"\n'}

TOOLS = PAGE + "\n```floors\non: ground\ntools: tools/*\n```\n"


class Floors(unittest.TestCase):
    def faults_of(self, **changed):
        with tempfile.TemporaryDirectory() as root:
            for name, text in {**SOUND, **changed.get("files", {})}.items():
                path = os.path.join(root, name)
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text)
            return list(floors.faults(root))

    def test_includes_that_run_down_are_in_order(self):
        self.assertEqual(self.faults_of(), [])

    def test_an_include_that_runs_up_is_named_with_its_line(self):
        found = self.faults_of(files={"src/low/node.cpp": '#include "low/node.hpp"\n#include "high/calls.cpp"\n'})
        self.assertEqual(found, ["src/low/node.cpp:2: 'above' includes src/high/calls.cpp of the higher floor 'roof'"])

    def test_a_circle_within_one_floor_is_named(self):
        found = self.faults_of(files={"src/low/a.hpp": '#include "low/b.hpp"\n', "src/low/b.hpp": '#include "a.hpp"\n'})
        self.assertEqual(found, ["includes run in a circle: src/low/a.hpp -> src/low/b.hpp -> src/low/a.hpp"])

    def test_a_file_without_a_floor_is_named(self):
        found = self.faults_of(files={"src/new/room.hpp": ""})
        self.assertEqual(found, ["src/new/room.hpp: stands on 0 floors of docs/ARCHITECTURE.md"])

    def test_a_file_on_two_floors_is_named(self):
        page = PAGE.replace("src/high/*", "src/high/* src/low/node.hpp")
        self.assertEqual(self.faults_of(files={"docs/ARCHITECTURE.md": page}),
                         ["src/low/node.hpp: stands on 2 floors of docs/ARCHITECTURE.md"])

    def test_a_pattern_that_fits_no_file_is_named(self):
        page = PAGE.replace("src/high/*", "src/high/* src/gone/*")
        self.assertEqual(self.faults_of(files={"docs/ARCHITECTURE.md": page}),
                         ["docs/ARCHITECTURE.md: src/gone/* of the floor 'roof' fits no file"])

    def test_a_block_may_include_the_floors_that_it_stands_on(self):
        self.assertEqual(self.faults_of(files={"docs/ARCHITECTURE.md": TOOLS,
                                               "tools/show.cpp": '#include "support/digits.hpp"\n'}), [])

    def test_an_include_of_another_block_is_named_with_its_line(self):
        found = self.faults_of(files={"docs/ARCHITECTURE.md": TOOLS, "tools/show.cpp": '#include "low/node.hpp"\n'})
        self.assertEqual(found, ["tools/show.cpp:1: 'tools' does not stand on 'above' and includes src/low/node.hpp"])

    def test_an_unknown_floor_to_stand_on_is_named(self):
        found = self.faults_of(files={"docs/ARCHITECTURE.md": TOOLS.replace("on: ground", "on: ground, cellar"),
                                      "tools/show.cpp": ""})
        self.assertEqual(found, ["docs/ARCHITECTURE.md: there is no floor 'cellar' to stand on"])

    def test_a_file_that_is_taken_out_of_a_pattern_stands_elsewhere(self):
        page = PAGE.replace("above: src/low/*", "above: src/low/* !src/low/calls.cpp").replace(
            "src/high/*", "src/high/* src/low/calls.cpp")
        self.assertEqual(self.faults_of(files={"docs/ARCHITECTURE.md": page,
                                               "src/low/calls.cpp": '#include "high/calls.cpp"\n'}), [])


if __name__ == "__main__":
    unittest.main()
