"""Prints each benchmark of a run as a ratio to its plain counterpart: ratios.py <benchmark's JSON file>"""

import json
import re
import sys


def medians(run):
    """CPU times by benchmark, "Field.toC/units:8"."""
    return {b["run_name"]: b["cpu_time"] for b in run if b.get("aggregate_name") == "median"}


def split(name):
    function, units = re.fullmatch(r"(.*)/units:(\d+)", name).groups()
    return function, int(units)


def main(path):
    with open(path, encoding="utf-8") as file:
        run = json.load(file)["benchmarks"]
    errors = {f"{b['run_name']}: {b['error_message']}" for b in run if b.get("error_occurred")}
    if errors:
        sys.exit("\n".join(sorted(errors)))
    times = medians(run)
    measured = [split(name) for name in times if not name.startswith("plain ")]
    if not measured:
        sys.exit("nothing was measured")
    for function, units in sorted(measured):
        ratio = times[f"{function}/units:{units}"] / times[f"plain {function}/units:{units}"]
        print(f"{function:16} {units:>5} units  {ratio:.2f} of the plain code's time")


if __name__ == "__main__":
    main(sys.argv[1])
