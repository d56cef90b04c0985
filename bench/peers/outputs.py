"""What must hold of every output: nothing that is measured may have done less than its work."""

import csv
import datetime
import hashlib
import hmac
import itertools
import sys

from data import luhn_digit

LOOKED_AT = 10_000  # rows that are compared value by value


def digest(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def line_count(path):
    with open(path, "rb") as file:
        return sum(block.count(b"\n") for block in iter(lambda: file.read(1 << 20), b""))


def require(holds, what):
    if not holds:
        sys.exit(f"peers: {what}")


def rows(path):
    with open(path, encoding="utf-8", newline="") as file:
        yield from itertools.islice(csv.DictReader(file), LOOKED_AT)


class Plain:
    """The two profiles as the peers have them, once more, by Python's own HMAC."""

    def __init__(self, key):
        self.key = key

    def keyed(self, text):
        return hmac.digest(self.key, text.encode(), "sha256").hex()

    def number(self, text):
        return int(self.keyed(text)[:15], 16)

    def shifted(self, text):
        days = self.number(text) % 60 - 30
        return str(datetime.date.fromisoformat(text) + datetime.timedelta(days + (days >= 0)))

    def masked(self, row, profile):
        hashed = {"name": self.keyed(row["name"])[:32], "email": self.keyed(row["email"])[:32] + "@example.com",
                  "born": self.shifted(row["born"])}
        if profile == "a":
            return {**row, **hashed, "phone": "*" * (len(row["phone"]) - 2) + row["phone"][-2:],
                    "card": "*" * (len(row["card"]) - 4) + row["card"][-4:], "note": ""}
        digits = f"{self.number(row['phone']) % 10**11:011}"
        card = f"{row['card'][:6]}{self.number(row['card']) % 10**9:09}"
        return {**row, **hashed, "phone": f"+{digits[:2]} {digits[2:4]} {digits[4:]}",
                "card": f"{card}{luhn_digit(card)}", "note": row["note"] and self.keyed(row["note"])[:32]}


def check_plain(source, output, profile, key):
    plain = Plain(key)
    for number, (before, after) in enumerate(zip(rows(source), rows(output), strict=True), 1):
        require(after == plain.masked(before, profile), f"{output}: row {number} is not masked as it should be")


def check_masked(source, output, profile):
    """For a command whose functions are its own: what is kept stays, and everything else is another value."""
    for number, (before, after) in enumerate(zip(rows(source), rows(output), strict=True), 1):
        for name, value in before.items():
            if name in ("id", "city") or value == "":
                require(after[name] == value, f"{output}: row {number}, {name} was not kept")
            elif name == "note" and profile == "a":
                require(after[name] == "", f"{output}: row {number}, {name} was not emptied")
            else:
                require(after[name] not in ("", value), f"{output}: row {number}, {name} was not masked")
