"""The sources: which way includes run, and what the shared records may hold."""

import pathlib
import re
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]

# A source of the bridge knows what stands to the right of its own layer, and its own layer.
LAYERS = ["jni", "parse", "marshal", "frame"]


def includes(path):
    return re.findall(r'^#\s*include "([^"]+)"', path.read_text(), re.MULTILINE)


def sources(folder):
    return sorted(path for path in (ROOT / folder).rglob("*") if path.suffix in {".h", ".cpp", ".inc"})


def climbing(layer, names):
    """Includes that run against the direction of the layers."""
    allowed = {*LAYERS[LAYERS.index(layer):], "records", "engine"}
    return [name for name in names if name.split("/")[0] not in allowed]


# Words that one compiler has and another has not.
ONE_COMPILERS_WORDS = re.compile(r"__attribute__|__builtin_|__asm|__extension__|__typeof|\[\[gnu|__int128|__declspec|__try")
MINGW = next(pathlib.Path("/usr/lib/gcc/x86_64-w64-mingw32").glob("*-posix/include/c++"), "")


def words_of_one_compiler(path):
    return ONE_COMPILERS_WORDS.findall(re.sub(r"//.*", "", path.read_text()))


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
                self.assertEqual(climbing(path.parent.name, includes(path)), [])

    def test_an_include_against_the_direction_is_noticed(self):
        self.assertEqual(climbing("frame", ["frame/trace.h", "marshal/text.h"]), ["marshal/text.h"])

    def test_the_engine_includes_nothing_of_the_bridge(self):
        for path in sources("reference-engine"):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual([name for name in includes(path) if name.split("/")[0] in LAYERS[:1] + LAYERS[2:]], [])

    def test_the_contract_includes_nothing_else(self):
        for path in sources("include"):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual([name for name in includes(path) if name.split("/")[0] not in {"records", "engine"}], [])

    def test_records_hold_fixed_width_types_only(self):
        for path in sources("include/records"):
            code = re.sub(r"//.*", "", path.read_text())
            with self.subTest(path.name):
                self.assertEqual(re.findall(r"\b(?:long|short|int|wchar_t|size_t|unsigned \w+ \w+;|j\w+)\s+\w+;", code), [])

    def test_the_bridge_speaks_to_a_compiler_in_its_own_words_in_one_header_alone(self):
        for path in [*sources("src"), *sources("include")]:
            if path.name != "linkage.h":
                with self.subTest(str(path.relative_to(ROOT))):
                    self.assertEqual(words_of_one_compiler(path), [])
        self.assertEqual(words_of_one_compiler(ROOT / "include" / "engine" / "linkage.h"), ["__attribute__"])

    def test_the_bridge_uses_no_extension_of_the_language(self):
        for path in sorted((ROOT / "src").rglob("*.cpp")):
            with self.subTest(str(path.relative_to(ROOT))):
                self.assertEqual(extensions(path), "")

    def test_an_extension_is_noticed(self):
        with tempfile.TemporaryDirectory() as folder:
            planted = pathlib.Path(folder, "planted.cpp")
            planted.write_text("int planted(int value) { return ({ value + 1; }); }\n")
            self.assertIn("statement-expression", extensions(planted))


if __name__ == "__main__":
    unittest.main()
