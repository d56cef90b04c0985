"""Masks the file with polars and its hash plug-in: polars_mask.py PROFILE IN OUT"""

import os
import sys

import polars as pl
import polars_hash as plh

KEY = os.environ["MASK_KEY"]


def keyed(name):
    return plh.col(name).chash.hmac_sha256(key=KEY)


def number(name):
    return keyed(name).str.slice(0, 15).str.to_integer(base=16)


def digits(name, count):
    return (number(name) % 10**count).cast(pl.String).str.zfill(count)


def hashed(name):
    return keyed(name).str.slice(0, 32).alias(name)


def address(name):
    return (hashed(name) + "@example.com").alias(name)


def phone(name):
    number = digits(name, 11)
    return ("+" + number.str.slice(0, 2) + " " + number.str.slice(2, 2) + " " + number.str.slice(4)).alias(name)


def card_number(name):
    return (pl.col(name).str.head(6) + digits(name, 9)).cast(pl.UInt64).alias(name)


def with_luhn_digit(name):
    """Behind a number of 15 digits."""
    number = pl.col(name)
    places = [number // 10**place % 10 for place in range(15)]
    doubled = [2 * digit - 9 * (digit > 4) for digit in places[::2]]
    check = (10 - sum(doubled + places[1::2]) % 10) % 10
    return (number * 10 + check).cast(pl.String).alias(name)


def shifted(name):
    shift = number(name) % 60 - 30
    days = shift + (shift >= 0)
    return (pl.col(name).str.to_date("%Y-%m-%d") + pl.duration(days=days)).dt.to_string("%Y-%m-%d").alias(name)


def partial(name, kept):
    return pl.col(name).str.tail(kept).str.pad_start(pl.col(name).str.len_chars(), "*")


# What is done one after the other.
PROFILES = {
    "keep": [],
    "a": [[hashed("name"), address("email"), partial("phone", 2), partial("card", 4), shifted("born"),
           pl.lit(None, pl.String).alias("note")]],
    "b": [[hashed("name"), address("email"), phone("phone"), card_number("card"), shifted("born"), hashed("note")],
          [with_luhn_digit("card")]],
}


def main(profile, source, target):
    rows = pl.scan_csv(source, infer_schema=False)
    for columns in PROFILES[profile]:
        rows = rows.with_columns(columns)
    rows.sink_csv(target)


if __name__ == "__main__":
    main(*sys.argv[1:])
