"""The finished shared libraries: what they export, need and are called."""

import os
import pathlib
import re
import shutil
import tempfile
import unittest

from binaries import faults_of_debug_information, run
from contract import ALL, ENGINE, ROOT, bulk_natives, extra_operations, natives, operations

LIBRARIES = pathlib.Path(os.environ.get("VELK_LIBRARY_DIR", ROOT / "build" / "linux" / "lib"))


def exports(library):
    """Names that the library defines for others."""
    lines = run("nm", "-D", "--defined-only", library).splitlines()
    return sorted(line.split()[-1].split("@")[0] for line in lines)


def dynamic(library, tag):
    return re.findall(rf"\({tag}\).*\[(.*)\]", run("readelf", "-dW", library))


def c_library_version(library):
    """The latest version of the C library that the library asks for, as numbers."""
    versions = re.findall(r"Name: GLIBC_(\S+)", run("readelf", "-VW", library))
    # A word instead of a number asks for a facility of the loader: of a C library later than any number tells.
    return max((tuple(map(int, version.split("."))) if re.fullmatch(r"[\d.]+", version) else (1000,)
                for version in versions), default=None)


def link(library, text, *options):
    """A shared library of a text."""
    source = library.with_suffix(".c")
    source.write_text(text)
    run("gcc", "-shared", "-fPIC", "-o", library, source, *options)


BRIDGE_NEEDS = {*(f"lib{library}.so" for library in ENGINE), "libc.so.6"}


class LinuxLibraries(unittest.TestCase):
    def test_the_bridge_exports_its_natives_and_nothing_else(self):
        self.assertEqual(exports(LIBRARIES / "libVELKJNI.so"), natives())

    def test_an_extra_export_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            library = pathlib.Path(folder, "planted.so")
            link(library, "\n".join(f"void {name}(void) {{}}" for name in [*natives(), "planted"]))
            self.assertEqual(set(exports(library)) - set(natives()), {"planted"})

    def test_the_bridge_needs_only_the_engine_and_the_c_library(self):
        self.assertEqual(sorted(dynamic(LIBRARIES / "libVELKJNI.so", "NEEDED")), sorted(BRIDGE_NEEDS))

    def test_the_lane_exports_its_natives_and_nothing_else(self):
        self.assertEqual(exports(LIBRARIES / "libVELKBulk.so"), bulk_natives())

    def test_the_lane_needs_only_the_provider_and_the_c_library(self):
        self.assertEqual(sorted(dynamic(LIBRARIES / "libVELKBulk.so", "NEEDED")), ["libVELKProvider.so", "libc.so.6"])
        self.assertEqual(dynamic(LIBRARIES / "libVELKBulk.so", "RUNPATH"), ["$ORIGIN"])

    def test_an_engine_may_lack_what_says_that_it_allows_threads(self):
        weak = [line.split()[-1] for line in run("nm", "-D", LIBRARIES / "libVELKBulk.so").splitlines() if " w Provider" in line]
        self.assertEqual(weak, ["Provider_AllowsThreads"])

    def test_a_needed_library_more_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            library = pathlib.Path(folder, "planted.so")
            link(library, "double sin(double); double planted(double x) { return sin(x); }", "-lm",
                 f"-L{LIBRARIES}", "-Wl,--no-as-needed", *(f"-l{name}" for name in ENGINE))
            self.assertEqual(set(dynamic(library, "NEEDED")) - BRIDGE_NEEDS, {"libm.so.6"})

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

    def test_the_bridge_and_the_lane_run_on_an_old_c_library(self):
        self.assertEqual(c_library_version(LIBRARIES / "libVELKJNI.so"), (2, 14))
        self.assertEqual(c_library_version(LIBRARIES / "libVELKBulk.so"), (2, 14))

    def test_the_engine_runs_on_the_c_library_it_was_built_on_and_no_later_one(self):
        built_on = tuple(map(int, os.confstr("CS_GNU_LIBC_VERSION").split()[1].split(".")))
        for library in ENGINE:
            with self.subTest(library):
                self.assertLessEqual(c_library_version(LIBRARIES / f"lib{library}.so"), built_on)

    def test_what_only_a_later_c_library_has_is_noticed(self):
        planted = {"a symbol": ["unsigned arc4random(void); unsigned planted(void) { return arc4random(); }"],
                   "a facility of its loader": ["int printf(const char*, ...); void* planted = &planted;"
                                                "int print(void) { return printf(\"\"); }",
                                                "-Wl,-z,pack-relative-relocs"]}
        for what, arguments in planted.items():
            with self.subTest(what), tempfile.TemporaryDirectory() as folder:
                library = pathlib.Path(folder, "planted.so")
                link(library, *arguments)
                self.assertGreater(c_library_version(library), (2, 14))

    def test_debug_information_stands_beside_the_library(self):
        for library in ALL:
            with self.subTest(library):
                self.assertEqual(faults_of_debug_information(LIBRARIES / f"lib{library}.so", library), [])

    def test_debug_information_of_another_library_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            library = pathlib.Path(folder, "libVELKJNI.so")
            shutil.copy(LIBRARIES / library.name, library)
            shutil.copy(LIBRARIES / "libVELKParser.so.debug", f"{library}.debug")
            self.assertEqual(faults_of_debug_information(library, "VELKJNI"), [
                "the file beside the library is another one's",
                "Java_com_brel_sorn_velk_RowSet_toC is said to stand in None"])

    def test_no_library_holds_the_path_of_its_build(self):
        for library in ALL:
            for suffix in ["", ".debug"]:
                with self.subTest(library + suffix):
                    self.assertNotIn(str(ROOT).encode(), pathlib.Path(LIBRARIES, f"lib{library}.so{suffix}").read_bytes())

    def test_each_library_is_called_by_its_own_name(self):
        for library in ALL:
            with self.subTest(library):
                self.assertEqual(dynamic(LIBRARIES / f"lib{library}.so", "SONAME"), [f"lib{library}.so"])


if __name__ == "__main__":
    unittest.main()
