"""What a run on ten rows costs, and what each thing gives that makes it start faster: start.py [TURNS]

`scripts/bench start` builds what this needs.
"""

import sys

import measure

sys.path.insert(0, str(measure.ROOT / "bench" / "peers"))

import data

SOURCE, OUTPUT = measure.WORK / "start.csv", measure.WORK / "start.out"
RULES = measure.ROOT / "bench" / "peers" / "a.rules"
AS_IT_IS, BOTH_COMPILERS, SERIAL = "velk mask", "with both compilers", "with the serial collector"
NO_ARCHIVE, UNPACKED, NEITHER = "without the class archive", "libraries unpacked from the jar", "with none of these"
JVM = "Java alone: java --version"
OPTIONS = {BOTH_COMPILERS: "-XX:TieredStopAtLevel=4", SERIAL: "-XX:+UseSerialGC", NEITHER: "-XX:TieredStopAtLevel=4"}


def once(way):
    if way == JVM:
        return measure.run([measure.JAVA / "bin" / "java", "--version"])
    environment = {**measure.ENVIRONMENT, "VELK_JAVA_OPTIONS": OPTIONS.get(way, "")}
    if way in (NO_ARCHIVE, NEITHER):
        environment["VELK_CLASS_ARCHIVES"] = ""
    if way in (UNPACKED, NEITHER):
        environment["VELK_JAVA_OPTIONS"] += " -Dvelk.library.packaged=/nowhere"
    command = [measure.PACKAGE / "bin" / "velk", "mask", "--quiet", "--rules", RULES, SOURCE, OUTPUT]
    return measure.run(command, environment)


def main(turns=15):
    machine = measure.machine()
    measure.unpack_package()
    data.write(SOURCE, 10)
    ways = [AS_IT_IS, BOTH_COMPILERS, SERIAL, NO_ARCHIVE, UNPACKED, NEITHER, JVM]
    samples = measure.interleave(ways, turns, once)
    found = {way: measure.summary(samples[way]) for way in ways}
    rows = [["ten rows by profile A", "CPU s", "lowest to highest", "wall s", "resident MB"]]
    for way, figures in found.items():
        low, high = figures["cpu_range"]
        rows.append([way, f"{figures['cpu']:.3f}", f"{low:.3f} to {high:.3f}", f"{figures['wall']:.3f}",
                     f"{figures['resident']:.0f}"])
    text = f"Medians of {turns} runs in turns.\n{measure.machine_text(machine)}\n\n{measure.table(rows)}"
    measure.keep("start", {"machine": machine, "ways": found}, text)


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
