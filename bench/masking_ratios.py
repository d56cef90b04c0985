"""Prints what each masking function costs a value, alone and in a whole call of the engine, both also as ratios to the
bare keyed hash of the same values: masking_ratios.py <benchmark's JSON file>"""

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
    functions = sorted(name.removeprefix("call of ") for name in times if name.startswith("call of "))
    if not functions:
        sys.exit("nothing was measured")
    print("ns a value, ratio to HMAC    alone         in a call")
    for name in functions:
        hmac, call = times[f"hmac of {name}"], times[f"call of {name}"]
        # What stays as it is has nothing that masks it.
        alone = f"{times[name]:7.0f} {times[name] / hmac:6.2f}" if name in times else " " * 14
        print(f"{name:24} {alone} {call:9.0f} {call / hmac:6.2f}")


if __name__ == "__main__":
    main(sys.argv[1])
