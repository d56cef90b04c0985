"""What the finished libraries must show: the natives of the bridge and of the bulk lane, the operations of the engine."""

import pathlib
import re

FOLDER = pathlib.Path(__file__).resolve().parent
ROOT = FOLDER.parents[1]
ENGINE = ["VELKProvider", "VELKParser", "VELKAdapter", "VELKDataCnvLib"]
ALL = [*ENGINE, "VELKJNI", "VELKBulk"]


def natives():
    return sorted((FOLDER / "bridge_exports.txt").read_text().split())


def bulk_natives():
    return sorted((FOLDER / "bulk_exports.txt").read_text().split())


def operations(library):
    """{ordinal: name} of the engine library's operations. The numbers belong to the engine and never change."""
    lines = map(str.split, (FOLDER / "engine_operations.txt").read_text().splitlines())
    return {int(ordinal): name for owner, ordinal, name in lines if owner == library}


def export_list(library):
    """The same as the build has it."""
    text = (ROOT / "include" / "engine" / f"{library}.def").read_text()
    return {int(ordinal): name for name, ordinal in re.findall(r"^\s+(\w+) @(\d+) NONAME$", text, re.MULTILINE)}


def extra_operations(library):
    """What the engine's libraries call of each other, outside the contract."""
    lists = (ROOT / "reference-engine").glob(f"*/{library}.extra.def")
    return [name for path in lists for name in re.findall(r"^ +(\w+)$", path.read_text(), re.MULTILINE)]
