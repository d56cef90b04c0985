"""The finished shared libraries: what they export, need and are called."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARIES = pathlib.Path(os.environ.get("VELK_LIBRARY_DIR", ROOT / "build" / "linux" / "lib"))
ENGINE = ["VELKProvider", "VELKParser", "VELKAdapter", "VELKDataCnvLib"]


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exports(library):
    """Names that the library defines for others."""
    lines = run("nm", "-D", "--defined-only", str(library)).splitlines()
    return sorted(line.split()[-1].split("@")[0] for line in lines)


def dynamic(library, tag):
    return re.findall(rf"\({tag}\).*\[(.*)\]", run("readelf", "-dW", str(library)))


def natives():
    return sorted((ROOT / "tests" / "library" / "bridge_exports.txt").read_text().split())


def operations(library):
    text = (ROOT / "include" / "engine" / f"{library}.def").read_text()
    return sorted(re.findall(r"^\s+(\w+) @\d+ NONAME$", text, re.MULTILINE))


def extra_operations(library):
    """What the engine's libraries call of each other, outside the contract."""
    lists = (ROOT / "reference-engine").glob(f"*/{library}.extra.def")
    return [name for path in lists for name in re.findall(r"^ +(\w+)$", path.read_text(), re.MULTILINE)]


class Libraries(unittest.TestCase):
    def test_the_bridge_exports_its_natives_and_nothing_else(self):
        self.assertEqual(exports(LIBRARIES / "libVELKJNI.so"), natives())

    def test_an_extra_export_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "planted.c")
            source.write_text("\n".join(f"void {name}(void) {{}}" for name in [*natives(), "planted"]))
            library = pathlib.Path(folder, "planted.so")
            run("gcc", "-shared", "-fPIC", "-o", str(library), str(source))
            self.assertEqual(set(exports(library)) - set(natives()), {"planted"})

    def test_the_bridge_needs_only_the_engine_and_the_c_library(self):
        needed = dynamic(LIBRARIES / "libVELKJNI.so", "NEEDED")
        self.assertEqual(sorted(needed), sorted([*(f"lib{library}.so" for library in ENGINE), "libc.so.6"]))

    def test_the_engine_exports_its_operations_and_nothing_else(self):
        for library in ENGINE:
            with self.subTest(library):
                self.assertTrue(operations(library))
                expected = sorted(operations(library) + extra_operations(library))
                self.assertEqual(exports(LIBRARIES / f"lib{library}.so"), expected)

    def test_one_operation_stands_outside_the_contract_for_the_adapter_to_report_errors(self):
        self.assertEqual({library: extra_operations(library) for library in ENGINE if extra_operations(library)},
                         {"VELKParser": ["Parser_ReportError"]})
        self.assertIn("libVELKParser.so", dynamic(LIBRARIES / "libVELKAdapter.so", "NEEDED"))
        self.assertEqual(dynamic(LIBRARIES / "libVELKAdapter.so", "RUNPATH"), ["$ORIGIN"])

    def test_the_engine_needs_only_the_c_library(self):
        for library in ENGINE:
            with self.subTest(library):
                needed = dynamic(LIBRARIES / f"lib{library}.so", "NEEDED")
                # The dynamic loader is the C library's own part.
                beside = {"libVELKParser.so"} if library == "VELKAdapter" else set()
                self.assertLessEqual(set(needed), {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2"} | beside)

    def test_each_library_is_called_by_its_own_name(self):
        for library in [*ENGINE, "VELKJNI"]:
            with self.subTest(library):
                self.assertEqual(dynamic(LIBRARIES / f"lib{library}.so", "SONAME"), [f"lib{library}.so"])


if __name__ == "__main__":
    unittest.main()
