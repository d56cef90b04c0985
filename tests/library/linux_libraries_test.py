"""The finished shared libraries: what they export, need and are called."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from contract import ENGINE, ROOT, extra_operations, natives, operations

LIBRARIES = pathlib.Path(os.environ.get("VELK_LIBRARY_DIR", ROOT / "build" / "linux" / "lib"))


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exports(library):
    """Names that the library defines for others."""
    lines = run("nm", "-D", "--defined-only", str(library)).splitlines()
    return sorted(line.split()[-1].split("@")[0] for line in lines)


def dynamic(library, tag):
    return re.findall(rf"\({tag}\).*\[(.*)\]", run("readelf", "-dW", str(library)))


def c_library_versions(library):
    """The versions of the C library's symbols that the library asks for, as numbers."""
    versions = re.findall(r"\bGLIBC_([\d.]+)", run("readelf", "-VW", str(library)))
    return sorted({tuple(map(int, version.split("."))) for version in versions})


class LinuxLibraries(unittest.TestCase):
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
                expected = sorted([*operations(library).values(), *extra_operations(library)])
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

    def test_the_bridge_runs_on_an_old_c_library(self):
        self.assertEqual(c_library_versions(LIBRARIES / "libVELKJNI.so")[-1], (2, 14))

    def test_the_engine_runs_on_the_c_library_it_was_built_on_and_no_later_one(self):
        built_on = tuple(map(int, os.confstr("CS_GNU_LIBC_VERSION").split()[1].split(".")))
        for library in ENGINE:
            with self.subTest(library):
                self.assertLessEqual(c_library_versions(LIBRARIES / f"lib{library}.so")[-1], built_on)

    def test_a_symbol_of_a_later_c_library_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            source = pathlib.Path(folder, "planted.c")
            source.write_text("#include <stdlib.h>\nunsigned planted(void) { return arc4random(); }")
            library = pathlib.Path(folder, "planted.so")
            run("gcc", "-shared", "-fPIC", "-o", str(library), str(source))
            self.assertGreater(c_library_versions(library)[-1], (2, 14))

    def test_debug_information_stands_beside_the_library(self):
        for library in [*ENGINE, "VELKJNI"]:
            with self.subTest(library):
                file = LIBRARIES / f"lib{library}.so"
                self.assertNotIn(".debug_info", run("readelf", "-SW", str(file)))
                self.assertIn(".debug_info", run("readelf", "-SW", f"{file}.debug"))
                self.assertIn(f"lib{library}.so.debug\0".encode(), file.read_bytes())

    def test_no_library_holds_the_path_of_its_build(self):
        for library in [*ENGINE, "VELKJNI"]:
            for suffix in ["", ".debug"]:
                with self.subTest(library + suffix):
                    self.assertNotIn(str(ROOT).encode(), pathlib.Path(LIBRARIES, f"lib{library}.so{suffix}").read_bytes())

    def test_each_library_is_called_by_its_own_name(self):
        for library in [*ENGINE, "VELKJNI"]:
            with self.subTest(library):
                self.assertEqual(dynamic(LIBRARIES / f"lib{library}.so", "SONAME"), [f"lib{library}.so"])


if __name__ == "__main__":
    unittest.main()
