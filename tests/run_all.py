"""Runs every layer of tests and sums up what they counted. Each layer's output goes to build/test-logs."""

import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
LOGS = ROOT / "build" / "test-logs"
JDK17 = os.environ.get("VELK_JAVA_HOME") or next(map(str, pathlib.Path("/usr/lib/jvm").glob("java-17-openjdk-*")), "")
JAVA25 = str(ROOT / "build" / "tools" / "java25")
TOOLS = ROOT / "build" / "tools" / "bin"


def googletest(output):
    """(passed, failed) of GoogleTest's closing lines, or None."""
    passed = re.findall(r"^\[  PASSED  \] (\d+) tests?\.", output, re.MULTILINE)
    failed = re.findall(r"^\[  FAILED  \] (\d+) tests?, listed below", output, re.MULTILINE)
    return (int(passed[-1]), int(failed[-1]) if failed else 0) if passed else None


def unittest_count(output):
    total = re.findall(r"^Ran (\d+) tests?", output, re.MULTILINE)
    if not total:
        return None
    broken = sum(map(int, re.findall(r"(?:failures|errors)=(\d+)", output)))
    return int(total[-1]) - broken, broken


def closing_line(output):
    """(passed, failed) of a last line `N passed, N failed`."""
    counts = re.findall(r"^(\d+) passed, (\d+) failed$", output, re.MULTILINE)
    return tuple(map(int, counts[-1])) if counts else None


def surefire(output):
    counts = re.findall(r"^\[\w+\] Tests run: (\d+), Failures: (\d+), Errors: (\d+), Skipped: (\d+)\s*$", output, re.MULTILINE)
    if not counts:
        return None
    run, failures, errors, skipped = (sum(map(int, column)) for column in zip(*counts))
    return run - failures - errors - skipped, failures + errors


def one_check(output):
    """A command without a count of its own is one test."""
    return 1, 0


def formatted(folders):
    files = [str(path) for folder in folders for path in sorted((ROOT / folder).rglob("*"))
             if path.suffix in {".h", ".cpp"}]
    return [str(TOOLS / "clang-format"), "--dry-run", "--Werror", *files]


def layers():
    end_to_end = str(ROOT / "tests" / "end_to_end" / "run")
    yield "format", formatted(["include", "src", "reference-engine", "tests"]), one_check
    yield "sources", [sys.executable, "tests/library/sources_test.py"], unittest_count
    yield "libraries", [sys.executable, "tests/library/libraries_test.py"], unittest_count
    for preset in ["linux", "asan"]:
        for name in ["bridge_tests", "reference_engine_tests"]:
            yield f"{name} ({preset})", [f"build/{preset}/bin/{name}"], googletest
    yield "fuzz", ["scripts/fuzz", "60"], one_check
    yield "java", ["mvn", "-B", "-ntp", "verify"], surefire
    yield "demo", ["scripts/demo"], one_check
    yield "end to end, Java 17", [end_to_end, JDK17], closing_line
    yield "end to end, Java 25", [end_to_end, JAVA25], closing_line


def run(name, command, count):
    """(passed, failed) of one layer. A layer that counts nothing, or fails without a failed test, has failed."""
    start = time.monotonic()
    result = subprocess.run(command, cwd=ROOT, env={**os.environ, "JAVA_HOME": JDK17}, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, errors="replace")
    log = LOGS / (re.sub(r"\W+", "-", name).strip("-") + ".log")
    log.write_text(result.stdout)
    passed, failed = count(result.stdout) or (0, 1)
    if failed == 0 and (result.returncode != 0 or passed == 0):
        failed = 1
    print(f"{name}: {passed} passed, {failed} failed in {time.monotonic() - start:.0f} s", flush=True)
    if failed:
        print("\n".join(result.stdout.splitlines()[-60:]))
        print(f"(all of it: {log.relative_to(ROOT)})", flush=True)
    return passed, failed


def main():
    LOGS.mkdir(parents=True, exist_ok=True)
    wanted = sys.argv[1:]
    counts = [run(*layer) for layer in layers() if not wanted or any(word in layer[0] for word in wanted)]
    passed, failed = (sum(column) for column in zip(*counts))
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
