#!/usr/bin/env python3
"""What is masked, traced and reported is the same on Windows as on Linux: the demo's people, masked on both.

The jars must have been packaged with the natives of both, as `run` does it for Windows.
"""

import concurrent.futures
import json
import pathlib
import re
import shutil
import tempfile
import unittest

from platforms import ROOT, Linux, Windows

JAVA = {Linux: ROOT / "build" / "tools" / "java25", Windows: ROOT / "build" / "tools" / "java25-windows"}
# Outside of every one-byte code page, and inside of some.
VARIABLES = {"MASK_KEY": "a clé, a 鍵 and a 😀", "VELK_TRACE": "all"}
SOME_NOT_MASKED = 3
OTHER_FILES = "service=s key='file:schlüssel 鍵 😀' a=dict(file='städte 市 😀') b=hash"


def masked_on(kind, folder):
    """Everything that the runs on a platform leave, by its name."""
    platform = kind(JAVA[kind])
    for name in ["people.csv", "people.rules"]:
        shutil.copy(ROOT / "examples" / name, folder)
    (folder / "other.rules").write_text(OTHER_FILES, encoding="utf-8")
    key = folder / "schlüssel 鍵 😀"
    key.write_text("sixteen bytes or more, in a file", encoding="utf-8")
    key.chmod(0o600)  # or the trace tells, where the system knows such modes, that others may read it
    (folder / "städte 市 😀").write_text("Zürich\n東京\nΘεσσαλονίκη\n", encoding="utf-8")
    (folder / "prénoms.csv").write_text("a,b\n1,x\n2,y\n3,z\n", encoding="utf-8")

    def java(trace, arguments, ends_with=0):
        output, code = platform.run([f"-Djava.io.tmpdir={platform.path(folder)}", *arguments],
                                    variables={**VARIABLES, "VELK_TRACE_FILE": trace}, folder=folder, checked=False)
        if code != ends_with:
            raise AssertionError(f"{platform.name}: exit code {code}\n{output}")
        return output.encode()

    velk = ["-jar", platform.path(ROOT / "cli" / "target" / "velk-cli-0.1.0.jar")]
    mask = [*velk, "mask", "--report-format", "json"]
    shown = java("shown.trace", [*velk, "preview", "--rows", "7", "--show-original", "-r", "people.rules", "people.csv"],
                 SOME_NOT_MASKED)
    java("people.trace", [*mask, "--report", "people.report", "-r", "people.rules", "people.csv", "masked.csv"],
         SOME_NOT_MASKED)
    java("spur 跡 😀", [*mask, "--report", "noms.report", "-r", "other.rules", "prénoms.csv", "masqués.csv"])
    return {
        "what the preview shows": shown,
        "the masked people": (folder / "masked.csv").read_bytes(),
        "the report on the people": (folder / "people.report").read_bytes(),
        "the trace of the preview": comparable((folder / "shown.trace").read_bytes()),
        "the trace of the people": comparable((folder / "people.trace").read_bytes()),
        "files with names in any language": (folder / "masqués.csv").read_bytes(),
        "the report on them": (folder / "noms.report").read_bytes(),
        "the trace of them": comparable((folder / "spur 跡 😀").read_bytes()),
    }


def comparable(trace):
    """A trace with placeholders for times, threads and addresses."""
    text = re.sub(rb'"ts":[0-9]+\.[0-9]+,', b'"ts":0,', trace)
    text = re.sub(rb'"tid":[0-9]+', b'"tid":0', text)
    return re.sub(rb'"0x0*[1-9a-f][0-9a-f]*"', b'"address"', text)


def differences(one, other):
    """The names of what is not the same on both."""
    return sorted(name for name in one.keys() | other.keys() if one.get(name) != other.get(name))


class PlatformsAgree(unittest.TestCase):
    maxDiff = 2000

    @classmethod
    def setUpClass(cls):
        with concurrent.futures.ThreadPoolExecutor() as pool, tempfile.TemporaryDirectory() as name:
            folders = [pathlib.Path(name) / kind.name for kind in JAVA]
            for folder in folders:
                folder.mkdir()
            cls.linux, cls.windows = pool.map(masked_on, JAVA, folders)

    def test_everything_is_the_same_on_both(self):
        self.assertEqual([], differences(self.linux, self.windows))
        for name in self.linux:
            with self.subTest(name):
                self.assertEqual(self.linux[name], self.windows[name])

    def test_the_people_are_masked_reported_and_traced(self):
        rows = self.linux["the masked people"].decode().splitlines()
        self.assertEqual("id,name,city,card,email,note", rows[0])
        self.assertNotIn("Zoë", "".join(rows))
        self.assertEqual(50, json.loads(self.linux["the report on the people"])["rows"])
        self.assertIn("Zoë", self.linux["what the preview shows"].decode())
        for trace in ["the trace of the preview", "the trace of the people", "the trace of them"]:
            operations = {event["name"] for event in json.loads(self.linux[trace])}
            self.assertLessEqual({"VELK.initializeFramework0", "Field.toC", "Field.toJava"}, operations)

    def test_names_come_from_the_list_in_the_file(self):
        masked = self.linux["files with names in any language"].decode().splitlines()
        self.assertEqual(4, len(masked))
        for row in masked[1:]:
            self.assertRegex(row, "^(Zürich|東京|Θεσσαλονίκη),[0-9a-f]+$")

    def test_a_planted_difference_is_noticed(self):
        """One byte, the line ends, one line that is missing."""
        for name, content in self.windows.items():
            lines = content.splitlines(keepends=True)
            planted = [content[:-2] + bytes([content[-2] ^ 1]) + content[-1:], content.replace(b"\n", b"\r\n"),
                       b"".join([*lines[:2], *lines[3:]])]
            for other in planted:
                self.assertEqual([name], differences(self.windows, {**self.windows, name: other}))
        report = self.windows["the report on the people"]
        one_less = re.sub(rb'"masked" : ([1-9]\d*)', lambda found: b'"masked" : %d' % (int(found[1]) - 1), report, count=1)
        fewer = {**self.windows, "the report on the people": one_less}
        self.assertEqual(["the report on the people"], differences(self.windows, fewer))

    def test_what_times_threads_and_addresses_are_is_all_that_a_trace_may_differ_in(self):
        line = b'{"name":"x","ph":"i","ts":1.250,"pid":1,"tid":12,"args":{"p":"0x1f","n":3}},\n'
        for alike in [(b"1.250", b"17.001"), (b'"tid":12', b'"tid":1'), (b"0x1f", b"0x0000ab")]:
            self.assertEqual(comparable(line), comparable(line.replace(*alike)))
        for other in [(b"1.250", b"-1.250"), (b'"ts":1.250,', b""), (b'"pid":1,', b'"pid":2,'), (b"0x1f", b"0x0"),
                      (b'"n":3', b'"n":4'), (b'"p":"0x1f","n":3', b'"n":3,"p":"0x1f"'), (b"\n", b"\r\n")]:
            self.assertNotEqual(comparable(line), comparable(line.replace(*other)))


if __name__ == "__main__":
    unittest.main()
