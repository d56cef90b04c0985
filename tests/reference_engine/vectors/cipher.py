"""AES-256 and FF1 as their standards write them down, to be read and not to be fast."""

import functools
import math


def times_x(byte):
    """In the field of 256 elements, modulo x^8 + x^4 + x^3 + x + 1."""
    return byte << 1 ^ (0x11B if byte & 0x80 else 0)


def times(a, b):
    product = 0
    for bit in range(8):
        if b >> bit & 1:
            product ^= a
        a = times_x(a)
    return product


def substitute(byte):
    inverse = next((other for other in range(256) if times(byte, other) == 1), 0)
    result = 0x63
    for turn in range(5):
        result ^= (inverse << turn | inverse >> (8 - turn)) & 0xFF
    return result


SUBSTITUTES = bytes(map(substitute, range(256)))
ROUNDS = 14  # for a key of 32 bytes


def exclusive_or(a, b):
    return bytes(x ^ y for x, y in zip(a, b))


@functools.lru_cache
def round_keys(key):
    words = [key[i:i + 4] for i in range(0, 32, 4)]
    constant = 1
    while len(words) < 4 * (ROUNDS + 1):
        word = words[-1]
        if len(words) % 8 == 0:
            word = (word[1:] + word[:1]).translate(SUBSTITUTES)
            word = exclusive_or(word, bytes([constant, 0, 0, 0]))
            constant = times_x(constant)
        elif len(words) % 8 == 4:
            word = word.translate(SUBSTITUTES)
        words.append(exclusive_or(words[-8], word))
    return [b"".join(words[i:i + 4]) for i in range(0, len(words), 4)]


def shift_rows(state):
    """Columns stand one behind the other."""
    return bytes(state[(i + 4 * (i % 4)) % 16] for i in range(16))


def mix_columns(state):
    mixed = []
    for start in range(0, 16, 4):
        column = state[start:start + 4]
        for a, b, c, d in (column[i:] + column[:i] for i in range(4)):
            mixed.append(times_x(a) ^ times_x(b) ^ b ^ c ^ d)
    return bytes(mixed)


def aes256(key, block):
    first, *middle, last = round_keys(key)
    state = exclusive_or(block, first)
    for round_key in middle:
        state = exclusive_or(mix_columns(shift_rows(state.translate(SUBSTITUTES))), round_key)
    return exclusive_or(shift_rows(state.translate(SUBSTITUTES)), last)


def number(numerals, radix):
    """The first one counts most."""
    return functools.reduce(lambda value, numeral: value * radix + numeral, numerals, 0)


def numerals(value, radix, count):
    result = []
    for _ in range(count):
        value, numeral = divmod(value, radix)
        result.append(numeral)
    return result[::-1]


class Ff1:
    """NIST SP 800-38G; the names of variables are the standard's."""

    def __init__(self, key, radix, tweak=b""):
        self.key, self.radix, self.tweak = key, radix, tweak

    def chained(self, blocks):
        state = bytes(16)
        for start in range(0, len(blocks), 16):
            state = aes256(self.key, exclusive_or(state, blocks[start:start + 16]))
        return state

    def round_number(self, i, half, n):
        v = n - n // 2
        b = math.ceil((self.radix ** v - 1).bit_length() / 8)
        d = 4 * math.ceil(b / 4) + 4
        p = (bytes([1, 2, 1]) + self.radix.to_bytes(3, "big") + bytes([10, n // 2 % 256]) + n.to_bytes(4, "big")
             + len(self.tweak).to_bytes(4, "big"))
        q = (self.tweak + bytes(-(len(self.tweak) + b + 1) % 16) + bytes([i])
             + number(half, self.radix).to_bytes(b, "big"))
        r = s = self.chained(p + q)
        for j in range(1, math.ceil(d / 16)):
            s += aes256(self.key, exclusive_or(r, j.to_bytes(16, "big")))
        return int.from_bytes(s[:d], "big")

    def encrypt(self, plain):
        n, u = len(plain), len(plain) // 2
        a, b = plain[:u], plain[u:]
        for i in range(10):
            m = u if i % 2 == 0 else n - u
            c = (number(a, self.radix) + self.round_number(i, b, n)) % self.radix ** m
            a, b = b, numerals(c, self.radix, m)
        return a + b

    def decrypt(self, encrypted):
        n, u = len(encrypted), len(encrypted) // 2
        a, b = encrypted[:u], encrypted[u:]
        for i in reversed(range(10)):
            m = u if i % 2 == 0 else n - u
            c = (number(b, self.radix) - self.round_number(i, a, n)) % self.radix ** m
            a, b = numerals(c, self.radix, m), a
        return a + b
