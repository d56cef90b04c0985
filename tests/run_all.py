"""Runs every layer of tests and sums up what they counted, by platform: run_all.py [WORD...]

Words choose the layers whose names hold one of them; what these need must have been built before. Each layer's
output goes to build/test-logs.
"""

import collections
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
LOGS = ROOT / "build" / "test-logs"
JDK17 = os.environ.get("VELK_JAVA_HOME") or next(map(str, pathlib.Path("/usr/lib/jvm").glob("java-17-openjdk-*")), "")
JAVA25 = str(ROOT / "build" / "tools" / "java25")
JAVA_WINDOWS = str(ROOT / "build" / "tools" / "java25-windows")
TOOLS = ROOT / "build" / "tools" / "bin"
PYTHON = str(TOOLS / "python")
PRINTING = threading.Lock()


class Count(collections.namedtuple("Count", "passed failed skipped", defaults=[0])):
    def __str__(self):
        return f"{self.passed} passed, {self.failed} failed" + (f", {self.skipped} skipped" if self.skipped else "")


def last_number(pattern, output):
    found = re.findall(pattern, output, re.MULTILINE)
    return int(found[-1]) if found else 0


# Each of these reads one runner's closing lines; None where they are missing.

def googletest(output):
    if "[  PASSED  ]" not in output:
        return None
    return Count(last_number(r"^\[  PASSED  \] (\d+) tests?\.", output),
                 last_number(r"^\[  FAILED  \] (\d+) tests?, listed below", output),
                 last_number(r"^\[  SKIPPED \] (\d+) tests?", output))


def unittest_count(output):
    total = last_number(r"^Ran (\d+) tests?", output)
    broken = sum(map(int, re.findall(r"(?:failures|errors)=(\d+)", output)))
    skipped = sum(map(int, re.findall(r"skipped=(\d+)", output)))
    return Count(total - broken - skipped, broken, skipped) if total else None


def closing_line(output):
    """A last line `N passed, N failed`, with `, N skipped` where some were."""
    counts = re.findall(r"^(\d+) passed, (\d+) failed(?:, (\d+) skipped)?$", output, re.MULTILINE)
    return Count(*(int(number or 0) for number in counts[-1])) if counts else None


def surefire(output):
    counts = re.findall(r"^\[\w+\] Tests run: (\d+), Failures: (\d+), Errors: (\d+), Skipped: (\d+)\s*$", output, re.MULTILINE)
    if not counts:
        return None
    run, failures, errors, skipped = (sum(map(int, column)) for column in zip(*counts))
    return Count(run - failures - errors - skipped, failures + errors, skipped)


def one_check(output):
    """A command without a count of its own is one test."""
    return Count(1, 0)


def nothing(output):
    """A build counts for nothing, unless it fails."""
    return Count(0, 0)


def formatted(folders):
    files = [str(path) for folder in folders for path in sorted((ROOT / folder).rglob("*"))
             if path.suffix in {".h", ".cpp"}]
    return [str(TOOLS / "clang-format"), "--dry-run", "--Werror", *files]


Layer = collections.namedtuple("Layer", "platform name command count after", defaults=[()])


def build(preset):
    platform = "Windows" if preset == "windows" else "Linux"
    return Layer(platform, f"build {preset}", ["scripts/build", preset], nothing)


def unit_tests(platform, preset, prefix=(), suffix=""):
    for name in ["bridge_tests", "bulk_tests", "bulk_threads_tests", "reference_engine_tests"]:
        yield Layer(platform, f"{name} ({preset})", [*prefix, f"build/{preset}/bin/{name}{suffix}"], googletest)


def native_lane():
    yield build("linux")
    yield Layer("Linux", "format", formatted(["include", "src", "bulk", "reference-engine", "tests"]), one_check)
    yield Layer("Linux", "sources", [PYTHON, "tests/library/sources_test.py"], unittest_count)
    yield Layer("Linux", "known results", [PYTHON, "tests/library/known_results_test.py"], unittest_count)
    yield Layer("Linux", "measurements", [PYTHON, "tests/library/bench_test.py"], unittest_count)
    yield Layer("Linux", "libraries (linux)", [PYTHON, "tests/library/linux_libraries_test.py"], unittest_count)
    yield build("windows")
    yield Layer("Windows", "libraries (windows)", [PYTHON, "tests/library/windows_libraries_test.py"], unittest_count)
    yield from unit_tests("Linux", "linux")
    yield from unit_tests("Windows", "windows", ["scripts/wine"], ".exe")
    yield build("asan")
    yield from unit_tests("Linux", "asan")
    yield Layer("Linux", "build tsan", ["scripts/build", "tsan", "reference_engine_tests", "bulk_threads_tests"], nothing)
    yield Layer("Linux", "threads (tsan)",
                ["build/tsan/bin/reference_engine_tests", "--gtest_filter=*Threads*:CallUnderWay.*:ThreadSanitizer.*"],
                googletest)
    yield Layer("Linux", "bulk_threads_tests (tsan)", ["build/tsan/bin/bulk_threads_tests"], googletest)


def fuzz_lane():
    yield Layer("Linux", "fuzz", ["scripts/fuzz", "60"], one_check, ["build asan"])


def java_lane():
    """One after the other: they share what Maven builds."""
    end_to_end = str(ROOT / "tests" / "end_to_end" / "run")
    yield Layer("Linux", "java", ["mvn", "-B", "-ntp", "verify"], surefire, ["build linux"])
    def spark(name, *options):
        return Layer("Linux", name, ["mvn", "-B", "-ntp", "-Pspark", "-pl", "java,spark", *options,
                                     "-Dsurefire.failIfNoSpecifiedTests=false", "verify"], surefire)
    yield spark("spark", "-Dtest=com/brel/sorn/velk/spark/*Test")
    yield spark("spark, Java 25", "-Dtest=VelkMaskingTest", "-Dit.test=ClusterIT#twoTasks*", f"-Dvelk.spark.java={JAVA25}")
    yield Layer("Linux", "demo", ["scripts/demo"], one_check)
    yield Layer("Linux", "end to end, Java 17", [end_to_end, JDK17], closing_line)
    yield Layer("Linux", "end to end, Java 25", [end_to_end, JAVA25], closing_line)
    yield Layer("Windows", "end to end, Windows", [end_to_end, JAVA_WINDOWS], closing_line, ["build windows"])
    yield Layer("Windows", "same tests", [PYTHON, "tests/end_to_end/same_tests_test.py"], unittest_count)
    yield Layer("Windows", "platforms agree", [PYTHON, "tests/end_to_end/platforms_agree_test.py"], unittest_count)
    yield Layer("Windows", "demo on Windows", ["scripts/demo", "--windows"], one_check)
    yield Layer("Linux", "package", ["scripts/package"], nothing)
    yield Layer("Windows", "packages", [PYTHON, "tests/library/packages_test.py"], unittest_count)


def report(layer, count, seconds, output, log):
    what = "done" if layer.count is nothing and not count.failed else str(count)
    print(f"{layer.name}: {what} in {seconds:.0f} s", flush=True)
    if count.failed:
        print("\n".join(output.splitlines()[-60:]))
        print(f"(all of it: {log.relative_to(ROOT)})", flush=True)


def run(layer):
    """The layer's count. One that counts nothing, or fails without a failed test, has failed."""
    start = time.monotonic()
    log = LOGS / (re.sub(r"\W+", "-", layer.name).strip("-") + ".log")
    # Into a file: of a pipe the end would come only when everything that Wine has started beside it ends.
    with log.open("wb") as file:
        result = subprocess.run(layer.command, cwd=ROOT, env={**os.environ, "JAVA_HOME": JDK17},
                                stdin=subprocess.DEVNULL, stdout=file, stderr=subprocess.STDOUT)
    output = log.read_text(encoding="utf-8", errors="replace")
    count = layer.count(output) or Count(0, 1)
    if not count.failed and (result.returncode != 0 or not count.passed and layer.count is not nothing):
        count = count._replace(failed=1)
    with PRINTING:
        report(layer, count, time.monotonic() - start, output, log)
    return count


def run_lane(lane, done, counts):
    for layer in lane:
        for name in layer.after:
            if name in done:
                done[name].wait()
        counts.append((layer.platform, run(layer)))
        done[layer.name].set()


def main():
    LOGS.mkdir(parents=True, exist_ok=True)
    wanted = sys.argv[1:]
    lanes = [[layer for layer in lane() if not wanted or any(word in layer.name for word in wanted)]
             for lane in (native_lane, java_lane, fuzz_lane)]
    done = {layer.name: threading.Event() for lane in lanes for layer in lane}
    counts = []
    # Side by side: none keeps two cores busy all the time.
    with concurrent.futures.ThreadPoolExecutor() as pool:
        for lane in [pool.submit(run_lane, lane, done, counts) for lane in lanes]:
            lane.result()
    for platform in ["Linux", "Windows"]:
        print(f"{platform}: {total(count for ran_on, count in counts if ran_on == platform)}")
    everything = total(count for _, count in counts)
    print(everything)
    return 1 if everything.failed or not everything.passed else 0


def total(counts):
    return Count(*map(sum, zip(Count(0, 0), *counts)))


if __name__ == "__main__":
    sys.exit(main())
