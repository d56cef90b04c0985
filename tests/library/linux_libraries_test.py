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


def version_number(version):
    """GLIBC_2.34 as numbers. A word instead of a number asks for a facility of the loader: later than any number tells."""
    number = version.removeprefix("GLIBC_")
    return tuple(map(int, number.split("."))) if re.fullmatch(r"[\d.]+", number) else (1000,)


def later_symbols(library, latest):
    """What the library asks for that only a later C library has: "arc4random@GLIBC_2.36"."""
    facilities = re.findall(r"Name: (GLIBC_[A-Z]\S*)", run("readelf", "-VW", library))
    asked = re.findall(r"(\S+@GLIBC_\S+)", run("nm", "-D", "--undefined-only", library)) + facilities
    return sorted(name for name in asked if version_number(name.split("@")[-1]) > latest)


def names_inside(library):
    """The names of all that was linked into a library, as its debug information has them."""
    return run("nm", "-C", "--defined-only", f"{library}.debug").splitlines()


def link(library, text, *options):
    """A shared library of a text."""
    source = library.with_suffix(".c")
    source.write_text(text)
    run("gcc", "-shared", "-fPIC", "-o", library, source, *options)


# What RHEL 9, Ubuntu 22.04 and Amazon Linux 2023 have.
ENGINE_C_LIBRARY = (2, 34)

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

    def test_three_operations_stand_outside_the_contract(self):
        """One tells callers that they may use several threads; by the others the adapter reports errors and reads lists."""
        self.assertEqual({library: extra_operations(library) for library in ENGINE if extra_operations(library)},
                         {"VELKProvider": ["Provider_AllowsThreads", "Provider_ListFile"],
                          "VELKParser": ["Parser_ReportError"]})
        self.assertLessEqual({"libVELKParser.so", "libVELKProvider.so"},
                             set(dynamic(LIBRARIES / "libVELKAdapter.so", "NEEDED")))
        self.assertEqual(dynamic(LIBRARIES / "libVELKAdapter.so", "RUNPATH"), ["$ORIGIN"])

    def test_the_engine_needs_only_the_c_library_and_the_compilers(self):
        for library in ENGINE:
            with self.subTest(library):
                needed = dynamic(LIBRARIES / f"lib{library}.so", "NEEDED")
                # The dynamic loader is the C library's own part.
                system = {"libc.so.6", "libm.so.6", "ld-linux-x86-64.so.2", "libgcc_s.so.1"}
                beside = {"libVELKParser.so", "libVELKProvider.so"} if library == "VELKAdapter" else set()
                self.assertLessEqual(set(needed), system | beside)

    def test_the_provider_says_which_engine_it_is(self):
        self.assertIn(b"@(#)VELK reference engine ", (LIBRARIES / "libVELKProvider.so").read_bytes())

    def test_the_bridge_and_the_lane_run_on_an_old_c_library(self):
        self.assertEqual(later_symbols(LIBRARIES / "libVELKJNI.so", (2, 14)), [])
        self.assertEqual(later_symbols(LIBRARIES / "libVELKBulk.so", (2, 14)), [])

    def test_the_engine_runs_on_the_c_library_of_the_systems_in_use(self):
        for library in ENGINE:
            with self.subTest(library):
                self.assertEqual(later_symbols(LIBRARIES / f"lib{library}.so", ENGINE_C_LIBRARY), [])

    def test_what_only_a_later_c_library_has_is_noticed(self):
        planted = {"arc4random@GLIBC_2.36":
                       ["unsigned arc4random(void); unsigned planted(void) { return arc4random(); }"],
                   "GLIBC_ABI_DT_RELR":
                       ["int printf(const char*, ...); void* planted = &planted; int print(void) { return printf(\"\"); }",
                        "-Wl,-z,pack-relative-relocs"]}
        for what, arguments in planted.items():
            with self.subTest(what), tempfile.TemporaryDirectory() as folder:
                library = pathlib.Path(folder, "planted.so")
                link(library, *arguments)
                self.assertEqual(later_symbols(library, ENGINE_C_LIBRARY), [what])

    def test_the_engine_has_no_streams_inside(self):
        """They bring a megabyte of locales."""
        for library in ENGINE:
            with self.subTest(library):
                streams = [name for name in names_inside(LIBRARIES / f"lib{library}.so")
                           if re.search(r"std::(locale|basic_[io]?f?stream|filesystem)", name)]
                self.assertEqual(streams, [])

    def test_only_the_provider_has_crypto_inside(self):
        with_crypto = [library for library in ENGINE
                       if any(re.search(r" (SHA256|OPENSSL|EVP|AES)_|HmacKey::digest", name)
                              for name in names_inside(LIBRARIES / f"lib{library}.so"))]
        self.assertEqual(with_crypto, ["VELKProvider"])

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
