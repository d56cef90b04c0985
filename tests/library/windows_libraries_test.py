"""The finished DLLs: what they export and import, their resources, and that they are built alike twice."""

import os
import pathlib
import re
import shutil
import tempfile
import unittest

import pefile

import contract
from binaries import faults_of_debug_information, run, symbols

BUILD = contract.ROOT / "build" / "windows"
LIBRARIES = pathlib.Path(os.environ.get("VELK_LIBRARY_DIR", BUILD / "lib"))
TOOLS = "x86_64-w64-mingw32-"
COMPILER = f"{TOOLS}gcc-posix"
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


def link(*arguments):
    run(COMPILER, *arguments)


def exchanged(library):
    """[(ordinal, name)] of an engine library's exports that stand under another one's number."""
    portable = read(library)
    addresses = symbols(f"{library}.debug", TOOLS)
    base = portable.OPTIONAL_HEADER.ImageBase
    return [(symbol.ordinal, contract.operations(library.stem)[symbol.ordinal])
            for symbol in portable.DIRECTORY_ENTRY_EXPORT.symbols if symbol.name is None
            and addresses.get(contract.operations(library.stem)[symbol.ordinal]) != base + symbol.address]


def build(sources, *options):
    """A copy of the sources, built without their tests at another place. Its folder of libraries."""
    for name in ["src", "bulk", "include", "cmake", "reference-engine"]:
        shutil.copytree(contract.ROOT / name, sources / name)
    shutil.copy(contract.ROOT / "CMakeLists.txt", sources)
    java = contract.ROOT / "build" / "tools" / "java25-windows" / "include"
    folder = sources.with_name(f"{sources.name} built")
    run("cmake", "-S", sources, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DVELK_TESTS=OFF",
        "-DCMAKE_TOOLCHAIN_FILE=cmake/windows-x86_64-mingw.cmake", f"-DVELK_JAVA_INCLUDE_DIR={java}", *options)
    run("cmake", "--build", folder)
    return folder / "lib"


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

    def test_the_lane_exports_its_natives_undecorated_and_nothing_else(self):
        self.assertEqual(sorted(exports(dll("VELKBulk")).values()), contract.bulk_natives())

    def test_the_lane_imports_what_is_listed_and_nothing_else(self):
        listed = (contract.FOLDER / "bulk_imports_windows.txt").read_text().splitlines()
        self.assertEqual(imports(dll("VELKBulk")), listed)

    def test_the_lane_imports_two_operations_of_the_provider_by_their_ordinals(self):
        self.assertEqual(engine_imports(dll("VELKBulk")), {"VELKProvider.dll @3", "VELKProvider.dll @10"})
        self.assertEqual({line.split()[0] for line in imports(dll("VELKBulk"))}, {"VELKProvider.dll", "KERNEL32.dll", C_RUNTIME})

    def test_an_import_by_name_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            definition, source, library, stub = (pathlib.Path(folder, name) for name in
                                                 ["named.def", "planted.c", "planted.dll", "libnamed.a"])
            definition.write_text("LIBRARY VELKProvider.dll\nEXPORTS\n    Provider_Init\n    Provider_Term @4 NONAME\n")
            run(f"{TOOLS}dlltool", "-d", definition, "-l", stub)
            source.write_text("int Provider_Init(void); int Provider_Term(void);\n"
                              "__declspec(dllexport) int call(void) { return Provider_Init() + Provider_Term(); }")
            link("-shared", "-o", library, source, stub)
            self.assertEqual(engine_imports(library) - operations_by_ordinal(), {"VELKProvider.dll Provider_Init"})

    def test_the_build_has_the_ordinals_of_the_engine(self):
        for library in contract.ENGINE:
            with self.subTest(library):
                self.assertEqual(contract.export_list(library), contract.operations(library))
                self.assertTrue(contract.operations(library))

    def test_behind_each_ordinal_of_the_engine_stands_its_operation(self):
        for library in contract.ENGINE:
            with self.subTest(library):
                self.assertEqual(exchanged(dll(library)), [])

    def test_the_bridge_calls_by_each_ordinal_what_it_means(self):
        """The linker's table of imports names its slots in the debug information."""
        slots = symbols(f"{dll('VELKJNI')}.debug", TOOLS)
        for entry in read(dll("VELKJNI")).DIRECTORY_ENTRY_IMPORT:
            library = pathlib.PurePath(entry.dll.decode()).stem
            for symbol in entry.imports if library in contract.ENGINE else []:
                name = contract.operations(library)[symbol.ordinal]
                with self.subTest(name):
                    self.assertEqual(slots[f"__imp_{name}"], symbol.address)

    def test_exchanged_ordinals_are_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            definition, source, library = (pathlib.Path(folder, name) for name in
                                           ["planted.def", "planted.c", "VELKAdapter.dll"])
            names = contract.operations("VELKAdapter")
            swapped = {1: names[2], 2: names[1], 3: names[3]}
            definition.write_text("LIBRARY VELKAdapter\nEXPORTS\n" + "".join(
                f"    {name} @{ordinal} NONAME\n" for ordinal, name in swapped.items()))
            source.write_text("\n".join(f"void {name}(void) {{}}" for name in names.values()))
            link("-shared", "-o", library, source, definition)
            shutil.copy(library, f"{library}.debug")
            self.assertEqual(exchanged(library), [(1, names[1]), (2, names[2])])

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
                own = {"VELKParser.dll", "VELKProvider.dll"} if library == "VELKAdapter" else set()
                self.assertLessEqual(needed, {"KERNEL32.dll", "ADVAPI32.dll", C_RUNTIME, "bcrypt.dll"} | own)
        self.assertEqual(engine_imports(dll("VELKAdapter")), 
                         {"VELKParser.dll Parser_ReportError", "VELKProvider.dll Provider_ListFile"})

    def test_what_one_side_allocates_the_other_may_free(self):
        for library in contract.ALL:
            with self.subTest(library):
                heaps = {line.split()[0] for line in imports(dll(library)) if line.split()[1] in ("malloc", "free")}
                self.assertEqual(heaps, {C_RUNTIME})

    def test_each_library_says_what_it_is(self):
        version = re.search(r"project\(VELKJNI VERSION (\S+)", (contract.ROOT / "CMakeLists.txt").read_text()).group(1)
        major, minor, patch = map(int, version.split("."))
        for library in contract.ALL:
            with self.subTest(library):
                portable = read(dll(library))
                fixed = portable.VS_FIXEDFILEINFO[0]
                self.assertEqual((fixed.FileVersionMS, fixed.FileVersionLS), (major << 16 | minor, patch << 16))
                texts = {key.decode(): value.decode() for key, value in portable.FileInfo[0][0].StringTable[0].entries.items()}
                self.assertEqual((texts["FileVersion"], texts["ProductVersion"]), (version, version))
                self.assertEqual((texts["ProductName"], texts["InternalName"]), ("VELKJNI", library))
                self.assertEqual(texts["OriginalFilename"], f"{library}.dll")
                self.assertEqual(portable.DIRECTORY_ENTRY_EXPORT.name.decode(), f"{library}.dll")
                self.assertRegex(texts["FileDescription"], "^VELK|VELK Java API")

    def test_debug_information_stands_beside_the_library(self):
        for library in contract.ALL:
            with self.subTest(library):
                self.assertEqual(faults_of_debug_information(dll(library), library, TOOLS), [])

    def test_debug_information_of_another_library_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            library = pathlib.Path(folder, "VELKJNI.dll")
            shutil.copy(dll("VELKJNI"), library)
            shutil.copy(f"{dll('VELKParser')}.debug", f"{library}.debug")
            self.assertEqual(faults_of_debug_information(library, "VELKJNI", TOOLS), [
                "the file beside the library is another one's",
                "Java_com_brel_sorn_velk_RowSet_toC is said to stand in None"])

    def test_no_library_holds_a_time(self):
        for library in contract.ALL:
            with self.subTest(library):
                portable = read(dll(library))
                self.assertEqual(portable.FILE_HEADER.TimeDateStamp, 0)
                self.assertEqual(portable.DIRECTORY_ENTRY_EXPORT.struct.TimeDateStamp, 0)
                self.assertEqual({entry.struct.TimeDateStamp for entry in portable.DIRECTORY_ENTRY_IMPORT}, {0})

    def test_no_library_holds_the_path_of_its_build(self):
        for library in contract.ALL:
            for suffix in ["", ".debug"]:
                with self.subTest(library + suffix):
                    self.assertNotIn(str(contract.ROOT).encode(), pathlib.Path(f"{dll(library)}{suffix}").read_bytes())

    def test_another_build_at_another_place_gives_the_same_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            again = build(pathlib.Path(folder, "another place"))
            for library in contract.ALL:
                for name in [f"{library}.dll", f"{library}.dll.debug"]:
                    with self.subTest(name):
                        self.assertEqual((again / name).read_bytes(), (LIBRARIES / name).read_bytes())

    def test_the_bridge_and_the_lane_are_built_alone_without_an_engine_at_hand(self):
        with tempfile.TemporaryDirectory() as folder:
            alone = build(pathlib.Path(folder, "alone"), "-DVELK_REFERENCE_ENGINE=OFF")
            self.assertEqual(sorted(file.name for file in alone.glob("*.dll")), ["VELKBulk.dll", "VELKJNI.dll"])
            for name in ["VELKJNI", "VELKBulk"]:
                self.assertEqual(exports(alone / f"{name}.dll"), exports(dll(name)))
                self.assertEqual(imports(alone / f"{name}.dll"), imports(dll(name)))


if __name__ == "__main__":
    unittest.main()
