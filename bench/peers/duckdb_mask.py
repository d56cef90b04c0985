"""Masks the file with DuckDB: duckdb_mask.py PROFILE IN OUT

DuckDB has no HMAC of its own. It is put together from its sha256, as RFC 2104 says; `prefix` in front of a profile's
name ("prefix-a") has the key hashed in front of the value instead, which costs half and lets whoever knows a hash
lengthen the value.
"""

import os
import sys

import duckdb

BLOCK = 64  # bytes of a block of SHA-256
HMAC = "sha256(unhex('{outer}') || unhex(sha256(unhex('{inner}') || encode(x))))"
PREFIX = "sha256('{key}' || x)"
NUMBER = "('0x' || substr(keyed(x), 1, 15))::ubigint"
PLACES = [f"(x // {10**place} % 10)" for place in range(15)]
DOUBLED = [f"({digit} * 2 - 9 * ({digit} > 4)::int)" for digit in PLACES[::2]]
MACROS = {
    "number(x)": NUMBER,
    "digits(x, count)": f"lpad(({NUMBER} % (10 ** count)::ubigint)::varchar, count, '0')",
    "hashed(x)": "substr(keyed(x), 1, 32)",
    "address(x)": "hashed(x) || '@example.com'",
    "phone(x)": "regexp_replace(digits(x, 11), '(..)(..)(.*)', '+\\1 \\2 \\3')",
    # Of a number of 15 digits, behind which it goes.
    "with_luhn_digit(x)": f"(x * 10 + (10 - ({' + '.join(DOUBLED + PLACES[1::2])}) % 10) % 10)::varchar",
    "masked(x, kept)": "repeat('*', length(x) - kept) || right(x, kept)",
    "days(x)": f"({NUMBER} % 60)::integer - 30",
    "shifted(x)": "(x::date + days(x) + (days(x) >= 0)::integer)::varchar",
}
COLUMNS = {
    "keep": "*",
    "a": "id, hashed(name) AS name, address(email) AS email, masked(phone, 2) AS phone, masked(card, 4) AS card, "
         "shifted(born) AS born, city, NULL AS note",
    "b": "id, hashed(name) AS name, address(email) AS email, phone(phone) AS phone, "
         "with_luhn_digit((substr(card, 1, 6) || digits(card, 9))::bigint) AS card, shifted(born) AS born, city, hashed(note) AS note",
}


def padded(key, byte):
    return bytes(a ^ byte for a in key.ljust(BLOCK, b"\0")).hex()


def keyed(key, prefix):
    if prefix:
        return PREFIX.format(key=key.decode().replace("'", "''"))
    return HMAC.format(outer=padded(key, 0x5C), inner=padded(key, 0x36))


def main(profile, source, target):
    prefix = profile.startswith("prefix-")
    connection = duckdb.connect()
    macros = {"keyed(x)": keyed(os.environb[b"MASK_KEY"], prefix), **MACROS}
    for name, body in macros.items():
        connection.execute(f"CREATE MACRO {name} AS {body}")
    connection.execute(f"COPY (SELECT {COLUMNS[profile.removeprefix('prefix-')]} FROM "
                       f"read_csv('{source}', header = true, delim = ',', quote = '\"', all_varchar = true)) "
                       f"TO '{target}' (FORMAT csv, HEADER)")


if __name__ == "__main__":
    main(*sys.argv[1:])
