"""What several threads gain: jobs.py [JOBS [ROWS]]

Masks a file of ROWS rows (3 million, about 270 MB) with one thread and with JOBS (2) in turn, three times each, and
prints the ratio of the median times. The command has to be built; the machine should have nothing else to do.
"""

import os
import pathlib
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
ENVIRONMENT = {**os.environ, "MASK_KEY": "a key for measuring alone"}


def write(path, rows):
    with open(path, "w", encoding="utf-8", newline="") as file:
        file.write("id,name,city,card,email,note\n")
        for row in range(rows):
            card = f"4012 {row % 10000:04} {row * 7 % 10000:04} 1881"
            file.write(f'{row},Zoë Martín {row % 977},Málaga,{card},user{row}@example.org,"a note, {row}"\n')


def seconds(folder, jobs):
    start = time.monotonic()
    subprocess.run([ROOT / "bin" / "velk", "mask", "--quiet", "--jobs", str(jobs), "--rules",
                    ROOT / "examples" / "people.rules", folder / "jobs.csv", folder / f"jobs-{jobs}.csv"],
                   env=ENVIRONMENT, check=True)
    return time.monotonic() - start


def main(jobs=2, rows=3_000_000):
    folder = ROOT / "build" / "bench"
    folder.mkdir(parents=True, exist_ok=True)
    write(folder / "jobs.csv", rows)
    pairs = [(seconds(folder, 1), seconds(folder, jobs)) for _ in range(3)]
    one, several = map(statistics.median, zip(*pairs))
    print(f"{rows} rows: {one:.1f} s with 1 thread, {several:.1f} s with {jobs}, ratio {several / one:.2f}")


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
