#!/usr/bin/env python3
"""The same tests ran on Windows as on Linux, none left out, by their names.

What is compared is what the runs before left: the unit test programs of both presets, the reports of Maven (Linux
alone) and those of `run`.
"""

import re
import subprocess
import unittest
import xml.etree.ElementTree

from platforms import BUILD, ROOT

# What Windows alone has: the library's entry point.
WINDOWS_ALONE = {"LibraryEntryPoint.CallsTheSystemAtProcessAttachAlone", "LibraryEntryPoint.ReturnsTrueForEveryReason"}


def unit_tests(*program):
    """Suite.name of each test that a program holds."""
    output = subprocess.run([*map(str, program), "--gtest_list_tests"], check=True, capture_output=True, text=True).stdout
    names, suite = set(), ""
    for line in output.splitlines():
        name = line.split("#")[0].strip()
        if line.startswith("  "):
            names.add(suite + name)
        elif re.fullmatch(r"[\w/]+\.", name):
            suite = name
    return names


def java_tests(reports):
    """Class.name of each test that the reports tell of, run or skipped; parameters are numbered."""
    cases = (case for report in reports for case in xml.etree.ElementTree.parse(report).iter("testcase"))
    return {f"{case.get('classname')}.{case.get('name').removesuffix('()')}" for case in cases}


class SameTests(unittest.TestCase):
    maxDiff = None

    def test_unit_tests_are_the_same_but_for_those_of_the_entry_point(self):
        for name, alone in [("bridge_tests", WINDOWS_ALONE), ("reference_engine_tests", set())]:
            with self.subTest(name):
                linux = unit_tests(ROOT / "build" / "linux" / "bin" / name)
                windows = unit_tests(ROOT / "scripts" / "wine", ROOT / "build" / "windows" / "bin" / f"{name}.exe")
                self.assertGreater(len(linux), 100)
                self.assertEqual(windows - linux, alone)
                self.assertEqual(linux - windows, set())

    def test_java_tests_are_the_same(self):
        linux = java_tests([*ROOT.glob("*/target/*-reports/TEST-*.xml"), *(BUILD / "Linux" / "reports").glob("TEST-*.xml")])
        windows = java_tests((BUILD / "Windows" / "reports").glob("TEST-*.xml"))
        self.assertGreater(len(linux), 100)
        self.assertEqual(linux, windows)


if __name__ == "__main__":
    unittest.main()
