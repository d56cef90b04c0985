"""Makes the file that is masked, the same bytes every time: data.py FILE [ROWS]

A million rows (unless ROWS says otherwise) of eight columns, 144 MB: id, name, email, phone, card, born, city, note.
Values are quoted where they must be and nowhere else, so that a program which keeps everything gives back the bytes.
"""

import random
import sys

ROWS = 1_000_000
HEADER = "id,name,email,phone,card,born,city,note\n"
GIVEN = ["Zoë", "Björn", "François", "Anna", "James", "Olga", "Chen", "Amara", "Luís", "Priya", "Tom", "Ingrid"]
FAMILY = ["Martín", "Ångström", "Lefèvre", "Schmidt", "Brown", "Ivanova", "Wei", "Okafor", "Silva", "Rao", "Hill"]
CITIES = ["Málaga", "Malmö", "Besançon", "Köln", '"Washington, DC"', "Kraków", '"Reading, Berkshire"', "Porto", "Oslo"]
WORDS = ("prefers letters to calls after six on weekdays and has asked twice about the invoice of last month which was "
         "paid late").split()


def luhn_digit(digits):
    doubled = sum(sum(divmod(2 * int(digit), 10)) for digit in digits[::-2])
    return -(doubled + sum(map(int, digits[-2::-2]))) % 10


def card(numbers):
    digits = f"4{numbers.randrange(10**14):014}"
    return f"{digits}{luhn_digit(digits)}"


def note(numbers):
    """Now and then there is none."""
    if numbers.random() < 0.02:
        return ""
    return " ".join(numbers.choices(WORDS, k=7))


def row(number, numbers):
    given, family = numbers.choice(GIVEN), numbers.choice(FAMILY)
    who = numbers.randrange(10_000_000)
    born = f"{numbers.randrange(1930, 2010)}-{numbers.randrange(1, 13):02}-{numbers.randrange(1, 29):02}"
    return (f"{number:08},{given} {family} {who},user.{who}@example.org,+49 30 {numbers.randrange(10**7):07},"
            f"{card(numbers)},{born},{numbers.choice(CITIES)},{note(numbers)}\n")


def write(path, rows=ROWS):
    numbers = random.Random(20250101)
    with open(path, "w", encoding="utf-8", newline="", buffering=1 << 20) as file:
        file.write(HEADER)
        for number in range(rows):
            file.write(row(number, numbers))


if __name__ == "__main__":
    write(sys.argv[1], *map(int, sys.argv[2:]))
