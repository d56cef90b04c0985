"""The known results: they are what their own program prints, and that program's ciphers are the standards'."""

import pathlib
import re
import subprocess
import sys
import unittest

VECTORS = pathlib.Path(__file__).resolve().parents[1] / "reference_engine" / "vectors"
sys.path.insert(0, str(VECTORS))

from cipher import Ff1, aes256
from masking import keyed_hash, rule_key


def first_difference(committed, printed):
    """Both as lines; None where they are equal."""
    for number, (ours, theirs) in enumerate(zip(committed, printed), 1):
        if ours != theirs:
            return f"line {number}: {ours}\nis printed as {theirs}"
    return None if len(committed) == len(printed) else f"{len(committed)} lines, {len(printed)} are printed"


class KnownResults(unittest.TestCase):
    def test_the_file_is_what_its_program_prints(self):
        printed = subprocess.run([sys.executable, VECTORS / "generate.py"], capture_output=True, check=True).stdout
        committed = (VECTORS / "results.jsonl").read_bytes()
        self.assertTrue(committed.isascii())
        self.assertIsNone(first_difference(committed.splitlines(), printed.splitlines()))
        self.assertEqual(committed, printed)

    def test_a_difference_is_named(self):
        self.assertEqual(first_difference(["a", "b"], ["a", "c"]), "line 2: b\nis printed as c")
        self.assertEqual(first_difference(["a"], ["a", "c"]), "1 lines, 2 are printed")

    def test_the_worked_example_is_right(self):
        page = (VECTORS / "README.md").read_text()
        own_key, digest = re.findall(r"^ +(?:R|H\(R, Anna\)) +([0-9a-f]{64})$", page, re.MULTILINE)
        self.assertEqual(rule_key(b"0123456789abcdef", "hash", "hash").hex(), own_key)
        self.assertEqual(keyed_hash(bytes.fromhex(own_key), b"Anna").hex(), digest)


class PublishedSamples(unittest.TestCase):
    def test_aes(self):
        self.assertEqual(aes256(bytes(range(32)), bytes.fromhex("00112233445566778899aabbccddeeff")).hex(),
                         "8ea2b7ca516745bfeafc49904b496089")

    def test_ff1(self):
        key = bytes.fromhex("2b7e151628aed2a6abf7158809cf4f3cef4359d8d580aa4f7f036d6f04fc6a94")
        for radix, tweak, plain, encrypted in [(10, "", "0123456789", "6657667009"),
                                               (10, "39383736353433323130", "0123456789", "1001623463"),
                                               (36, "3737373770717273373737", "0123456789abcdefghi", "xs8a0azh2avyalyzuwd")]:
            with self.subTest(plain=plain, tweak=tweak):
                cipher = Ff1(key, radix, bytes.fromhex(tweak))
                numerals = [int(character, 36) for character in plain]
                result = [int(character, 36) for character in encrypted]
                self.assertEqual(cipher.encrypt(numerals), result)
                self.assertEqual(cipher.decrypt(result), numerals)


if __name__ == "__main__":
    unittest.main()
