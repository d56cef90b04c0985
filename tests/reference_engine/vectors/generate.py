"""Prints the known results, a case a line: python3 generate.py >results.jsonl

Nothing here asks the engine: the results are worked out by masking.py.
"""

import json
import sys

from masking import LETTERS, Refused, mask

KEY = "0123456789abcdef"
OTHER_KEY = "fedcba9876543210"
KEY_OF_DIGITS = "6f3b0a4de1c29758b06f5e2a91d4c37816af920bd35e7c4480e1f2ad69b7c053"  # 64 bytes, a whole block
LONG_KEY = "a sentence of more than sixty-four bytes is hashed before it is a key of HMAC"

CASES = []


def case(about, function, *values, key=KEY, type="text", by_value=None, on_null="keep", **arguments):
    for value in values:
        line = {"about": about, "function": function, "arguments": arguments, "type": type, "key": key}
        if "by" in arguments:
            line["by_value"] = by_value
        if on_null != "keep":
            line["on_null"] = on_null
        line["value"] = value
        try:
            line["result"] = mask(function, arguments, type, key, value, by_value, on_null)
        except Refused as refused:
            line["error"] = refused.code
        CASES.append(line)


def keys_and_scopes(function, *values, **more):
    """What every keyed function is held to."""
    case("another key", function, *values, key=OTHER_KEY, **more)
    case("a key as long as a block of the hash", function, values[0], key=KEY_OF_DIGITS, **more)
    case("a key longer than a block of the hash", function, values[0], key=LONG_KEY, **more)
    case("another scope", function, *values, scope="people", **more)
    case("a scope beyond ASCII", function, values[0], scope="Zürich 東京", **more)
    case("the scope that holds where none is said", function, values[0], scope=function, **more)
    case("null stays null", function, None, **more)
    case("empty stays empty", function, "", **more)
    case("null is masked as an empty value, of which nothing comes", function, None, on_null="mask", **more)


def plain_functions():
    case("as it is", "keep", "Anna", "", None, "  trailing  ", "e\u0301 \U0001F600")
    case("checked against its type all the same", "keep", "2024-02-30", type="date")
    case("checked against its type all the same", "keep", "1.234", "1.23", "0.05", type="decimal(5,2)")
    case("longer than its column", "keep", "Annabel", type="varchar(6)")
    case("nothing", "null", "Anna", "", None)
    case("nothing", "null", "17", type="integer")
    case("the text, whatever the value", "fixed", "Anna", "", text="gone")
    case("a quote in the text", "fixed", "Anna", text="it's gone")
    case("an empty text", "fixed", "Anna", text="")
    case("a text of a type", "fixed", "2024-02-29", type="date", text="1900-01-01")
    case("null stays null", "fixed", None, text="gone")
    case("null is masked", "fixed", None, on_null="mask", text="gone")


def partial():
    case("nothing kept", "partial", "Anna Smith", "x", "", None)
    case("four hidden at least", "partial", "12345678", "1234567", "1234", keep_last=4)
    case("both ends", "partial", "DE89370400440532013000", "12345678", "1234567890", keep_first=4, keep_last=2)
    case("fewer hidden", "partial", "12345", "1234", keep_last=4, hide_least=1)
    case("more hidden", "partial", "123456789012", "12345678901", keep_last=4, hide_least=8)
    case("more kept than there is", "partial", "Anna", keep_first=10, keep_last=10)
    case("another character", "partial", "Anna Smith", keep_first=1, **{"with": "#"})
    case("a character beyond ASCII", "partial", "Anna Smith", keep_last=1, **{"with": "•"})
    case("a mark stays with its letter", "partial", "Ze\u0301lie Dupont", "Zoe\u0308lle Dupont", keep_first=2)
    case("a mark stays with its letter", "partial", "Dupont Zoe\u0308", "Dupont Zoe\u0308e", keep_last=1)
    case("characters above U+FFFF", "partial", "𝒜nna 𝒮mith", keep_first=1, keep_last=2)
    family = "\U0001F468\u200D\U0001F469\u200D\U0001F467"
    case("emoji joined to one", "partial", family + "abcdef", "abcdef" + family, keep_first=1, keep_last=1)
    case("emoji joined to one", "partial", family + "abcdef", keep_first=5)
    case("an emoji with its skin tone", "partial", "\U0001F44B\U0001F3FDabcdef", keep_first=1)
    case("flags are two letters each", "partial", "\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7abcd", keep_first=3)
    case("flags are two letters each", "partial", "abcd\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", keep_last=3)
    case("syllables of Hangul in parts", "partial", "\u1112\u1161\u11ABabcde", "abcde\u1112\u1161\u11AB",
         keep_first=2, keep_last=2)
    case("a syllable of Hangul with a part behind it", "partial", "하\u11ABabcde", keep_first=1)
    case("consonants joined by a virama", "partial", "\u0915\u094D\u0937abcdef", keep_first=2)
    case("a character for keycaps", "partial", "1\uFE0F\u20E3abcdef", keep_first=1)
    case("longer than its column", "partial", "123456789", type="varchar(8)")
    case("as long as its column", "partial", "\U0001F600" * 8, type="varchar(8)")


def classes():
    case("words and digits", "classes", "Anna Smith, 42 Main St", "anna", "ANNA", "McDonald-O'Neill", "a")
    case("accents", "classes", "Zoë", "Zoe\u0308", "Łódź, Świętokrzyskie", "Ñandú", "Straße", "Çağrı Şahin")
    case("Greek", "classes", "Ελένη Παπαδοπούλου", "Σωκράτης")
    case("Cyrillic", "classes", "Иван Щербаков", "Їжак")
    case("Hebrew and Arabic", "classes", "שרה כהן", "محمد علي", "مُحَمَّد")
    case("Chinese, Japanese, Korean", "classes", "山田太郎", "김민준", "やまだ タロウ", "二〇二四", "𠮷野家")
    case("Devanagari, Thai, Ethiopic", "classes", "हिन्दी", "สมชาย", "አበበ")
    case("several scripts", "classes", "Anna 김민준 山田太郎 ٤٢ \U0001F600", "हिन्दी ½ ♀♂ \U0001F1E9\U0001F1EA")
    case("digits of other scripts", "classes", "٠١٢٣٤٥٦٧٨٩", "१२३", "１２３")
    case("numbers of other kinds", "classes", "①②③④", "Ⅷ", "½ ¼", "x²³", "²³¹")
    case("symbols", "classes", "♀♂", "a+b=c<d", "µ", "⠃⠗⠁⠊⠇⠇⠑", "©®")
    case("emoji", "classes", "\U0001F600", "\U0001F44B\U0001F3FD", "\U0001F468\u200D\U0001F469\u200D\U0001F467")
    case("marks", "classes", "a\u0301\u0302", "\u0301")
    case("private use", "classes", "\uE000\uF8FF", "\U000F0000")
    case("what stays", "classes", " ", "-", "...", "€ $ £", "(+-/)", "\u00AD\u200B", "\t\u00A0\u3000")
    case("one other alone", "classes", "ª", "(^)", "々")
    case("integers", "classes", *"0123456789", "10", "42", "1002", "100000", "-1", "-0", "-17")
    case("decimals", "classes", "-1002.10", "0.5", "0.00", "0.007", "-0.10", "3.14159", "00.5", "100.00")
    case("no numbers", "classes", "0000000007", "00", "007", "-007", "1.", ".5", "1.2.3", "--1", "1e5", "+1", "1,000")
    case("19 digits that fit into 64 bits", "classes", "9223372036854775807", "-9223372036854775808",
         "1000000000000000000", "-1000000000000000001", "5000000000000000000", "8999999999999999999")
    case("drawn again, because the first result did not fit", "classes", "1264567890123456789", "-1284567890123456789")
    case("19 digits that do not", "classes", "9223372036854775808", "-9223372036854775809", "9999999999999999999")
    case("more words than a hash has", "classes", "The quick brown fox jumps over the lazy dog. " * 5, "9" * 200)
    case("in a column of integers", "classes", "42", "-17", "9223372036854775807", "007", type="integer")
    case("digits that are exchanged for too large an integer", "classes", "00000000000000000042",
         "00000000000000000007", type="integer")
    case("in a column of decimals", "classes", "0.50", "-123.45", "1", type="decimal(5,2)")
    case("no integer", "classes", "1.5", "abc", "9223372036854775808", "+5", type="integer")
    case("no decimal of the type", "classes", "1234.5", "1.234", "1.", ".5", type="decimal(5,2)")
    case("longer than any integer", "classes", "000000000000000000007", type="integer")
    case("longer than its column", "classes", "Annabel", type="char(6)")
    case("as long as its column", "classes", "\U0001F600\U0001F601", type="char(2)")
    case("a character that is not assigned", "classes", "Anna \u0378", "\U000E0FFF")
    case("a character without a like", "classes", "Anna\u0001", "\u0E3F 5 \u01BB")
    keys_and_scopes("classes", "Anna Smith", "10")


def hashes():
    case("lengths", "hash", "Anna")
    for length in [8, 9, 16, 31, 63, 64]:
        case("lengths", "hash", "Anna", length=length)
    case("in UTF-8", "hash", "Zoë \U0001F600", "Zoe\u0308", "山田太郎")
    case("equality is that of code points", "hash", "anna", "Anna ", " ", "5", "5.0")
    case("a long value", "hash", "x" * 1000)
    case("a value that is its own hash", "hash", "44c18d49", length=8)
    case("the same in more digits", "hash", "44c18d49", length=12)
    case("a column with a limit", "hash", "Anna", type="varchar(32)")
    keys_and_scopes("hash", "Anna", "Zoë \U0001F600")


def addresses():
    case("addresses", "email", "zoe@example.org", "ZOE@example.org", "first.last+tag@sub.example.co.uk", "a@b")
    case("beyond ASCII", "email", "zoë@müller.example", "太郎@例え.jp", "\U0001F600@example.org")
    case("another domain", "email", "zoe@example.org", "a@b", domain="x.de")
    case("a domain beyond ASCII", "email", "zoe@example.org", domain="müller.example")
    case("the domain that holds where none is said", "email", "zoe@example.org", domain="example.com")
    case("of the domain itself", "email", "hvvwnfv6ok8c@example.com")
    case("the longest", "email", "a" * 64 + "@" + "b" * 253)
    case("too long", "email", "a" * 65 + "@b", "a@" + "b" * 254)
    case("no addresses", "email", "zoe", "@example.org", "zoe@", "a b@c", "a@b@c", "a..b@c", ".a@b", "a.@b", "a@b.",
         "<a@b>", "a,b@c", "\"a\"@b", "a\u200B@b", "a\u00A0@b", "a@[1]")
    case("a column with a limit", "email", "zoe@example.org", type="varchar(24)")
    case("longer than its column", "email", "zoe.of.the.long.name@example.org", type="varchar(24)")
    keys_and_scopes("email", "zoe@example.org", "a@b")


def lists():
    for name in ["first_names", "last_names", "cities", "streets"]:
        case("built in", "dict", "Anna", "Zoë", "山田太郎", "x", list=name)
    colours = ["red", "grün", "青", "\U0001F7E3"]
    case("entries of a file", "dict", "Anna", "Zoë", "x", file=colours)
    many = [*colours, "white", "черный", "κόκκινο", "أزرق", "orange", "rosa"]
    case("a value that is an entry gets another one", "dict", *many, file=many)
    case("a value that is an entry of a short list is an error", "dict", *colours, file=colours)
    case("a value that is an entry of nine is an error", "dict", *many[:9], file=many[:9])
    case("entries more than once", "dict", "a", "b", "c", "d", file=["a", "a", "a", "b"])
    case("an entry more", "dict", "Anna", "Zoë", "x", file=[*colours, "white"])
    case("blanks are part of an entry", "dict", "Anna", "Zoë", file=["a", " a", "a "])
    case("a column with a limit", "dict", "Anna", type="varchar(4)", file=colours)
    case("longer than its column", "dict", "Annabel", type="varchar(6)", file=colours)
    keys_and_scopes("dict", "Anna", "Zoë", list="first_names")


def dates():
    case("days", "dateshift", "2024-02-29", "1999-12-31", "1900-03-01", "2000-01-01", type="date", days=30)
    case("other days", "dateshift", "2024-02-29", type="date", days=1)
    case("other days", "dateshift", "2024-02-29", type="date", days=365)
    case("as many days as there are", "dateshift", "2024-02-29", type="date", days=3652058)
    case("a timestamp moves as its date", "dateshift", "2024-02-29 00:00:00", "2024-02-29T23:59:59",
         type="timestamp", days=30)
    case("time and zone stay", "dateshift", "2024-02-29T12:30:00Z", "2024-02-29 12:30:00.123456789+02:00",
         "2024-02-29 12:30:00-08", type="timestamp", days=30)
    case("time and zone stay", "dateshift", "1999-12-31T23:59:59.5+05:45", type="timestamp", days=1000)
    case("the first and the last date", "dateshift", "0001-01-01", "9999-12-31", type="date", days=30)
    bounds = {"min": "2000-01-01", "max": "2024-12-31"}
    case("bounds and a scope", "dateshift", "2024-11-30", type="date", days=90, scope="s", **bounds)
    case("bounds", "dateshift", "2000-01-01", "2024-12-31", "2010-06-15", type="date", days=90, **bounds)
    case("out of the bounds, but near them", "dateshift", "1999-12-01", "2025-02-01", type="date", days=90, **bounds)
    case("one bound", "dateshift", "2024-02-29", type="date", days=90, min="2024-02-01")
    case("one bound", "dateshift", "2024-02-29", type="date", days=90, max="2024-03-01")
    case("one date left", "dateshift", "2000-01-01", type="date", days=1, min="2000-01-01", max="2000-01-03")
    case("no date within reach", "dateshift", "1999-01-01", "2025-12-31", type="date", days=90, **bounds)
    for other in ["patient 17", "patient 18", "Zoë"]:
        case("by another value", "dateshift", "2024-02-29", "1999-12-31", type="date", days=365, by="id", by_value=other)
    patient = {"type": "date", "days": 365, "by": "id", "by_value": "patient 17"}
    case("by another value", "dateshift", "2024-02-29T12:30:00Z", **{**patient, "type": "timestamp"})
    case("the name of the other column does not matter", "dateshift", "2024-02-29", **{**patient, "by": "person"})
    case("nor do bounds", "dateshift", "2024-02-29", min="2000-01-01", **patient)
    case("other days", "dateshift", "2024-02-29", **{**patient, "days": 30})
    case("another scope", "dateshift", "2024-02-29", scope="people", **patient)
    case("another key", "dateshift", "2024-02-29", key=OTHER_KEY, **patient)
    case("moved out of the bounds", "dateshift", "2024-02-29", min="2024-01-01", **patient)
    case("no other value", "dateshift", "2024-02-29", **{**patient, "by_value": ""})
    case("no other value", "dateshift", "2024-02-29", **{**patient, "by_value": None})
    case("nothing to move", "dateshift", "", None, **{**patient, "by_value": None})
    case("no dates", "dateshift", "2023-02-29", "2024-2-29", "0000-01-01", "24-02-29", "29.02.2024",
         type="date", days=30)
    case("longer than a date", "dateshift", "2024-02-29 ", "2024-02-29T00:00:00", type="date", days=30)
    case("no timestamps", "dateshift", "2024-02-29", "2024-02-29T24:00:00", "2024-02-29 12:30", "2024-02-29 12:30:00 Z",
         "2024-02-29 12:30:00.", "2024-02-29 12:30:00+24:00", type="timestamp", days=30)
    keys_and_scopes("dateshift", "2024-02-29", "1999-12-31", type="date", days=30)


def noise():
    case("integers", "noise", "123456", "-123456", "99", "100", "1", "-1", "2", "5", type="integer", percent=10)
    case("leading zeros stay", "noise", "00123456", "-007", "0099", type="integer", percent=10)
    case("zero", "noise", "0", "-0", "00", type="integer", percent=10)
    case("spellings of one number", "noise", "5", "5.0", "05", "5.000", "0005.00", "-5", "-5.0",
         type="decimal(12,4)", percent=30)
    case("spellings of zero", "noise", "0", "0.0", "-0.00", "00.0000", type="decimal(12,4)", percent=30)
    case("decimals", "noise", "-98765.43", "0.01", "0.50", "1234567.89", "9999999.99", type="decimal(9,2)", percent=50)
    case("at least one in the last place", "noise", "1.00", "0.10", "12", type="decimal(9,2)", percent=1)
    case("up to all of it", "noise", "1000", "-3", "10", type="integer", percent=100)
    case("the limits of 64 bits", "noise", "9223372036854775807", "-9223372036854775808", "-9223372036854775807",
         "4611686018427387904", type="integer", percent=100)
    case("nines at the limit of the type", "noise", "9", "-9", "9.9", type="decimal(2,1)", percent=50)
    case("nines at the limit of the type", "noise", "9.9", "-9.9", "0.9", type="decimal(2,1)", percent=100)
    case("numbers below one", "noise", "0.05", "0.99", type="decimal(2,2)", percent=20)
    case("no other number", "noise", "0", type="decimal(2,2)", percent=10)
    case("numbers of 2^63 and more", "noise", "9223372036854775808", "92233720368547758.08", "9223372036854775.807",
         type="decimal(25,5)", percent=10)
    case("long numbers", "noise", "12345678901234567890123456789.50", "-12345678901234567890123456789.5",
         type="decimal(40,2)", percent=25)
    case("numbers that get another digit", "noise", "9" * 18, "9" * 19, "9" * 26, "9" * 27, "9" * 36,
         type="decimal(60,0)", percent=100)
    case("long numbers at the limit of the type", "noise", "9" * 27, "-" + "9" * 26, type="decimal(27,0)", percent=50)
    case("a thousand digits", "noise", "1234567890" * 100, type="decimal(1000,0)", percent=7)
    case("many leading zeros", "noise", "0" * 30 + "17", type="decimal(40,0)", percent=50)
    case("no integers", "noise", "1.5", "abc", "--1", "1e3", "9223372036854775808",
         type="integer", percent=10)
    case("no decimals of the type", "noise", "100", "1.23", "1.", type="decimal(3,1)", percent=10)
    keys_and_scopes("noise", "123456", "-17", type="integer", percent=10)


def cards():
    case("all digits", "card", "4012888888881881", "4012 8888 8888 1881", "4012-8888-8888-1881", "5555555555554444")
    for kept in range(1, 9):
        case("digits that stay", "card", "4012 8888 8888 1881", keep_first=kept)
    case("lengths", "card", "123456789012", "1234567890123", "12345678901234", "123456789012345678",
         "1234567890123456789")
    case("a wrong check digit becomes a right one", "card", "4012888888881882")
    case("zeros and nines", "card", "000000000000", "999999999999")
    case("its image is the largest number, which the smallest follows", "card", "340030046330")
    case("the fewest hidden digits", "card", "12345678901234", keep_first=7)
    case("the fewest hidden digits", "card", "123456789012345", "1234567890123456789", keep_first=8)
    case("punctuation", "card", "(4012) 8888/8888.1881", " 4012888888881881 ")
    case("too few digits", "card", "12345678901", "401", "-", " ")
    case("too many digits", "card", "12345678901234567890")
    case("too few hidden", "card", "123456789012", keep_first=6)
    case("too few hidden", "card", "12345678901234", keep_first=8)
    case("other characters", "card", "4012 8888 8888 188l", "4012\u00A08888\u00A08888\u00A01881", "٤٠١٢٨٨٨٨٨٨٨٨١٨٨١")
    case("longer than its column", "card", "4012 8888 8888 1881", type="char(16)")
    keys_and_scopes("card", "4012888888881881", "5555 5555 5555 4444", keep_first=6)


def encrypted():
    case("digits", "ff1", "123-45-6789", "000000", "999999", "1234567890", "+49 (30) 1234567")
    case("long", "ff1", "9" * 56, "1" * 57, "7" * 256)
    case("long, in a scope", "ff1", "9" * 58, scope="s")
    case("named alphabets", "ff1", "Anna Maria", "zzzz", alphabet="letters")
    case("named alphabets", "ff1", "Anna 42", "0000", alphabet="alphanumeric")
    case("an alphabet's own name spelled out is the same", "ff1", "123456", alphabet="0123456789")
    case("in another order it is another alphabet", "ff1", "123456", alphabet="9876543210")
    case("two characters", "ff1", "01" * 10, "1" * 200, alphabet="01")
    case("hexadecimal digits", "ff1", "deadbeef", "c0-ff-ee-00", alphabet="0123456789abcdef")
    case("with punctuation in it", "ff1", "A-1.B-2 A-1.B-2", alphabet="AB12-.")
    case("beyond ASCII", "ff1", "äöü äöü aou", "ßßßßßßßß", alphabet="aäoöuüß")
    case("beyond ASCII", "ff1", "あいうえおかきく", alphabet="あいうえおかきくけこ")
    case("above U+FFFF", "ff1", "𝒜𝒞𝒟𝒢𝒜𝒞𝒟𝒢𝒜𝒞", alphabet="𝒜𝒞𝒟𝒢")
    case("more than 256 characters", "ff1", "一丁七", "丌丌丌-丌丌丌丌", alphabet="".join(map(chr, range(0x4E00, 0x4F00 + 44))))
    case("characters outside the alphabet", "ff1", "123456a", "123456é", "12345\u00A06", "x")
    case("characters outside the alphabet", "ff1", "Anna1", alphabet="letters")
    case("too short", "ff1", "12345", "1", "-", "12 34-5")
    case("too short", "ff1", "abc", alphabet="letters")
    case("too long", "ff1", "1" * 257)
    case("longer than its column", "ff1", "1234567", type="varchar(6)")
    case("as long as its column", "ff1", "123456", type="varchar(6)")
    keys_and_scopes("ff1", "123456789", "000000")
    keys_and_scopes("ff1", "Anna Maria", alphabet=LETTERS)


def main():
    for cases in [plain_functions, partial, classes, hashes, addresses, lists, dates, noise, cards, encrypted]:
        cases()
    # Escapes, because what is no ASCII may be put into another form on its way.
    sys.stdout.writelines(json.dumps(line) + "\n" for line in CASES)


if __name__ == "__main__":
    main()
