"""The command beside what people would use instead, by CPU and wall time and memory: run.py [TURNS [ROWS]]

A million rows of eight columns through each of them, by the same profiles, in turns. Each output is checked.
`scripts/bench peers` builds what this needs.
"""

import importlib.metadata
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))

import data
import measure
import outputs
import picture

PYTHON = sys.executable
PLAIN = measure.ROOT / "build" / "bench" / "plain_mask"
CLASSES = measure.ROOT / "build" / "bench" / "peers-classes"
VELK = measure.PACKAGE / "bin" / "velk"
SOURCE, TEN = measure.WORK / "rows.csv", measure.WORK / "ten.csv"
KEY = measure.ENVIRONMENT["MASK_KEY"].encode()

COPY, PLAIN_CPP, PLAIN_JAVA = "C++, bytes alone", "C++, this table alone", "plain Java"
POLARS, DUCKDB, PREFIX = "polars with polars-hash", "DuckDB", "DuckDB, key hashed in front"
ONE, TWO, BARE = "velk, 1 thread", "velk, 2 threads", "velk, no class archive"
SAME = [PLAIN_CPP, PLAIN_JAVA, POLARS, DUCKDB]  # these write the same bytes
WAYS = {"a": [PLAIN_CPP, POLARS, PREFIX, DUCKDB, PLAIN_JAVA, ONE, TWO],
        "b": [PLAIN_CPP, POLARS, PREFIX, DUCKDB, PLAIN_JAVA, ONE, TWO],
        "keep": [COPY, PLAIN_CPP, POLARS, DUCKDB, PLAIN_JAVA, ONE, TWO],
        "ten": [PLAIN_CPP, POLARS, DUCKDB, PLAIN_JAVA, ONE, BARE]}
TITLES = {"a": "A: two keyed texts, two partial masks, a date shift, one column emptied",
          "b": "B: six keyed columns, one a card", "keep": "All columns kept", "ten": "Ten rows by profile A"}


def velk(threads, profile, *files):
    return [VELK, "mask", "--quiet", "--jobs", threads, "--rules", HERE / f"{profile}.rules", *files]


def command(way, profile, *files):
    return {COPY: lambda: [PLAIN, "copy", *files], PLAIN_CPP: lambda: [PLAIN, profile, *files],
            PLAIN_JAVA: lambda: [measure.JAVA / "bin" / "java", "-cp", CLASSES, "PlainMask", profile, *files],
            POLARS: lambda: [PYTHON, HERE / "polars_mask.py", profile, *files],
            DUCKDB: lambda: [PYTHON, HERE / "duckdb_mask.py", profile, *files],
            PREFIX: lambda: [PYTHON, HERE / "duckdb_mask.py", f"prefix-{profile}", *files],
            ONE: lambda: velk(1, profile, *files), BARE: lambda: velk(1, profile, *files),
            TWO: lambda: velk(2, profile, *files)}[way]()


class Outputs:
    """Looks at each output; the same way and profile give the same bytes every time."""

    def __init__(self):
        self.digests = {}

    def check(self, way, profile, source, output):
        found = outputs.digest(output)
        if (way, profile) not in self.digests:
            self.check_new(way, profile, source, output)
        known = self.digests.setdefault((way, profile), found)
        outputs.require(found == known, f"{way}, profile {profile}: another output than before")

    def check_new(self, way, profile, source, output):
        outputs.require(outputs.line_count(output) == outputs.line_count(source), f"{way}: rows are lost")
        by = "a" if profile == "ten" else profile
        if by == "keep":
            outputs.require(outputs.digest(source) == outputs.digest(output), f"{way}: not kept")
        elif way in SAME:
            outputs.check_plain(source, output, by, KEY)
        else:
            outputs.check_masked(source, output, by)

    def check_same(self):
        """Those that should write the same have done so to the last row."""
        for profile, ways in WAYS.items():
            for group in (SAME, [ONE, TWO, BARE]):
                found = {self.digests[way, profile] for way in ways if way in group}
                outputs.require(len(found) == 1, f"profile {profile}: {group} differ")


def measure_all(turns):
    checks = Outputs()

    def once(task):
        way, profile = task
        source, output = TEN if profile == "ten" else SOURCE, measure.WORK / "out.csv"
        output.unlink(missing_ok=True)
        environment = {**measure.ENVIRONMENT, "VELK_CLASS_ARCHIVES": ""} if way == BARE else measure.ENVIRONMENT
        sample = measure.run(command(way, "a" if profile == "ten" else profile, source, output), environment)
        checks.check(way, profile, source, output)
        return sample

    samples = measure.interleave([(way, profile) for profile, ways in WAYS.items() for way in ways], turns, once)
    checks.check_same()
    return {profile: {way: measure.summary(samples[way, profile]) for way in ways} for profile, ways in WAYS.items()}


def spread(low, high):
    return f"{low:.2f} to {high:.2f}"


def profile_table(title, ways):
    rows = [[title, "CPU s", "lowest to highest", "wall s", "lowest to highest", "resident MB"]]
    for way, found in ways.items():
        rows.append([way, f"{found['cpu']:.2f}", spread(*found["cpu_range"]), f"{found['wall']:.2f}",
                     spread(*found["wall_range"]), f"{found['resident']:.0f}"])
    return measure.table(rows)


def goals(found):
    """(what, goal, measured, met) of each."""
    a, b, keep, ten = found["a"], found["b"], found["keep"], found["ten"]

    def ratio(profile, way, other, kind="cpu"):
        return profile[way][kind] / profile[other][kind]

    resident = max(ways[way]["resident"] for ways in found.values() for way in (ONE, TWO) if way in ways)
    return [("A, CPU, as a ratio to polars", 1, ratio(a, ONE, POLARS)),
            ("A, CPU, as a ratio to DuckDB", 1, ratio(a, ONE, DUCKDB)),
            ("A, CPU, as a ratio to DuckDB with the key in front", 1, ratio(a, ONE, PREFIX)),
            ("A, wall, 2 threads as a ratio to 1", 0.6, ratio(a, TWO, ONE, "wall")),
            ("B, CPU, as a ratio to polars", 0.6, ratio(b, ONE, POLARS)),
            ("all kept, CPU, as a ratio to C++ that reads and writes rows", 3, ratio(keep, ONE, PLAIN_CPP)),
            ("all kept, CPU, as a ratio to C++ that reads and writes bytes", 3, ratio(keep, ONE, COPY)),
            ("ten rows, CPU s", 0.35, ten[ONE]["cpu"]),
            ("memory, resident MB", 300, resident)]


def goals_table(found):
    rows = [["goal", "at most", "measured", "met"]]
    rows += [[what, most, f"{value:.0f}" if most > 100 else f"{value:.2f}", "yes" if value <= most else "no"]
             for what, most, value in goals(found)]
    return measure.table(rows)


def versions():
    packages = ["duckdb", "polars", "polars-hash"]
    return {"python": sys.version.split()[0], **{name: importlib.metadata.version(name) for name in packages}}


def make_input(rows):
    measure.WORK.mkdir(parents=True, exist_ok=True)
    data.write(SOURCE, rows)
    data.write(TEN, 10)


def main(turns=7, rows=data.ROWS):
    machine = measure.machine()
    measure.unpack_package()
    make_input(rows)
    size = SOURCE.stat().st_size
    found = measure_all(turns)
    SOURCE.unlink()
    (measure.WORK / "out.csv").unlink()
    names = ", ".join(f"{name} {version}" for name, version in versions().items())
    head = (f"{rows:,} rows of 8 columns, {size / 1e6:.0f} MB; medians of {turns} runs in turns.\n"
            f"{measure.machine_text(machine)}\n{names}.")
    tables = [profile_table(TITLES[profile], ways) for profile, ways in found.items()]
    figures = {"rows": rows, "bytes": size, "machine": machine, "versions": versions(), "profiles": found,
               "goals": [dict(zip(("goal", "most", "measured"), goal)) for goal in goals(found)]}
    measure.keep("peers", figures, "\n\n".join([head, *tables, goals_table(found)]))
    picture.write(measure.ROOT / "docs" / "performance.svg", found, TITLES)


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
