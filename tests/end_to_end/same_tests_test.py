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

# Access lists of files.
ENGINE_ON_WINDOWS_ALONE = {"Keys.of_a_file_whose_access_list_lets_others_read_are_told",
                           "Keys.of_a_file_whose_access_list_lets_others_write_are_refused"}

# What Linux alone has: owners and modes of files, links, pipes and devices, and a look at the process's own memory.
LINUX_ALONE = {
    "Keys.from_a_file_leave_nothing_in_memory", "Keys.from_the_environment_leave_nothing_in_memory",
    "Keys.leave_nothing_in_memory_when_they_are_read", "Keys.of_a_file_that_others_may_read_are_told",
    "Keys.of_a_file_that_others_may_write_are_refused", "Keys.of_a_pipe_are_not_waited_for",
    "Keys.that_are_refused_leave_nothing_in_memory", "Keys.that_stay_in_memory_are_found",
    "Trace.tells_of_a_key_file_that_others_may_read", "TraceFile.is_closed_to_others_if_it_was_open_to_them",
    "TraceFile.is_made_for_its_owner_alone", "TraceFile.is_never_written_through_a_link",
    "TraceFile.is_no_file_of_someone_else", "TraceFile.is_not_waited_for", "TraceFile.may_be_a_device",
    "ValuesInMemory.are_gone_after_a_call", "ValuesInMemory.of_numbers_that_are_put_together_are_gone_after_a_call"}

# Each system has its own way to ask the engine whether it allows threads, and its own test of it.
LANE_ON_WINDOWS_ALONE = {"EngineThreads.are_allowed_only_where_the_provider_library_has_the_export"}
LANE_ON_LINUX_ALONE = {"EngineThreads.are_allowed_where_the_engine_says_so"}


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
    """Class.name of each test that the reports tell of, and whether it was skipped; parameters are numbered."""
    cases = (case for report in reports for case in xml.etree.ElementTree.parse(report).iter("testcase"))
    return {f"{case.get('classname')}.{case.get('name').removesuffix('()')}": case.find("skipped") is not None
            for case in cases}


def without_number(name):
    return re.sub(r"\[\d+\]$", "", name)


class SameTests(unittest.TestCase):
    maxDiff = None

    def test_unit_tests_are_the_same_but_for_what_one_system_has(self):
        for name, on_windows, on_linux in [("bridge_tests", WINDOWS_ALONE, set()),
                                           ("bulk_tests", LANE_ON_WINDOWS_ALONE, LANE_ON_LINUX_ALONE),
                                           ("reference_engine_tests", ENGINE_ON_WINDOWS_ALONE, LINUX_ALONE)]:
            with self.subTest(name):
                linux = unit_tests(ROOT / "build" / "linux" / "bin" / name)
                windows = unit_tests(ROOT / "scripts" / "wine", ROOT / "build" / "windows" / "bin" / f"{name}.exe")
                self.assertGreater(len(linux), 50)
                self.assertEqual(windows - linux, on_windows)
                self.assertEqual(linux - windows, on_linux)

    def test_java_tests_are_the_same(self):
        # Tables of Spark are tried on Linux alone.
        reports = [report for module in ["java", "cli", "examples"] for report in
                   (ROOT / module / "target").glob("*-reports/TEST-*.xml")]
        linux = java_tests([*reports, *(BUILD / "Linux" / "reports").glob("TEST-*.xml")])
        windows = java_tests((BUILD / "Windows" / "reports").glob("TEST-*.xml"))
        self.assertGreater(len(linux), 100)
        # What is skipped with its class is not asked for its parameters.
        skipped = {name for name, is_skipped in windows.items() if is_skipped and without_number(name) == name}
        names = {without_number(name) if without_number(name) in skipped else name for name in linux}
        self.assertEqual(names, set(windows))


if __name__ == "__main__":
    unittest.main()
