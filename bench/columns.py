"""What masking one column costs, function by function: columns.py [TURNS]

The file of the comparison with all columns kept, and with one of them masked. `scripts/bench columns` builds what this
needs.
"""

import sys

import measure

sys.path.insert(0, str(measure.ROOT / "bench" / "peers"))

import data

SOURCE, OUTPUT = measure.WORK / "rows.csv", measure.WORK / "out.csv"
MASKED = ["name = hash", "email = email(domain=example.com)", "phone = classes", "phone = partial(keep_last=2)",
          "card = card(keep_first=6)", "card = partial(keep_last=4)", "born = dateshift(days=30) born.type = date",
          "note = hash", "note = null"]
KEPT = "all kept"


def rules(way):
    columns = data.HEADER.strip().split(",")
    kept = [f"{name} = keep" for name in columns if not way.startswith(f"{name} =")]
    return " ".join(["service = columns key = env:MASK_KEY", *kept, *([] if way == KEPT else [way])])


def once(way):
    return measure.run([measure.PACKAGE / "bin" / "velk", "mask", "-q", "-j", "1", "-s", rules(way), SOURCE, OUTPUT])


def main(turns=5):
    machine = measure.machine()
    measure.unpack_package()
    data.write(SOURCE)
    samples = measure.interleave([KEPT, *MASKED], turns, once)
    SOURCE.unlink()
    OUTPUT.unlink()
    found = {way: measure.summary(samples[way]) for way in samples}
    rows = [["the column that is masked", "CPU s", "lowest to highest", "beyond all kept, ns a value"]]
    for way, figures in found.items():
        low, high = figures["cpu_range"]
        beyond = (figures["cpu"] - found[KEPT]["cpu"]) / data.ROWS * 1e9
        rows.append([f"`{way}`", f"{figures['cpu']:.2f}", f"{low:.2f} to {high:.2f}", f"{beyond:.0f}"])
    text = (f"{data.ROWS:,} rows, one thread, medians of {turns} runs in turns.\n{measure.machine_text(machine)}\n\n"
            f"{measure.table(rows)}")
    measure.keep("columns", {"machine": machine, "ways": found}, text)


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
