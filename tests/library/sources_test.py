"""The sources: which way includes run, and what the shared records may hold."""

import pathlib
import re
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


if __name__ == "__main__":
    unittest.main()
