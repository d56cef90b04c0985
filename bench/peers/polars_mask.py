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


def shifted(name):
    shift = number(name) % 60 - 30
    days = shift + (shift >= 0)
    return (pl.col(name).str.to_date("%Y-%m-%d") + pl.duration(days=days)).dt.to_string("%Y-%m-%d").alias(name)


def partial(name, kept):
    return pl.col(name).str.tail(kept).str.pad_start(pl.col(name).str.len_chars(), "*")


PROFILES = {
    "keep": [],
    "a": [hashed("name"), address("email"), partial("phone", 2), partial("card", 4), shifted("born"),
          pl.lit(None, pl.String).alias("note")],
    "b": [hashed("name"), address("email"), ("+" + digits("phone", 11)).alias("phone"),
          (pl.col("card").str.head(6) + digits("card", 10)).alias("card"), shifted("born"), hashed("note")],
}


def main(profile, source, target):
    pl.scan_csv(source, infer_schema=False).with_columns(PROFILES[profile]).sink_csv(target)


if __name__ == "__main__":
    main(*sys.argv[1:])
