"""Prints what each masking function costs a value, and that as a ratio to the bare keyed hash of the same values:
masking_ratios.py <benchmark's JSON file>"""

import json
import sys

BATCH = 1000  # values


def main(path):
    with open(path, encoding="utf-8") as file:
        run = json.load(file)["benchmarks"]
    errors = {f"{b['run_name']}: {b['error_message']}" for b in run if b.get("error_occurred")}
    if errors:
        sys.exit("\n".join(sorted(errors)))
    times = {b["run_name"]: b["cpu_time"] / BATCH for b in run if b.get("aggregate_name") == "median"}
    functions = sorted(name for name in times if not name.startswith("hmac of "))
    if not functions:
        sys.exit("nothing was measured")
    for name in functions:
        ratio = times[name] / times[f"hmac of {name}"]
        print(f"{name:18} {times[name]:7.0f} ns a value  {ratio:6.2f} of the bare HMAC's time")


if __name__ == "__main__":
    main(sys.argv[1])
