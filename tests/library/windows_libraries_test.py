"""The finished DLLs: what they export and import, their resources, and that they are built alike twice."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import pefile

import contract

BUILD = contract.ROOT / "build" / "windows"
LIBRARIES = pathlib.Path(os.environ.get("VELK_LIBRARY_DIR", BUILD / "lib"))
ALL = [*contract.ENGINE, "VELKJNI"]
COMPILER = "x86_64-w64-mingw32-gcc-posix"
C_RUNTIME = "msvcrt.dll"


def read(library):
    portable = pefile.PE(str(library), fast_load=True)
    portable.parse_data_directories([pefile.DIRECTORY_ENTRY[f"IMAGE_DIRECTORY_ENTRY_{name}"]
                                     for name in ["EXPORT", "IMPORT", "RESOURCE"]])
    return portable


def dll(name):
    return LIBRARIES / f"{name}.dll"


def exports(library):
    """{ordinal: name or None} of what the library exports."""
    return {symbol.ordinal: symbol.name and symbol.name.decode()
            for symbol in read(library).DIRECTORY_ENTRY_EXPORT.symbols}


def imports(library):
    """Every import as "<library> <name>" or "<library> @<ordinal>", in the order of the alphabet."""
    return sorted(f"{entry.dll.decode()} " + (f"@{symbol.ordinal}" if symbol.import_by_ordinal else symbol.name.decode())
                  for entry in read(library).DIRECTORY_ENTRY_IMPORT for symbol in entry.imports)


def operations_by_ordinal():
    """What the bridge imports of the engine."""
    return {f"{library}.dll @{ordinal}" for library in contract.ENGINE for ordinal in contract.operations(library)}


def engine_imports(library):
    return {line for line in imports(library) if line.startswith("VELK")}


def run(*command):
    result = subprocess.run([*map(str, command)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    if result.returncode != 0:
        raise AssertionError(result.stdout)


def link(*arguments):
    run(COMPILER, *arguments)


def build_bridge_alone(sources):
    """The bridge of a copy of the sources, built without an engine at hand."""
    for name in ["src", "include", "cmake"]:
        shutil.copytree(contract.ROOT / name, sources / name)
    shutil.copy(contract.ROOT / "CMakeLists.txt", sources)
    java = contract.ROOT / "build" / "tools" / "java25-windows" / "include"
    run("cmake", "-S", sources, "-B", sources / "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
        "-DVELK_REFERENCE_ENGINE=OFF", "-DCMAKE_TOOLCHAIN_FILE=cmake/windows-x86_64-mingw.cmake",
        f"-DVELK_JAVA_INCLUDE_DIR={java}")
    run("cmake", "--build", sources / "build")
    return sources / "build" / "lib" / "VELKJNI.dll"


class WindowsLibraries(unittest.TestCase):
    def test_the_bridge_exports_its_natives_undecorated_and_nothing_else(self):
        self.assertEqual(sorted(exports(dll("VELKJNI")).values()), contract.natives())

    def test_an_extra_export_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            source, library = pathlib.Path(folder, "planted.c"), pathlib.Path(folder, "planted.dll")
            names = [*contract.natives(), "planted"]
            source.write_text("\n".join(f"__declspec(dllexport) void {name}(void) {{}}" for name in names))
            link("-shared", "-o", library, source)
            self.assertEqual(set(exports(library).values()) - set(contract.natives()), {"planted"})

    def test_the_bridge_imports_what_is_listed_and_nothing_else(self):
        listed = (contract.FOLDER / "bridge_imports_windows.txt").read_text().splitlines()
        self.assertEqual(imports(dll("VELKJNI")), listed)

    def test_the_bridge_imports_every_operation_of_the_engine_by_its_ordinal(self):
        self.assertEqual(engine_imports(dll("VELKJNI")), operations_by_ordinal())

    def test_the_bridge_needs_only_the_engine_the_system_and_the_c_runtime(self):
        self.assertEqual({line.split()[0] for line in imports(dll("VELKJNI"))},
                         {*(f"{name}.dll" for name in contract.ENGINE), "KERNEL32.dll", C_RUNTIME})

    def test_an_import_by_name_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            definition, source, library, stub = (pathlib.Path(folder, name) for name in
                                                 ["named.def", "planted.c", "planted.dll", "libnamed.a"])
            definition.write_text("LIBRARY VELKProvider.dll\nEXPORTS\n    Provider_Init\n    Provider_Term @4 NONAME\n")
            run("x86_64-w64-mingw32-dlltool", "-d", definition, "-l", stub)
            source.write_text("int Provider_Init(void); int Provider_Term(void);\n"
                              "__declspec(dllexport) int call(void) { return Provider_Init() + Provider_Term(); }")
            link("-shared", "-o", library, source, stub)
            self.assertEqual(engine_imports(library) - operations_by_ordinal(), {"VELKProvider.dll Provider_Init"})

    def test_the_engine_exports_its_operations_by_ordinal_alone(self):
        for library in contract.ENGINE:
            with self.subTest(library):
                exported = exports(dll(library))
                self.assertEqual({ordinal for ordinal, name in exported.items() if name is None},
                                 set(contract.operations(library)))
                self.assertEqual({name for name in exported.values() if name is not None},
                                 set(contract.extra_operations(library)))

    def test_the_engine_needs_only_the_system_and_the_c_runtime(self):
        for library in contract.ENGINE:
            with self.subTest(library):
                needed = {line.split()[0] for line in imports(dll(library))}
                own = {"VELKParser.dll"} if library == "VELKAdapter" else set()
                self.assertLessEqual(needed, {"KERNEL32.dll", C_RUNTIME, "bcrypt.dll"} | own)
        self.assertEqual(engine_imports(dll("VELKAdapter")), {"VELKParser.dll Parser_ReportError"})

    def test_what_one_side_allocates_the_other_may_free(self):
        for library in ALL:
            with self.subTest(library):
                heaps = {line.split()[0] for line in imports(dll(library)) if line.split()[1] in ("malloc", "free")}
                self.assertEqual(heaps, {C_RUNTIME})

    def test_each_library_says_what_it_is(self):
        version = re.search(r"project\(VELKJNI VERSION (\S+)", (contract.ROOT / "CMakeLists.txt").read_text()).group(1)
        major, minor, patch = map(int, version.split("."))
        for library in ALL:
            with self.subTest(library):
                portable = read(dll(library))
                fixed = portable.VS_FIXEDFILEINFO[0]
                self.assertEqual((fixed.FileVersionMS, fixed.FileVersionLS), (major << 16 | minor, patch << 16))
                texts = {key.decode(): value.decode() for key, value in portable.FileInfo[0][0].StringTable[0].entries.items()}
                self.assertEqual(texts["FileVersion"], version)
                self.assertEqual(texts["OriginalFilename"], f"{library}.dll")
                self.assertRegex(texts["FileDescription"], "^VELK|VELK Java API")

    def test_debug_information_stands_beside_the_library(self):
        for library in ALL:
            with self.subTest(library):
                self.assertNotIn(b".debug_info\0", dll(library).read_bytes())
                self.assertIn(f"{library}.dll.debug\0".encode(), dll(library).read_bytes())
                self.assertIn(b".debug_info\0", pathlib.Path(f"{dll(library)}.debug").read_bytes())

    def test_no_library_holds_a_time(self):
        for library in ALL:
            with self.subTest(library):
                portable = read(dll(library))
                self.assertEqual(portable.FILE_HEADER.TimeDateStamp, 0)
                self.assertEqual(portable.DIRECTORY_ENTRY_EXPORT.struct.TimeDateStamp, 0)
                self.assertEqual({entry.struct.TimeDateStamp for entry in portable.DIRECTORY_ENTRY_IMPORT}, {0})

    def test_no_library_holds_the_path_of_its_build(self):
        for library in ALL:
            for suffix in ["", ".debug"]:
                with self.subTest(library + suffix):
                    self.assertNotIn(str(contract.ROOT).encode(), pathlib.Path(f"{dll(library)}{suffix}").read_bytes())

    def test_two_builds_in_two_places_give_the_same_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            first, second = (build_bridge_alone(pathlib.Path(folder, name)) for name in ["first", "the second place"])
            self.assertEqual(exports(first), exports(dll("VELKJNI")))
            self.assertEqual(imports(first), imports(dll("VELKJNI")))
            self.assertEqual(first.read_bytes(), second.read_bytes())


if __name__ == "__main__":
    unittest.main()
