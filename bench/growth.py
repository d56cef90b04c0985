"""How time and memory of `velk mask` grow with rows, columns and the length of cells: growth.py [RUNS]

In each table one of the three grows; half of the columns are hashed, half kept. `scripts/bench growth` builds what
this needs.
"""

import sys

import measure

SOURCE, OUTPUT, RULES = (measure.WORK / name for name in ("growth.csv", "growth.out", "growth.rules"))
TEXT = "Some text of a customer that is long enough. "
BYTES = 40_000_000  # of a table that has as many rows as it takes


def cell(row, column, length):
    """Differs from cell to cell where there is room for it."""
    number = str(row * 31 + column)
    if length <= len(number):
        return number[-length:]
    return number + (TEXT * (length // len(TEXT) + 1))[:length - len(number)]


def write_table(rows, columns, length):
    block = []
    with SOURCE.open("w") as file:
        file.write(",".join(f"c{column}" for column in range(columns)) + "\n")
        for row in range(rows):
            block.append(",".join(cell(row, column, length) for column in range(columns)) + "\n")
            if len(block) * columns * length > 1 << 20:
                file.write("".join(block))
                block.clear()
        file.write("".join(block))
    rules = [f"c{column} = {'hash' if column % 2 == 0 else 'keep'}" for column in range(columns)]
    RULES.write_text("\n".join(["service = growth key = env:MASK_KEY", *rules]) + "\n")


def measure_table(rows, columns, length, runs):
    write_table(rows, columns, length)
    command = [measure.PACKAGE / "bin" / "velk", "mask", "-q", "-j", "1", "-r", RULES, SOURCE, OUTPUT]
    samples = []
    for _ in range(runs):
        samples.append(measure.run(command))
        if sum(1 for _ in OUTPUT.open("rb")) != rows + 1:
            sys.exit("growth: rows are lost")
        OUTPUT.unlink()
    size = SOURCE.stat().st_size
    SOURCE.unlink()
    return {"rows": rows, "columns": columns, "cell": length, "bytes": size, **measure.summary(samples)}


def fitting(columns, length):
    """Rows of a table of BYTES."""
    return max(4, BYTES // (columns * (length + 1)))


SHAPES = {
    "rows": [(10**power, 4, 10) for power in (4, 5, 6, 7)],
    "columns": [(fitting(columns, 10), columns, 10) for columns in (1, 10, 100, 1000)],
    "bytes of a cell": [(fitting(2, length), 2, length) for length in (1, 10, 100, 10_000, 1_000_000, 4_000_000)],
}


def growth_table(grown, tables, start):
    """Time per byte is that beyond the start of the command, which is the same for all."""
    rows = [[grown, "rows", "columns", "cell", "MB", "CPU s", "ns per byte", "resident MB"]]
    for table in tables:
        beyond = max(0, table["cpu"] - start) / table["bytes"] * 1e9
        what = {"rows": "rows", "columns": "columns"}.get(grown, "cell")
        rows.append([f"{table[what]:,}", f"{table['rows']:,}", f"{table['columns']:,}", f"{table['cell']:,}",
                     f"{table['bytes'] / 1e6:.1f}", f"{table['cpu']:.2f}", f"{beyond:.1f}", f"{table['resident']:.0f}"])
    return measure.table(rows)


def main(runs=3):
    machine = measure.machine()
    measure.unpack_package()
    start = measure_table(1, 4, 10, 5)["cpu"]
    found = {grown: [measure_table(*shape, runs) for shape in shapes] for grown, shapes in SHAPES.items()}
    RULES.unlink()
    head = (f"One thread; medians of {runs} runs; the command's start, {start:.2f} s of CPU, is not part of the time "
            f"per byte.\n{measure.machine_text(machine)}")
    tables = [growth_table(grown, tables, start) for grown, tables in found.items()]
    measure.keep("growth", {"machine": machine, "start": start, "tables": found}, "\n\n".join([head, *tables]))


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
