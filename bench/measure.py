"""What the measurements of the whole command share: runs, the machine, medians, and where the figures are kept."""

import collections
import json
import os
import pathlib
import platform
import random
import re
import shutil
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
WORK = ROOT / "build" / "bench" / "files"
PACKAGE = ROOT / "build" / "bench" / "velk"
ARCHIVES = PACKAGE / "archives"
FIGURES = ROOT / "docs" / "performance.json"
PAGE = ROOT / "docs" / "performance.md"
JAVA = pathlib.Path(os.environ.get("VELK_JAVA_HOME") or next(pathlib.Path("/usr/lib/jvm").glob("java-17-openjdk-*")))
ENVIRONMENT = {**os.environ, "MASK_KEY": "a key for measuring alone", "VELK_JAVA_HOME": str(JAVA),
               "VELK_CLASS_ARCHIVES": str(ARCHIVES)}

Sample = collections.namedtuple("Sample", "cpu wall resident")  # seconds, seconds, MB


def run(command, environment=ENVIRONMENT):
    """CPU and wall time of a process and its children, and the most memory that one of them had resident."""
    start = time.monotonic()
    process = subprocess.Popen([str(part) for part in command], env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - start
    process.returncode = os.waitstatus_to_exitcode(status)  # or it would be waited for again
    if process.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))} failed")
    return Sample(usage.ru_utime + usage.ru_stime, wall, usage.ru_maxrss / 1000)


def interleave(ways, turns, work):
    """The samples of each way, which take their turns in an order that changes: what else the machine does meets all.

    `work` makes one sample of one way."""
    samples = {way: [] for way in ways}
    for turn in range(turns):
        order = list(ways)
        random.Random(turn).shuffle(order)
        for way in order:
            samples[way].append(work(way))
        print(f"turn {turn + 1} of {turns} is done", file=sys.stderr, flush=True)
    return samples


def summary(samples):
    """Medians, with the lowest and the highest CPU and wall time."""
    cpu, wall, resident = zip(*samples)
    return {"cpu": statistics.median(cpu), "cpu_range": [min(cpu), max(cpu)], "wall": statistics.median(wall),
            "wall_range": [min(wall), max(wall)], "resident": max(resident), "runs": len(samples)}


def unpack_package():
    """The command as a package holds it, and an archive of its classes."""
    shutil.rmtree(PACKAGE, ignore_errors=True)
    subprocess.run(["cmake", "--install", ROOT / "build" / "linux", "--prefix", PACKAGE], check=True,
                   stdout=subprocess.DEVNULL)
    target = ROOT / "cli" / "target"
    shutil.copytree(target / "lib", PACKAGE / "command" / "lib")
    for jar in target.glob("velk-cli-*.jar"):
        shutil.copy2(jar, PACKAGE / "command")
    ARCHIVES.mkdir()
    (PACKAGE / "bin").mkdir(exist_ok=True)
    shutil.copy2(ROOT / "bin" / "velk", PACKAGE / "bin")
    WORK.mkdir(parents=True, exist_ok=True)
    (WORK / "one.csv").write_text("a\n1\n")
    run([PACKAGE / "bin" / "velk", "mask", "-q", "-s", "service=s a=keep", WORK / "one.csv", WORK / "one.out"])
    if not list(ARCHIVES.glob("velk-*.jsa")):
        print("no class archive was made", file=sys.stderr)


def first_line(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]


def machine():
    cpu = re.search(r"^model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE).group(1)
    flags = pathlib.Path("/proc/cpuinfo").read_text()
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 1e9
    return {"cpu": cpu, "sha_extensions": " sha_ni " in flags, "processors": os.cpu_count(), "memory_gb": round(memory),
            "system": platform.freedesktop_os_release()["PRETTY_NAME"], "kernel": platform.release(),
            "java": first_line(JAVA / "bin" / "java", "--version"), "compiler": first_line("g++", "--version"),
            "load_before": os.getloadavg()[0]}


def machine_text(found):
    sha = "with" if found["sha_extensions"] else "without"
    return (f"{found['cpu']} {sha} SHA extensions, {found['processors']} processors, {found['memory_gb']} GB; "
            f"{found['system']}, kernel {found['kernel']}; {found['java']}; {found['compiler']}. "
            f"Load before the run: {found['load_before']:.1f}.")


def table(rows):
    """Markdown that is a table in plain text, too; the first column is text, the others are numbers."""
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(map(len, column)) for column in zip(*rows)]

    def line(row):
        cells = [row[0].ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(row[1:], widths[1:]))]
        return "| " + " | ".join(cells) + " |"

    rule = "|" + "|".join("-" * (widths[0] + 2) if i == 0 else "-" * (width + 1) + ":"
                          for i, width in enumerate(widths)) + "|"
    return "\n".join([line(rows[0]), rule, *map(line, rows[1:])])


def keep(name, figures, text):
    """Prints a measurement, and puts it into the file of figures and between its marks on the page."""
    print(text)
    kept = json.loads(FIGURES.read_text()) if FIGURES.exists() else {}
    kept[name] = figures
    FIGURES.write_text(json.dumps(rounded(kept), indent=1, ensure_ascii=False) + "\n")
    begin, end = f"<!-- {name}: begin -->\n", f"<!-- {name}: end -->"
    page = PAGE.read_text()
    if page.count(begin) != 1 or page.count(end) != 1:
        sys.exit(f"{PAGE} has no place for {name}")
    PAGE.write_text(page[:page.index(begin) + len(begin)] + "\n" + text + "\n\n" + page[page.index(end):])


def rounded(value):
    if isinstance(value, float):
        return round(value, 4)
    if isinstance(value, dict):
        return {key: rounded(item) for key, item in value.items()}
    return [rounded(item) for item in value] if isinstance(value, list) else value
