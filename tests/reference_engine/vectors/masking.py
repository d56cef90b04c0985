"""The masking functions a second time, for one value at a time: written to be read beside README.md, not to be fast."""

import datetime
import hashlib
import hmac
import itertools
import pathlib
import re

from cipher import Ff1, number, numerals

ENGINE = pathlib.Path(__file__).resolve().parents[3] / "reference-engine" / "masking"

TOO_LONG = 7502
NOT_OF_TYPE = 7503
DOES_NOT_FIT = 7505
NO_CARD_NUMBER = 7509
NO_ADDRESS = 7510
OUTSIDE_ALPHABET = 7511
TOO_SHORT_TO_ENCRYPT = 7512
TOO_LONG_TO_ENCRYPT = 7513
NO_OTHER_DATE = 7514
OUT_OF_BOUNDS = 7515
OTHER_VALUE_MISSING = 7516
OF_SHORT_LIST = 7517
NO_LIKE = 7520


class Refused(Exception):
    """A value that cannot be masked, by its code."""

    def __init__(self, code):
        super().__init__(code)
        self.code = code


# Keys and draws.

def keyed_hash(key, message):
    return hmac.digest(key, message, "sha256")


def rule_key(key, *parts):
    return keyed_hash(key, b"".join(part.encode() + b"\0" for part in parts))


class Words:
    """Numbers of 32 bits, from a hash."""

    def __init__(self, seed):
        blocks = itertools.chain([seed], (hashlib.sha256(seed + counter.to_bytes(4, "big")).digest()
                                          for counter in itertools.count(1)))
        self.words = (int.from_bytes(block[i:i + 4], "big") for block in blocks for i in range(0, 32, 4))

    def number(self, count):
        """Of so many words, the first of which counts most."""
        return number(itertools.islice(self.words, count), 1 << 32)

    def below(self, size):
        return self.number(1) * size >> 32


class Fractions:
    """Numbers below small sizes, from the words of a hash."""

    def __init__(self, seed):
        self.words = Words(seed)
        self.fraction = 0
        self.spent = None

    def below(self, size):
        if self.spent is None or self.spent * size > 1 << 32:
            self.fraction = self.words.number(2)
            self.spent = 1
        self.spent *= size
        drawn, self.fraction = divmod(self.fraction * size, 1 << 64)
        return drawn


# Types.

class Type:
    def __init__(self, declaration):
        self.name, *sizes = re.findall(r"\w+", declaration)
        self.length, self.scale = (*map(int, sizes), 0, 0)[:2]

    def longest(self):
        """Code points; None where there is no limit."""
        if self.name == "decimal":  # sign and point, a zero before it where it needs one
            return 1 + self.length + (self.scale > 0) + (self.scale == self.length)
        return {"char": self.length, "varchar": self.length, "integer": 20, "date": 10, "timestamp": 35}.get(self.name)

    def is_number(self):
        return self.name in {"integer", "decimal"}

    def holds(self, text):
        return {"integer": is_integer, "decimal": self.is_decimal, "date": is_date,
                "timestamp": is_timestamp}.get(self.name, lambda text: True)(text)

    def is_decimal(self, text):
        parts = re.fullmatch(r"-?([0-9]+)(?:\.([0-9]+))?", text)
        return bool(parts) and (len(parts[1].lstrip("0")) <= self.length - self.scale
                                and len(parts[2] or "") <= self.scale)

    def largest(self, negative, fraction):
        """What a number of so many digits behind the point can be, its point and sign left out."""
        if self.name == "integer":
            return 2**63 - (0 if negative else 1)
        return 10 ** (self.length - self.scale + fraction) - 1


def is_integer(text):
    return bool(re.fullmatch("-?[0-9]+", text)) and -2**63 <= int(text) < 2**63


def is_date(text):
    try:
        return bool(re.fullmatch("[0-9]{4}-[0-9]{2}-[0-9]{2}", text) and datetime.date.fromisoformat(text))
    except ValueError:
        return False


def is_timestamp(text):
    clock = r"([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9](\.[0-9]{1,9})?"
    zone = r"(Z|[+-]([01][0-9]|2[0-3])(:[0-5][0-9])?)?"
    return is_date(text[:10]) and bool(re.fullmatch("[ T]" + clock + zone, text[10:]))


# The functions: each takes the service's key, a value and the rule's arguments.

def runs(name, kind):
    """Of a table of the engine's, with the code points that each line speaks of."""
    for first, last, what in re.findall(r"\{0x(\w+), 0x(\w+), " + kind, (ENGINE / name).read_text()):
        yield range(int(first, 16), int(last, 16) + 1), what


CLASSES = {}  # of each code point
MEMBERS = {}  # of each class
for run, of in runs("unicode_classes.inc", r"(\d+), \d+\}"):
    CLASSES.update(dict.fromkeys(run, of))
    MEMBERS.setdefault(of, []).extend(run)
STAYING = "0"


def zeros_and_sign(value):
    """How many characters of a number stay; None of what is no number."""
    if not re.fullmatch(r"-?(0|[1-9][0-9]*|[0-9]+\.[0-9]+)", value):
        return None
    return min(len(re.match(r"-?[0.]*", value)[0]), len(value) - 1)


def exchanged(draws, value):
    kept = zeros_and_sign(value)
    result = "" if kept is None else value[:kept] + str(1 + draws.below(9))
    for character in value[len(result):]:
        of = CLASSES.get(ord(character))
        if of is None:
            raise Refused(NO_LIKE)
        result += character if of == STAYING else chr(MEMBERS[of][draws.below(len(MEMBERS[of]))])
    return result


ONLY_OTHER = 2  # one place with two choices: the value could become one other alone


def choices(value):
    """What all places of a value could become, together."""
    kept = zeros_and_sign(value)
    first = 0 if kept is None else 9
    places = [MEMBERS[CLASSES[ord(character)]] for character in value[0 if kept is None else kept + 1:]
              if CLASSES.get(ord(character), STAYING) != STAYING]
    return first + sum(map(len, places))


def has_19_digits_in_64_bits(text):
    return bool(re.fullmatch("-?[0-9]{19}", text)) and is_integer(text)


def classes(key, value, scope="classes", **_):
    draws = Fractions(keyed_hash(rule_key(key, "classes", scope), value.encode()))
    if choices(value) == ONLY_OTHER:
        raise Refused(NO_LIKE)
    can_change = any(CLASSES.get(ord(character)) != STAYING for character in value)
    while True:
        result = exchanged(draws, value)
        fits = has_19_digits_in_64_bits(result) or not has_19_digits_in_64_bits(value)
        if not can_change or result != value and fits:
            return result


def hash_(key, value, length=32, scope="hash", **_):
    own_key = rule_key(key, "hash", scope)
    digest = keyed_hash(own_key, value.encode())
    while digest.hex()[:length] == value:
        digest = keyed_hash(own_key, digest)
    return digest.hex()[:length]


def is_dotted(text, longest):
    """Parts between single dots, without what separates addresses, quotes, controls and invisible characters."""
    parts = r"[^.\x00-\x20\"(),:;<>@\[\\\]\x7f-\xa0\u2000-\u206f\u3000]+"
    return len(text) <= longest and bool(re.fullmatch(rf"{parts}(\.{parts})*", text))


NAME_CHARACTERS = "abcdefghijklmnopqrstuvwxyz0123456789"


def half_name(draws, first_characters):
    """Six characters that are the digits of one number, the last one counting most."""
    sizes = [first_characters, 36, 36, 36, 36, 36]
    drawn = draws.below(first_characters * 36**5)
    half = ""
    for size in sizes:
        drawn, digit = divmod(drawn, size)
        half += NAME_CHARACTERS[digit]
    return half


def email(key, value, domain="example.com", scope="email", **_):
    name, _, of = value.partition("@")
    if not is_dotted(name, 64) or not is_dotted(of, 253):
        raise Refused(NO_ADDRESS)
    draws = Fractions(keyed_hash(rule_key(key, "email", scope, domain), value.encode()))
    while True:
        result = half_name(draws, 26) + half_name(draws, 36) + "@" + domain
        if result != value:
            return result


def entries_of(name):
    return (ENGINE / "lists" / f"{name}.txt").read_text(encoding="utf-8").splitlines()


def dictionary(key, value, scope="dict", **source):
    entries = source["file"] if "file" in source else entries_of(source["list"])
    contents = hashlib.sha256("".join(entry + "\n" for entry in entries).encode()).hexdigest()
    if value in entries and len(set(entries)) < 10:
        raise Refused(OF_SHORT_LIST)
    place = Words(keyed_hash(rule_key(key, "dict", scope, contents), value.encode())).below(len(entries))
    return next(entry for entry in entries[place:] + entries[:place] if entry != value)


def day_of(date):
    return datetime.date.fromisoformat(date).toordinal()


def moved_by_itself(key, date, days, bounds, scope):
    draws = Words(keyed_hash(rule_key(key, "dateshift", scope, str(days), *bounds), date.encode()))
    day, least, most = map(day_of, [date, *bounds])
    first, last = max(day - days, least), min(day + days, most)
    choices = [choice for choice in range(first, last + 1) if choice != day]
    if not choices:
        raise Refused(NO_OTHER_DATE)
    return choices[draws.below(len(choices))]


def moved_with_others(key, date, days, bounds, scope, other):
    if not other:
        raise Refused(OTHER_VALUE_MISSING)
    draws = Words(keyed_hash(rule_key(key, "dateshift", scope, str(days), "by"), other.encode()))
    drawn = draws.below(2 * days)
    day = day_of(date) + (drawn - days if drawn < days else drawn - days + 1)
    if not day_of(bounds[0]) <= day <= day_of(bounds[1]):
        raise Refused(OUT_OF_BOUNDS)
    return day


def dateshift(key, value, days, scope="dateshift", by=None, other=None, **arguments):
    date = value[:10]
    bounds = [arguments.get("min", "0001-01-01"), arguments.get("max", "9999-12-31")]
    if by is None:
        day = moved_by_itself(key, date, days, bounds, scope)
    else:
        day = moved_with_others(key, date, days, bounds, scope, other)
    return datetime.date.fromordinal(day).isoformat() + value[10:]


def plain(sign, whole, fraction):
    """A number without what its spelling adds."""
    whole = whole.lstrip("0") or "0"
    fraction = fraction.rstrip("0")
    if (whole, fraction) == ("0", ""):
        return "0"
    return sign + whole + ("." + fraction if fraction else "")


def moved(value, type, largest, percent, seed):
    move = max(value * percent // 100, 1)
    first = value - move if value > move else min(value, 1)
    last = min(value + move, largest)
    if value + move > largest:  # the limit decides as well
        digits = 1001 if type.name == "integer" else type.length - type.scale
        seed = hashlib.sha256(seed + digits.to_bytes(2, "big")).digest()
    words = Words(seed)
    choices = last - first  # from first to last, the value itself left out
    if choices == 0:
        raise Refused(DOES_NOT_FIT)
    count = 4 if value < 2**63 else -(-len(str(value)) // 9) + 2
    result = first + (words.number(count) * choices >> 32 * count)
    return result + 1 if result >= value else result


def noise(key, value, percent, type, scope="noise", **_):
    sign, whole, fraction = re.fullmatch(r"(-?)([0-9]+)\.?([0-9]*)", value).groups()
    seed = keyed_hash(rule_key(key, "noise", scope, str(percent)), plain(sign, whole, fraction).encode())
    largest = type.largest(bool(sign), len(fraction))
    result = moved(int(whole + fraction), type, largest, percent, seed)
    width = (len(whole) if whole.startswith("0") else 1) + len(fraction)
    digits = str(result).rjust(width, "0")
    point = len(digits) - len(fraction)
    return sign + digits[:point] + ("." + digits[point:] if fraction else "")


SEPARATOR = re.compile(r"[ -/:-@\[-`{-~]")  # the blank and the punctuation of ASCII


def replaced(value, alphabet, characters):
    """The value with other characters in the places of those of the alphabet."""
    characters = iter(characters)
    return "".join(next(characters) if character in alphabet else character for character in value)


def check_digit(digits):
    doubled = [2 * digit - (9 if digit > 4 else 0) for digit in digits[::-2]]
    return -(sum(doubled) + sum(digits[-2::-2])) % 10


def card(key, value, keep_first=0, scope="card", **_):
    digits = [int(character) for character in value if character in "0123456789"]
    others = re.sub("[0-9]", "", value)
    if SEPARATOR.sub("", others) or not max(12, keep_first + 7) <= len(digits) <= 19:
        raise Refused(NO_CARD_NUMBER)
    kept, hidden = digits[:keep_first], digits[keep_first:-1]
    permutation = Ff1(rule_key(key, "card", scope, str(keep_first)), 10, bytes(kept))
    following = (number(permutation.encrypt(hidden), 10) + 1) % 10 ** len(hidden)
    result = kept + permutation.decrypt(numerals(following, 10, len(hidden)))
    return replaced(value, "0123456789", map(str, result + [check_digit(result)]))


LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
ALPHABETS = {"digits": "0123456789", "letters": LETTERS, "alphanumeric": "0123456789" + LETTERS}


def ff1(key, value, alphabet="digits", scope="ff1", **_):
    alphabet = ALPHABETS.get(alphabet, alphabet)
    radix = len(alphabet)
    plain_numerals = [alphabet.index(character) for character in value if character in alphabet]
    if any(character not in alphabet and not SEPARATOR.fullmatch(character) for character in value):
        raise Refused(OUTSIDE_ALPHABET)
    if len(plain_numerals) < 2 or radix ** len(plain_numerals) < 1_000_000:
        raise Refused(TOO_SHORT_TO_ENCRYPT)
    if len(plain_numerals) > 256:
        raise Refused(TOO_LONG_TO_ENCRYPT)
    encrypted = Ff1(rule_key(key, "ff1", scope, alphabet), radix).encrypt(plain_numerals)
    return replaced(value, alphabet, (alphabet[numeral] for numeral in encrypted))


BREAKS = {code_point: kind for run, kind in runs("grapheme_breaks.inc", r"Break::(\w+)\}") for code_point in run}
EXTENDING = {"extend", "joiner", "linker"}
SYLLABLES = {"leading": {"leading", "vowel", "leading_vowel", "leading_trailing"},
             "vowel": {"vowel", "trailing"}, "leading_vowel": {"vowel", "trailing"},
             "trailing": {"trailing"}, "leading_trailing": {"trailing"}}


def break_of(character):
    code_point = ord(character)
    if 0xAC00 <= code_point <= 0xD7A3:
        return "leading_trailing" if (code_point - 0xAC00) % 28 else "leading_vowel"
    return BREAKS.get(code_point, "other")


def is_joined(kinds, following):
    """Whether a character goes on behind those before it, as Unicode's annex 29 says; line ends are no case here."""
    last = kinds[-1]
    if "control" in (last, following):
        return False
    base = next((kind for kind in reversed(kinds) if kind not in EXTENDING), None)
    extenders = list(itertools.takewhile(EXTENDING.__contains__, reversed(kinds)))
    flags = len(list(itertools.takewhile("flag".__eq__, reversed(kinds))))
    return (following in EXTENDING or last == "prepend" or following in SYLLABLES.get(last, ())
            or following == base == "consonant" and "linker" in extenders
            or following == base == "pictograph" and last == "joiner"
            or following == "flag" and flags % 2 == 1)


def partial(value, keep_first=0, keep_last=0, hide_least=4, **arguments):
    kinds = [break_of(character) for character in value]
    count = len(value)
    starts = [at for at in range(count) if at == 0 or not is_joined(kinds[:at], kinds[at])] + [count]
    begin = max(start for start in starts if start <= keep_first)
    end = min(start for start in starts if start >= count - keep_last)
    if begin + hide_least > end:
        begin, end = 0, count
    return value[:begin] + arguments.get("with", "*") * (end - begin) + value[end:]


# A value in its column.

KEYED = {"classes": classes, "hash": hash_, "email": email, "dict": dictionary, "dateshift": dateshift, "noise": noise,
         "card": card, "ff1": ff1}


def apply(function, arguments, key, value, type, other):
    if function == "null":
        return None
    if function == "fixed":
        return arguments["text"]
    if function == "keep" or value == "":
        return value
    if function == "partial":
        return partial(value, **arguments)
    return KEYED[function](key, value, type=type, other=other, **arguments)


def check(value, type):
    if value and type.longest() is not None and len(value) > type.longest():
        raise Refused(TOO_LONG)
    if value and not type.holds(value):
        raise Refused(NOT_OF_TYPE)


def mask(function, arguments, type, key, value, by_value=None, on_null="keep"):
    """The masked value, or None for null; by_value is that of the column which the rule's `by` names. Raises Refused."""
    if value is None and on_null == "keep":
        return None
    type = Type(type)
    check(value or "", type)
    result = apply(function, arguments, key.encode(), value or "", type, by_value)
    if value is None and result == "":
        return None
    if result and type.is_number() and (not type.holds(result) or len(result) > type.longest()):
        raise Refused(DOES_NOT_FIT)
    return result
