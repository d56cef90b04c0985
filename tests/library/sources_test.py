"""The sources: which way includes run, and what the shared records may hold."""

import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# A source knows what stands to the right of its own layer, and its own layer.
BRIDGE_LAYERS = ["jni", "parse", "marshal", "frame"]
ENGINE_LAYERS = ["parser", "masking", "datacnv", "text"]
ENGINE_ENDS = ["adapter", "provider"]  # which know all of these, and not each other


def includes(path):
    return re.findall(r'^#\s*include "([^"]+)"', path.read_text(), re.MULTILINE)


def sources(folder):
    return sorted(path for path in (ROOT / folder).rglob("*") if path.suffix in {".h", ".cpp", ".inc"})


def outside(names, folders):
    """Those includes that lead out of the folders."""
    return [name for name in names if name.split("/")[0] not in folders or ".." in name]


def climbing(layer, names, layers):
    """Includes that run against the direction of the layers."""
    return outside(names, {*layers[layers.index(layer):], "records", "engine"})


def engine_layers(folder):
    """The engine's layers as they are seen from a folder."""
    return [folder, *ENGINE_LAYERS] if folder in ENGINE_ENDS else ENGINE_LAYERS


# What the bridge, the lane and the contract take of the C and C++ libraries, of Java, and of the two systems.
LIBRARY_HEADERS = {"algorithm", "bit", "cstdarg", "cstddef", "cstdint", "cstdio", "cstdlib", "cstring", "initializer_list",
                   "new", "emmintrin.h", "immintrin.h", "jni.h", "windows.h"}

# The lane's sources from above: each knows those behind it, and its own level.
LANE = [{"natives"}, {"csv_block", "columns"}, {"csv_cells"}, {"csv_split"}, {"lane"}, {"row_set"}, {"engine_threads", "error_text"},
        {"text"}, {"blocks"}, {"memory"}]


def above_in_lane(path):
    """What a source of the lane includes of a higher level than its own."""
    place = {name: level for level, names in enumerate(LANE) for name in names}
    own = 0 if path.parent.name == "jni" else place[path.stem]
    names = [name for name in includes(path) if name.split("/")[0] not in {"records", "engine"}]
    return [name for name in names if place.get(pathlib.PurePosixPath(name).stem, -1) < own]


def foreign_headers(code):
    return [name for name in re.findall(r"^\s*#\s*include\s*<([^>]*)>", code, re.MULTILINE) if name not in LIBRARY_HEADERS]


# A member of a record has a width that is the same everywhere, or is a pointer.
MEMBER = re.compile(r"""(std::u?int(8|16|32|64)_t|char|[A-Z]\w*(?=\ \w+[\[;])) \ \w+ (\[\w+(\ \+\ 1)?\])*;
                        |(const\ )?(void|char|char16_t|[A-Z]\w*)\*\ \w+;""", re.VERBOSE)


def members(code):
    """The lines that declare a record's members, those of its nested unions and structures among them."""
    for record in re.findall(r"^struct \w+ \{\n(.*?)^\};", re.sub(r"\s*//.*", "", code), re.MULTILINE | re.DOTALL):
        for line in map(str.strip, record.splitlines()):
            if line and not re.fullmatch(r"(union|struct) \{|\}( \w+)?;", line):
                yield line


def loose_members(code):
    """Members whose size or place another compiler could see otherwise."""
    return [member for member in members(code) if not MEMBER.fullmatch(member)]


# Words that one compiler has and another has not, or by which a source tells them apart.
ONE_COMPILERS_WORDS = re.compile(r"__attribute__|__builtin_|__asm|__extension__|__typeof|\[\[gnu|__int128|__declspec|__try"
                                 r"|#\s*pragma(?! once)|_Pragma|__GNUC__|__clang__|__MINGW\w*|_MSC_VER")
MINGW = next(pathlib.Path("/usr/lib/gcc/x86_64-w64-mingw32").glob("*-posix/include/c++"), "")


def words_of_one_compiler(code):
    return ONE_COMPILERS_WORDS.findall(re.sub(r"//.*", "", code))


def extensions(path):
    """What a second compiler, for Windows and its record layouts, says of a source, extensions of the language among it."""
    java = ROOT / "build" / "tools" / "java25-windows" / "include"
    command = ["clang++-19", "--target=x86_64-w64-windows-gnu", "-fsyntax-only", "-std=c++20", "-fno-exceptions", "-fno-rtti",
               "-Wall", "-Wextra", "-Wpedantic", "-Wgnu", "-Wmicrosoft", "-Werror"]
    folders = [f"-I{ROOT / folder}" for folder in ["src", "include"]]
    system = [f"-isystem{folder}" for folder in [java, java / "win32", MINGW, f"{MINGW}/x86_64-w64-mingw32",
                                                 "/usr/share/mingw-w64/include"]]
    result = subprocess.run([*command, *folders, *system, str(path)], capture_output=True, text=True)
    return result.stderr if result.returncode != 0 else ""


class Sources(unittest.TestCase):
    def test_includes_of_the_bridge_run_one_way(self):
        self.assertTrue(sources("src"))
        for path in sources("src"):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual(climbing(path.parent.name, includes(path), BRIDGE_LAYERS), [])

    def test_an_include_against_the_direction_is_noticed(self):
        self.assertEqual(climbing("frame", ["frame/trace.h", "marshal/text.h"], BRIDGE_LAYERS), ["marshal/text.h"])

    def test_includes_of_the_lane_run_one_way_and_never_out_of_it(self):
        self.assertTrue(sources("bulk"))
        for path in sources("bulk"):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual(above_in_lane(path), [])

    def test_an_include_that_leads_up_or_out_of_the_lane_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            planted = pathlib.Path(folder, "row_set.cpp")
            planted.write_text('#include "text.h"\n#include "lane.h"\n#include "marshal/text16.h"\n#include "engine/provider.h"\n')
            self.assertEqual(above_in_lane(planted), ["lane.h", "marshal/text16.h"])

    def test_includes_of_the_engine_run_one_way_and_never_to_the_bridge(self):
        folders = {path.name for path in (ROOT / "reference-engine").iterdir() if path.is_dir()} - {"lists"}
        self.assertEqual(folders, {*ENGINE_LAYERS, *ENGINE_ENDS})
        beside = {"platform.h", "built_in_lists.inc"}
        for path in sources("reference-engine"):
            folder = path.parent.name
            with self.subTest(str(path.relative_to(ROOT))):
                names = [name for name in includes(path) if name not in beside]
                if folder == "reference-engine":
                    self.assertEqual(names, [])
                else:
                    self.assertEqual(climbing(folder, names, engine_layers(folder)), [])

    def test_an_include_against_the_engines_direction_is_noticed(self):
        for folder, name in [("masking", "parser/pairs.h"), ("text", "masking/rules.h"), ("adapter", "provider/state.h"),
                             ("provider", "adapter/entries.h"), ("parser", "frame/trace.h")]:
            self.assertEqual(climbing(folder, ["text/failure.h", name][folder == "text":], engine_layers(folder)), [name])

    def test_the_contract_includes_nothing_else(self):
        self.assertTrue(sources("include"))
        for path in sources("include"):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual(outside(includes(path), {"records", "engine"}), [])

    def test_a_way_round_is_noticed(self):
        names = ["engine/../../reference-engine/text/failure.h", "parse/parameter_parse.h", "engine/parser.h"]
        self.assertEqual(outside(names, {"records", "engine"}), names[:2])

    def test_the_bridge_and_the_lane_have_no_dependency_but_the_c_runtime_and_java(self):
        for path in [*sources("src"), *sources("bulk"), *sources("include")]:
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual(foreign_headers(path.read_text()), [])

    def test_a_foreign_header_is_noticed(self):
        for name in ["unistd.h", "strings.h", "../reference-engine/text/failure.h"]:
            self.assertEqual(foreign_headers(f"#include <cstring>\n # include  <{name}>\n"), [name])

    def test_records_hold_fixed_width_types_only(self):
        found = {path.name: list(members(path.read_text())) for path in sources("include/records")}
        self.assertEqual([name for name, lines in found.items() if not lines], ["layout.h"])
        for path in sources("include/records"):
            with self.subTest(path.name):
                self.assertEqual(loose_members(path.read_text()), [])

    def test_a_member_of_another_type_is_noticed(self):
        for member in ["long a;", "long a[2];", "long* p;", "std::int32_t a, b;", "long a{};", "wchar_t* d;", "wchar_t d[4];",
                       "unsigned g;", "unsigned int g;", "bool h;", "std::int32_t c : 4;", "std::size_t m;", "double r;",
                       "jint j;", "int k;", "alignas(16) char l;", "long long m;"]:
            with self.subTest(member):
                self.assertEqual(loose_members(f"struct R {{\n    {member} // what for\n    char eyeCatcher[4];\n}};\n"), [member])

    def test_the_bridge_speaks_to_a_compiler_in_its_own_words_in_three_headers_alone(self):
        headers = {"include/engine/linkage.h": ["__attribute__"], "src/frame/printf_like.h": ["__GNUC__", "__attribute__"],
                   "src/frame/avx2.h": ["[[gnu", "__builtin_"]}
        for path in [*sources("src"), *sources("include")]:
            name = path.relative_to(ROOT).as_posix()
            with self.subTest(name):
                self.assertEqual(words_of_one_compiler(path.read_text()), headers.get(name, []))

    def test_the_lane_speaks_to_a_compiler_in_its_own_words_in_one_source_alone(self):
        source = ROOT / "bulk" / "engine_threads.cpp"
        for path in sources("bulk"):
            with self.subTest(str(path.relative_to(ROOT))):
                # It may find an export lacking; on the other system it asks the system.
                self.assertEqual(words_of_one_compiler(path.read_text()), ["__attribute__"] if path == source else [])

    def test_a_word_of_one_compiler_is_noticed(self):
        for word in ["__builtin_expect", "#pragma pack(1)", "# pragma GCC poison x", "#if defined(__GNUC__)", "[[gnu::noinline]]"]:
            with self.subTest(word):
                self.assertTrue(words_of_one_compiler(f"#pragma once\n// __asm\n{word}\n"))

    def test_the_bridge_and_the_lane_use_no_extension_of_the_language(self):
        for path in sorted([*(ROOT / "src").rglob("*.cpp"), *(ROOT / "bulk").rglob("*.cpp")]):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual(extensions(path), "")

    def test_an_extension_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            planted = pathlib.Path(folder, "planted.cpp")
            planted.write_text("int planted(int value) { return ({ value + 1; }); }\n")
            self.assertIn("statement-expression", extensions(planted))


if __name__ == "__main__":
    unittest.main()
