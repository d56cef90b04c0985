#include "masking_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

namespace velk::test {
namespace {

const std::string functions =
    "Functions: card, classes, dateshift, dict, email, ff1, fixed, hash, keep, noise, "
    "null, partial.";

struct Row {
    std::string text;
    std::string message; // as it is shown: heading, place, part of the line, mark, what may help
};

void expect_messages(const std::vector<Row>& rows)
{
    for (const Row& row : rows) EXPECT_EQ(message_of(row.text), row.message.substr(1)) << row.text;
}

// clang-format off

TEST(MaskingStringSample, is_shown_with_its_line_and_a_mark_under_its_place)
{
    expect_messages({
        {"service=people key=env:MASK_KEY\nemail = emial(domain=example.com)", std::string(R"~(
7301 unknown function "emial"
line 2, column 9 (byte 41)
email = emial(domain=example.com)
        ^~~~~
Did you mean "email"? )~") + functions},
    });
}

TEST(MaskingStringService, must_be_named_and_have_columns)
{
    expect_messages({
        {"", R"~(
7332 the masking string does not name its service
line 1, column 1 (byte 1)

^
Add service=..., 1 to 9 ASCII letters, digits, _ and -.)~"},
        {"# only a comment", R"~(
7332 the masking string does not name its service
line 1, column 1 (byte 1)
# only a comment
^
Add service=..., 1 to 9 ASCII letters, digits, _ and -.)~"},
        {"service=people", R"~(
7204 the service has no columns
line 1, column 1 (byte 1)
service=people
^~~~~~~
Give each column a rule: name = function.)~"},
        {"name=keep", R"~(
7332 the masking string does not name its service
line 1, column 1 (byte 1)
name=keep
^
Add service=..., 1 to 9 ASCII letters, digits, _ and -.)~"},
    });
}

TEST(MaskingStringKeys, say_what_is_wrong_with_them)
{
    expect_messages({
        {"service=p name=keep x", R"~(
7325 no = behind a key "x"
line 1, column 22 (byte 22)
service=p name=keep x
                     ^
Write key = value. A value of several words is quoted.)~"},
        {"service=p name", R"~(
7325 no = behind a key "name"
line 1, column 15 (byte 15)
service=p name
              ^
Write key = value. A value of several words is quoted.)~"},
        {"service=p name keep", R"~(
7325 no = behind a key "name"
line 1, column 16 (byte 16)
service=p name keep
               ^
Write key = value. A value of several words is quoted.)~"},
        {"service=p name;=keep", R"~(
7325 no = behind a key "name"
line 1, column 15 (byte 15)
service=p name;=keep
              ^
Write key = value. A value of several words is quoted.)~"},
        {"service=p 1st=keep", R"~(
7322 unexpected character where a key stands "1"
line 1, column 11 (byte 11)
service=p 1st=keep
          ^
A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double quotes.)~"},
        {"service=p =keep", R"~(
7322 unexpected character where a key stands "="
line 1, column 11 (byte 11)
service=p =keep
          ^
A key should stand before it. A value that is empty is written ''.)~"},
        {"service=p 'name'=keep", R"~(
7322 unexpected character where a key stands "'"
line 1, column 11 (byte 11)
service=p 'name'=keep
          ^
A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double quotes.)~"},
        {"service=p gr\u00F6\u00DFe=keep", R"~(
7322 unexpected character where a key stands "ö"
line 1, column 13 (byte 13)
service=p größe=keep
            ^
A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double quotes.)~"},
        {"service=p name=keep (a)", R"~(
7322 unexpected character where a key stands "("
line 1, column 21 (byte 21)
service=p name=keep (a)
                    ^
No blank stands between a function and its parenthesis.)~"},
        {"service=p na/me=keep", R"~(
7322 unexpected character where a key stands "/"
line 1, column 13 (byte 13)
service=p na/me=keep
            ^
A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double quotes.)~"},
        {"service=p name.=keep", R"~(
7322 unexpected character where a key stands "="
line 1, column 16 (byte 16)
service=p name.=keep
               ^
A key should stand before it. A value that is empty is written ''.)~"},
        {"service=p name.", R"~(
7323 a key ends behind its point
line 1, column 16 (byte 16)
service=p name.
               ^
Attributes: type, unique.)~"},
        {"service=p name.#=keep", R"~(
7322 unexpected character where a key stands "#"
line 1, column 16 (byte 16)
service=p name.#=keep
               ^
A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double quotes.)~"},
        {"service=p a.b.c=keep", R"~(
7324 a key has one part too many "c"
line 1, column 15 (byte 15)
service=p a.b.c=keep
              ^
Put a column's name that has a point in it between double quotes.)~"},
        {"service=p \"a\".\"b\".\"c\"=keep", R"~(
7324 a key has one part too many "c"
line 1, column 19 (byte 19)
service=p "a"."b"."c"=keep
                  ^~~
Put a column's name that has a point in it between double quotes.)~"},
    });
}

TEST(MaskingStringValues, say_what_is_wrong_with_them)
{
    expect_messages({
        {"service=p name=", R"~(
7317 a value is missing
line 1, column 16 (byte 16)
service=p name=
               ^
Add the value; an empty one is written ''.)~"},
        {"service=p name=,other=keep", R"~(
7307 unexpected character ","
line 1, column 16 (byte 16)
service=p name=,other=keep
               ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name = # the value comes later\nkeep", R"~(
7309 a # must be quoted
line 1, column 18 (byte 18)
service=p name = # the value comes later
                 ^
Write '#'.)~"},
        {"service=p name=fixed(#)", R"~(
7309 a # must be quoted
line 1, column 22 (byte 22)
service=p name=fixed(#)
                     ^
Write '#'.)~"},
    });
}

TEST(MaskingStringWhiteSpace, of_other_kinds_is_named)
{
    expect_messages({
        {"service=p name\u00A0=keep", R"~(
7310 unexpected white space "U+00A0"
line 1, column 15 (byte 15)
service=p name =keep
              ^
Replace it by a blank, or quote the value.)~"},
        {"service=p name \u2003=keep", R"~(
7310 unexpected white space "U+2003"
line 1, column 16 (byte 16)
service=p name  =keep
               ^
Replace it by a blank, or quote the value.)~"},
        {"service=p \u3000name=keep", R"~(
7310 unexpected white space "U+3000"
line 1, column 11 (byte 11)
service=p 　name=keep
          ^
Replace it by a blank, or quote the value.)~"},
        {"service=p name=\u2028keep", R"~(
7310 unexpected white space "U+2028"
line 1, column 16 (byte 16)
service=p name=\u{2028}keep
               ^~~~~~~~
Replace it by a blank, or quote the value.)~"},
        {"service=p name=keep\u00A0other=keep", R"~(
7310 unexpected white space "U+00A0"
line 1, column 20 (byte 20)
service=p name=keep other=keep
                   ^
Replace it by a blank, or quote the value.)~"},
        {"service=p name=fixed(a\u00A0b)", R"~(
7310 unexpected white space "U+00A0"
line 1, column 23 (byte 23)
service=p name=fixed(a b)
                      ^
Replace it by a blank, or quote the value.)~"},
    });
}

TEST(MaskingStringCalls, say_what_is_wrong_with_them)
{
    expect_messages({
        {"service=p name=fixed('x'", R"~(
7326 a parenthesis is not closed
line 1, column 21 (byte 21)
service=p name=fixed('x'
                    ^
Add the ).)~"},
        {"service=p name=fixed(x,", R"~(
7317 a value is missing
line 1, column 24 (byte 24)
service=p name=fixed(x,
                       ^
Add the value; an empty one is written ''.)~"},
        {"service=p name=fixed(x,)", R"~(
7307 unexpected character ")"
line 1, column 24 (byte 24)
service=p name=fixed(x,)
                       ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=fixed(,x)", R"~(
7307 unexpected character ","
line 1, column 22 (byte 22)
service=p name=fixed(,x)
                     ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=fixed(x y)", R"~(
7307 unexpected character "y"
line 1, column 24 (byte 24)
service=p name=fixed(x y)
                       ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=fixed(x)(y)", R"~(
7307 unexpected character "("
line 1, column 24 (byte 24)
service=p name=fixed(x)(y)
                       ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=fixed(f(x))", R"~(
7307 unexpected character "("
line 1, column 23 (byte 23)
service=p name=fixed(f(x))
                      ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=4(x)", R"~(
7307 unexpected character "("
line 1, column 17 (byte 17)
service=p name=4(x)
                ^
Quote the value, or set arguments apart by commas.)~"},
    });
}

TEST(MaskingStringPairs, stand_apart)
{
    expect_messages({
        {"service=p name=fixed('x')other=keep", R"~(
7307 unexpected character "o"
line 1, column 26 (byte 26)
service=p name=fixed('x')other=keep
                         ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=keep)", R"~(
7307 unexpected character ")"
line 1, column 20 (byte 20)
service=p name=keep)
                   ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name==keep", R"~(
7307 unexpected character "="
line 1, column 16 (byte 16)
service=p name==keep
               ^
Quote the value, or set arguments apart by commas.)~"},
        {"service=p name=a=b", R"~(
7307 unexpected character "="
line 1, column 17 (byte 17)
service=p name=a=b
                ^
Quote the value. If it is the next key, the value before it is missing: an empty one is written ''.)~"},
        {"service=p name=\nother=keep", R"~(
7307 unexpected character "="
line 2, column 6 (byte 22)
other=keep
     ^
Quote the value. If it is the next key, the value before it is missing: an empty one is written ''.)~"},
        {"service=p name=\nother = keep", R"~(
7322 unexpected character where a key stands "="
line 2, column 7 (byte 23)
other = keep
      ^
A key should stand before it. A value that is empty is written ''.)~"},
        {"service=p name=ke\x01p", R"~(
7307 unexpected character "\u{1}"
line 1, column 18 (byte 18)
service=p name=ke\u{1}p
                 ^~~~~
Quote the value, or set arguments apart by commas.)~"},
    });
}

TEST(MaskingStringQuotes, are_closed_and_know_their_escapes)
{
    expect_messages({
        {"service=p name=fixed('open", R"~(
7306 a quoted text does not end "'"
line 1, column 22 (byte 22)
service=p name=fixed('open
                     ^
Close the text. A single quote inside single quotes is written twice.)~"},
        {"service=p name=fixed(\"open)", R"~(
7306 a quoted text does not end """
line 1, column 22 (byte 22)
service=p name=fixed("open)
                     ^
Close the text. A single quote inside single quotes is written twice.)~"},
        {"service=p \"name=keep", R"~(
7306 a quoted text does not end """
line 1, column 11 (byte 11)
service=p "name=keep
          ^
Close the text. A single quote inside single quotes is written twice.)~"},
        {"service=p name=fixed(\"a\\x\")", R"~(
7308 unknown escape "\x"
line 1, column 24 (byte 24)
service=p name=fixed("a\x")
                       ^
Write \\ for the character itself, or use single quotes.)~"},
        {"service=p name=fixed(\"a\\u{D800}\")", R"~(
7308 unknown escape "\u"
line 1, column 24 (byte 24)
service=p name=fixed("a\u{D800}")
                       ^
Write \\ for the character itself, or use single quotes.)~"},
        {"service=p name=fixed(\"a\\u{110000}\")", R"~(
7308 unknown escape "\u"
line 1, column 24 (byte 24)
service=p name=fixed("a\u{110000}")
                       ^
Write \\ for the character itself, or use single quotes.)~"},
        {"service=p name=fixed(\"a\\u{0}\")", R"~(
7308 unknown escape "\u"
line 1, column 24 (byte 24)
service=p name=fixed("a\u{0}")
                       ^
Write \\ for the character itself, or use single quotes.)~"},
        {"service=p name=fixed(\"a\\u{}\")", R"~(
7308 unknown escape "\u"
line 1, column 24 (byte 24)
service=p name=fixed("a\u{}")
                       ^
Write \\ for the character itself, or use single quotes.)~"},
        {"service=p name=fixed(\"a\\", R"~(
7308 unknown escape "\"
line 1, column 24 (byte 24)
service=p name=fixed("a\
                       ^
Write \\ for the character itself, or use single quotes.)~"},
    });
}

TEST(MaskingStringRepetitions, name_both_places)
{
    expect_messages({
        {"service=p name=hash(length=1, length=2)", R"~(
7303 argument given twice "length"
line 1, column 31 (byte 31)
service=p name=hash(length=1, length=2)
                              ^~~~~~~~
Remove one of the two.)~"},
        {"service=p name=keep\nother=null\nname = null", R"~(
7327 key given twice "name"
line 3, column 1 (byte 32)
name = null
^~~~
first given at line 1, column 11 (byte 11)
Remove one of the two.)~"},
        {"service=p \"name\"=keep name=null", R"~(
7327 key given twice "name"
line 1, column 23 (byte 23)
service=p "name"=keep name=null
                      ^~~~
first given at line 1, column 11 (byte 11)
Remove one of the two.)~"},
        {"service=p name=keep name.type=text name.\"type\"=date", R"~(
7327 key given twice "name.type"
line 1, column 36 (byte 36)
service=p name=keep name.type=text name."type"=date
                                   ^~~~~~~~~~~
first given at line 1, column 21 (byte 21)
Remove one of the two.)~"},
        {"service=p service=q name=keep", R"~(
7327 key given twice "service"
line 1, column 11 (byte 11)
service=p service=q name=keep
          ^~~~~~~
first given at line 1, column 1 (byte 1)
Remove one of the two.)~"},
        {"service=p key=env:A key=env:B", R"~(
7327 key given twice "key"
line 1, column 21 (byte 21)
service=p key=env:A key=env:B
                    ^~~
first given at line 1, column 11 (byte 11)
Remove one of the two.)~"},
    });
}

TEST(MaskingStringErrors, of_a_definition_are_told_at_once_the_first_one_in_full)
{
    expect_messages({
        {"service=p key=env:K\nname=kep\ncity=hash(lenth=12)\nname=null\nborn.type=date\ncity.typ=text zip=keep\n",
         R"~(
7327 key given twice "name"
line 4, column 1 (byte 50)
name=null
^~~~
first given at line 2, column 1 (byte 21)
Remove one of the two.
Also:
line 2, column 6 (byte 26): 7301 unknown function "kep"
line 3, column 11 (byte 40): 7302 unknown argument "lenth"
line 5, column 1 (byte 60): 7212 no rule for a column "born"
line 6, column 6 (byte 80): 7329 unknown attribute of a column "typ")~"},
        {"service=much_too_long on_error=never on_null=no a=keep a.unique=yes", R"~(
7224 unknown way to treat an error "never"
line 1, column 32 (byte 32)
...=much_too_long on_error=never on_null=no a=keep a.unique=yes
                           ^~~~~
Ways: null, fixed('...'), stop.
Also:
line 1, column 9 (byte 9): 7223 the service id is not valid "much_too_long"
line 1, column 46 (byte 46): 7225 unknown way to treat a null "no"
line 1, column 65 (byte 65): 7218 unknown value of unique "yes")~"},
    });
}

TEST(MaskingStringErrors, of_the_grammar_are_told_line_by_line)
{
    expect_messages({
        {"service=p\n1st=keep\nname\ncity=keep\nzip=partial(keep_first==2,\n  keep_last=3)\na=keep b=c=d x='\nlast=f(1",
         R"~(
7322 unexpected character where a key stands "1"
line 2, column 1 (byte 11)
1st=keep
^
A name has ASCII letters, digits, _ and - and starts with a letter. Put any other key between double quotes.
Also:
line 4, column 1 (byte 25): 7325 no = behind a key "name"
line 5, column 24 (byte 58): 7307 unexpected character "="
line 7, column 11 (byte 87): 7307 unexpected character "="
line 8, column 7 (byte 100): 7326 a parenthesis is not closed)~"},
    });
}

TEST(MaskingStringErrors, that_follow_from_another_one_are_not_told)
{
    expect_messages({
        {"servcie=people kee=env:K name=hash city=hash", R"~(
7328 unknown key "servcie"
line 1, column 1 (byte 1)
servcie=people kee=env:K name=hash city=hash
^~~~~~~
Did you mean "service"?
Also:
line 1, column 16 (byte 16): 7328 unknown key "kee")~"},
        {"service=p name=hash city=hash zip=email(domain=x.example)", R"~(
7226 no key for a function that needs one "hash"
line 1, column 16 (byte 16)
service=p name=hash city=hash zip=email(domain=x.example)
               ^~~~
Add the operand key=env:NAME or key=file:PATH.)~"},
        {"service=p on_error=fixed('12') a=keep a.type=varchar(1) b=keep b.type=varchar(1)", R"~(
7315 the rule's result is longer than the column "2 > 1"
line 1, column 20 (byte 20)
service=p on_error=fixed('12') a=keep a.type=varchar(1) b=ke...
                   ^~~~~~~~~~~
column "a"
Shorten the result or declare a longer column.)~"},
    });
}

TEST(MaskingStringErrors, of_a_column_do_not_hide_that_others_decide_by_it)
{
    EXPECT_EQ(message_of("service=p key=env:K a=kep born=dateshift(days=3, by=a) born.type=date").find("Also"),
              std::string::npos);
    EXPECT_EQ(message_of("service=p key=env:K a.type=date born=dateshift(days=3, by=a) born.type=date").find("Also"),
              std::string::npos);
}

TEST(MaskingStringErrors, are_ten_and_how_many_more_there_are)
{
    for (const std::size_t count : {10u, 11u, 99u}) {
        std::string rules = "service=p";
        for (std::size_t i = 0; i < count; ++i) rules += "\nc" + std::to_string(i) + "=kep";
        const std::string message = message_of(rules);
        EXPECT_NE(message.find("\nline 11, column 4 (byte "), std::string::npos) << message;
        EXPECT_EQ(message.find("\nline 12, column 4 (byte "), std::string::npos) << message;
        const std::string more = "\nand " + std::to_string(count - 10) + " more";
        EXPECT_EQ(message.ends_with(more), count > 10) << message;
        EXPECT_EQ(message.find("\nand ") == std::string::npos, count == 10) << message;
    }
}

// Each of these takes as long as its string, or as the list of columns, to be told.
TEST(MaskingStringErrors, are_sought_up_to_a_hundred_so_that_it_takes_no_longer_for_more)
{
    std::string grammar = "service=p\n";
    std::string repeated = "service=p\n";
    std::string unknown = "service=p key=env:K\n";
    for (int i = 0; i < 9000; ++i) {
        const std::string name = "column_" + std::to_string(i);
        grammar += "=\n";
        repeated += name + "=keep " + name + "=keep # of which there is one too many\n";
        unknown += name + "=dateshift(days=3, by=colum_" + std::to_string(i) + ") " + name + ".type=date\n";
    }
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& text : {grammar, repeated, unknown})
        EXPECT_TRUE(message_of(text).ends_with("\nand 90 more, or more than these")) << message_of(text);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(MaskingStringErrors, are_cut_between_two_of_them)
{
    std::string long_name;
    for (int i = 0; i < 40; ++i) long_name += "\u65E5";
    std::string rules = "service=p";
    for (int i = 0; i < 12; ++i) rules += "\nc" + std::to_string(i) + "." + '"' + long_name + "\"=keep";
    const std::string message = message_of(rules);
    EXPECT_LT(message.size(), 3000u);
    EXPECT_EQ(message.substr(message.rfind("\nline ")),
              "\nline 9, column 4 (byte 931): 7329 unknown attribute of a column \"" + long_name +
                  "\"\nand 4 more");
}

TEST(MaskingStringColumns, that_a_rule_decides_by_are_there)
{
    expect_messages({
        {"service=p key=env:K person=keep born=dateshift(days=30, by=persn) born.type=date", R"~(
7242 no such column "persn"
line 1, column 57 (byte 57)
...person=keep born=dateshift(days=30, by=persn) born.type=date
                                       ^~~~~~~~
Did you mean "person"?)~"},
        {"service=p key=env:K born=dateshift(by='x y', days=30) born.type=date", R"~(
7242 no such column "x y"
line 1, column 36 (byte 36)
...p key=env:K born=dateshift(by='x y', days=30) born.type=date
                              ^~~~~~~~
Name one of the other columns.)~"},
        {"service=p key=env:K born=dateshift(days=30, by=born) born.type=date", R"~(
7313 an argument cannot be used "by=born"
line 1, column 45 (byte 45)
...=p key=env:K born=dateshift(days=30, by=born) born.type=date
                                        ^~~~~~~
It is the column itself: leave by out.)~"},
    });
    for (const char* text : {"service=p key=env:K \"x y\"=keep born=dateshift(by='x y', days=30) born.type=date",
                             "service=p key=env:K born=dateshift(by=name, days=30) born.type=date name=hash",
                             "service=p key=env:K born=dateshift(by=name, days=30) born.type=date n*=hash",
                             "service=p key=env:K $2=dateshift(by=name, days=30) $2.type=date"})
        EXPECT_EQ(message_of(text), "") << text;
}

TEST(MaskingStringPatterns, stand_once_and_without_quotes)
{
    expect_messages({
        {"service=p addr_*=keep\naddr_*=null", R"~(
7327 key given twice "addr_*"
line 2, column 1 (byte 23)
addr_*=null
^~~~~~
first given at line 1, column 11 (byte 11)
Remove one of the two.)~"},
        {"service=p $3=keep $3=null", R"~(
7327 key given twice "$3"
line 1, column 19 (byte 19)
service=p $3=keep $3=null
                  ^~
first given at line 1, column 11 (byte 11)
Remove one of the two.)~"},
        {"service=p \"*\"=keep", R"~(
7241 a pattern or a position in place of a column "*"
line 1, column 11 (byte 11)
service=p "*"=keep
          ^~~
Write it without quotes if it is meant as one. A column of that name has to get another.)~"},
        {"service=p *.type=date", R"~(
7212 no rule for a column "*"
line 1, column 11 (byte 11)
service=p *.type=date
          ^~~~~~
Give the column a rule; keep leaves it as it is.)~"},
        {"service=p name.*=keep", R"~(
7329 unknown attribute of a column "*"
line 1, column 16 (byte 16)
service=p name.*=keep
               ^
Attributes: type, unique.)~"},
    });
}

TEST(MaskingStringUnknownKeys, name_the_nearest_known_one)
{
    expect_messages({
        {"service=p name.typ=text name=keep", R"~(
7329 unknown attribute of a column "typ"
line 1, column 16 (byte 16)
service=p name.typ=text name=keep
               ^~~
Did you mean "type"? Attributes: type, unique.)~"},
        {"service=p name.colour=blue name=keep", R"~(
7329 unknown attribute of a column "colour"
line 1, column 16 (byte 16)
service=p name.colour=blue name=keep
               ^~~~~~
Attributes: type, unique.)~"},
        {"service=p name.type=varchar", R"~(
7212 no rule for a column "name"
line 1, column 11 (byte 11)
service=p name.type=varchar
          ^~~~~~~~~
Give the column a rule; keep leaves it as it is.)~"},
        {"service.type=text", R"~(
7330 a word of the service has no attributes "service"
line 1, column 1 (byte 1)
service.type=text
^~~~~~~
Put the word between double quotes where it is the name of a column.)~"},
        {"on_null.unique=true", R"~(
7330 a word of the service has no attributes "on_null"
line 1, column 1 (byte 1)
on_null.unique=true
^~~~~~~
Put the word between double quotes where it is the name of a column.)~"},
        {"service=p \"\"=keep", R"~(
7206 no name for a column
line 1, column 11 (byte 11)
service=p ""=keep
          ^~
Set the column's name.)~"},
        {"servcie=people name=keep", R"~(
7328 unknown key "servcie"
line 1, column 1 (byte 1)
servcie=people name=keep
^~~~~~~
Did you mean "service"?)~"},
        {"service=people kee=env:MASK_KEY", R"~(
7328 unknown key "kee"
line 1, column 16 (byte 16)
service=people kee
               ^~~
Did you mean "key"?)~"},
        {"SERVICE=people name=keep", R"~(
7328 unknown key "SERVICE"
line 1, column 1 (byte 1)
SERVICE=people name=keep
^~~~~~~
Did you mean "service"?)~"},
        {"service=people onerror=stop name=keep", R"~(
7328 unknown key "onerror"
line 1, column 16 (byte 16)
service=people onerror=stop name=keep
               ^~~~~~~
Did you mean "on_error"?)~"},
    });
}

TEST(MaskingStringServiceIds, are_short_names)
{
    expect_messages({
        {"service='' name=keep", R"~(
7223 the service id is not valid
line 1, column 9 (byte 9)
service='' name=keep
        ^~
Choose 1 to 9 ASCII letters, digits, _ and -.)~"},
        {"service=toolongname name=keep", R"~(
7223 the service id is not valid "toolongname"
line 1, column 9 (byte 9)
service=toolongname name=keep
        ^~~~~~~~~~~
Choose 1 to 9 ASCII letters, digits, _ and -.)~"},
        {"service='a b' name=keep", R"~(
7223 the service id is not valid "a b"
line 1, column 9 (byte 9)
service='a b' name=keep
        ^~~~~
Choose 1 to 9 ASCII letters, digits, _ and -.)~"},
        {"service=f(x) name=keep", R"~(
7223 the service id is not valid "f(x)"
line 1, column 9 (byte 9)
service=f(x) name=keep
        ^~~~
Choose 1 to 9 ASCII letters, digits, _ and -.)~"},
    });
}

TEST(MaskingStringRules, say_what_is_wrong_with_them)
{
    expect_messages({
        {"service=p name='keep'", R"~(
7331 a rule is not quoted
line 1, column 16 (byte 16)
service=p name='keep'
               ^~~~~~
Write the function without quotes; a text for every value is fixed('...').)~"},
        {"service=p name=\"keep\"", R"~(
7331 a rule is not quoted
line 1, column 16 (byte 16)
service=p name="keep"
               ^~~~~~
Write the function without quotes; a text for every value is fixed('...').)~"},
        {"service=p name=12", std::string(R"~(
7301 unknown function "12"
line 1, column 16 (byte 16)
service=p name=12
               ^~
)~") + functions},
        {"service=p name=KEEP", std::string(R"~(
7301 unknown function "KEEP"
line 1, column 16 (byte 16)
service=p name=KEEP
               ^~~~
Did you mean "keep"? )~") + functions},
        {"service=p name=encrypt", std::string(R"~(
7301 unknown function "encrypt"
line 1, column 16 (byte 16)
service=p name=encrypt
               ^~~~~~~
)~") + functions},
        {"service=p name=keep(x)", R"~(
7302 unknown argument "x"
line 1, column 21 (byte 21)
service=p name=keep(x)
                    ^
This function takes no such argument.)~"},
        {"service=p name=fixed", R"~(
7304 an argument is missing
line 1, column 16 (byte 16)
service=p name=fixed
               ^~~~~
Write fixed('...') with the text between the quotes.)~"},
        {"service=p name=fixed()", R"~(
7304 an argument is missing
line 1, column 16 (byte 16)
service=p name=fixed()
               ^~~~~~~
Write fixed('...') with the text between the quotes.)~"},
        {"service=p name=fixed(a, b)", R"~(
7302 unknown argument "b"
line 1, column 25 (byte 25)
service=p name=fixed(a, b)
                        ^
This function takes no such argument.)~"},
        {"service=p name=fixed(b, b)", R"~(
7302 unknown argument "b"
line 1, column 25 (byte 25)
service=p name=fixed(b, b)
                        ^
This function takes no such argument.)~"},
        {"service=p name=fixed(text=a)", R"~(
7302 unknown argument "text"
line 1, column 22 (byte 22)
service=p name=fixed(text=a)
                     ^~~~~~
This function takes no such argument.)~"},
        {"service=p name=hash", R"~(
7226 no key for a function that needs one "hash"
line 1, column 16 (byte 16)
service=p name=hash
               ^~~~
Add the operand key=env:NAME or key=file:PATH.)~"},
        {"service=p key=env:K name=hash(lenth=9)", R"~(
7302 unknown argument "lenth"
line 1, column 31 (byte 31)
service=p key=env:K name=hash(lenth=9)
                              ^~~~~~~
Did you mean "length"? Arguments: length, scope.)~"},
        {"service=p key=env:K name=hash(length=65)", R"~(
7305 an argument is not a number in its range "length=65"
line 1, column 31 (byte 31)
service=p key=env:K name=hash(length=65)
                              ^~~~~~~~~
A whole number from 8 to 64.)~"},
        {"service=p key=env:K name=hash(length=many)", R"~(
7305 an argument is not a number in its range "length=many"
line 1, column 31 (byte 31)
service=p key=env:K name=hash(length=many)
                              ^~~~~~~~~~~
A whole number from 8 to 64.)~"},
        {"service=p key=env:K name=hash(scope='')", R"~(
7313 an argument cannot be used "scope"
line 1, column 31 (byte 31)
service=p key=env:K name=hash(scope='')
                              ^~~~~~~~
A scope has at least one character.)~"},
        {"service=p key=env:K name=partial(keep_first=2, with=ab)", R"~(
7313 an argument cannot be used "with=ab"
line 1, column 48 (byte 48)
service=p key=env:K name=partial(keep_first=2, with=ab)
                                               ^~~~~~~
One character up to U+FFFF, no mark, no control or format character.)~"},
        {"service=p key=env:K born=dateshift born.type=date", R"~(
7304 an argument is missing "days"
line 1, column 26 (byte 26)
service=p key=env:K born=dateshift born.type=date
                         ^~~~~~~~~
Add the argument.)~"},
        {"service=p key=env:K name=dateshift(days=30)", R"~(
7314 the column's type cannot be masked by this function "dateshift"
line 1, column 26 (byte 26)
service=p key=env:K name=dateshift(days=30)
                         ^~~~~~~~~
Choose another function or another type.)~"},
        {"service=p key=env:K name=hash(length=9) name.type=varchar(8)", R"~(
7315 the rule's result is longer than the column "9 > 8"
line 1, column 26 (byte 26)
service=p key=env:K name=hash(length=9) name.type=varchar(8)
                         ^~~~~~~~~~~~~~
Shorten the result or declare a longer column.)~"},
        {"service=p key=env:K name=hash name.type=date", R"~(
7314 the column's type cannot be masked by this function "hash"
line 1, column 26 (byte 26)
service=p key=env:K name=hash name.type=date
                         ^~~~
Choose another function or another type.)~"},
        {"service=p name=fixed(abcd) name.type=char(3)", R"~(
7315 the rule's result is longer than the column "4 > 3"
line 1, column 16 (byte 16)
service=p name=fixed(abcd) name.type=char(3)
               ^~~~~~~~~~~
Shorten the result or declare a longer column.)~"},
        {"service=p name=fixed(monday) name.type=date", R"~(
7316 the column's type has no such value "monday"
line 1, column 22 (byte 22)
service=p name=fixed(monday) name.type=date
                     ^~~~~~
Choose another text or another type.)~"},
    });
}

TEST(MaskingStringAttributes, say_what_is_wrong_with_them)
{
    expect_messages({
        {"service=p name=keep name.type=varhcar(20)", R"~(
7215 unknown column type "varhcar(20)"
line 1, column 31 (byte 31)
service=p name=keep name.type=varhcar(20)
                              ^~~~~~~~~~~
Did you mean "varchar(n)"? Types: text, char(n), varchar(n), decimal(p,s), integer, date, timestamp.)~"},
        {"service=p name=keep name.type=varchar", R"~(
7215 unknown column type "varchar"
line 1, column 31 (byte 31)
service=p name=keep name.type=varchar
                              ^~~~~~~
Did you mean "varchar(n)"? Types: text, char(n), varchar(n), decimal(p,s), integer, date, timestamp.)~"},
        {"service=p name=keep name.type=DATE", R"~(
7215 unknown column type "DATE"
line 1, column 31 (byte 31)
service=p name=keep name.type=DATE
                              ^~~~
Did you mean "date"? Types: text, char(n), varchar(n), decimal(p,s), integer, date, timestamp.)~"},
        {"service=p name=keep name.type=number", R"~(
7215 unknown column type "number"
line 1, column 31 (byte 31)
service=p name=keep name.type=number
                              ^~~~~~
Types: text, char(n), varchar(n), decimal(p,s), integer, date, timestamp.)~"},
        {"service=p name=keep name.type=varchar(0)", R"~(
7216 a column type's size is out of range "varchar(0)"
line 1, column 31 (byte 31)
service=p name=keep name.type=varchar(0)
                              ^~~~~~~~~~
A length is from 1 to 1000000, a precision from 1 to 1000, a scale from 0 to the precision.)~"},
        {"service=p name=keep name.type=decimal(2,3)", R"~(
7216 a column type's size is out of range "decimal(2,3)"
line 1, column 31 (byte 31)
service=p name=keep name.type=decimal(2,3)
                              ^~~~~~~~~~~~
A length is from 1 to 1000000, a precision from 1 to 1000, a scale from 0 to the precision.)~"},
        {"service=p name=keep name.unique=false", R"~(
7218 unknown value of unique "false"
line 1, column 33 (byte 33)
service=p name=keep name.unique=false
                                ^~~~~
Write true or remove the attribute.)~"},
        {"service=p name=keep name.unique=true(1)", R"~(
7218 unknown value of unique "true(1)"
line 1, column 33 (byte 33)
service=p name=keep name.unique=true(1)
                                ^~~~~~~
Write true or remove the attribute.)~"},
    });
}

TEST(MaskingStringServiceOperands, say_what_is_wrong_with_them)
{
    expect_messages({
        {"service=p on_null=mak name=keep", R"~(
7225 unknown way to treat a null "mak"
line 1, column 19 (byte 19)
service=p on_null=mak name=keep
                  ^~~
Did you mean "mask"? Ways: keep, mask.)~"},
        {"service=p on_error=ignore name=keep", R"~(
7224 unknown way to treat an error "ignore"
line 1, column 20 (byte 20)
service=p on_error=ignore name=keep
                   ^~~~~~
Ways: null, fixed('...'), stop.)~"},
        {"service=p on_error=Stop name=keep", R"~(
7224 unknown way to treat an error "Stop"
line 1, column 20 (byte 20)
service=p on_error=Stop name=keep
                   ^~~~
Did you mean "stop"? Ways: null, fixed('...'), stop.)~"},
        {"service=p on_error=fixed name=keep", R"~(
7224 unknown way to treat an error "fixed"
line 1, column 20 (byte 20)
service=p on_error=fixed name=keep
                   ^~~~~
Did you mean "fixed('...')"? Ways: null, fixed('...'), stop.)~"},
        {"service=p on_error=fixed(a,b) name=keep", R"~(
7302 unknown argument "b"
line 1, column 20 (byte 20)
service=p on_error=fixed(a,b) name=keep
                   ^~~~~~~~~~
This function takes no such argument.)~"},
        {"service=p on_error=fixed('abc') name=keep born=keep born.type=date", R"~(
7316 the column's type has no such value "abc"
line 1, column 20 (byte 20)
service=p on_error=fixed('abc') name=keep born=keep born.typ...
                   ^~~~~~~~~~~~
column "born"
Choose another text or another type.)~"},
        {"service=p on_error=fixed('abc') name=keep name.type=char(2)", R"~(
7315 the rule's result is longer than the column "3 > 2"
line 1, column 20 (byte 20)
service=p on_error=fixed('abc') name=keep name.type=char(2)
                   ^~~~~~~~~~~~
column "name"
Shorten the result or declare a longer column.)~"},
    });
}

TEST(MaskingStringSecrets, never_appear)
{
    expect_messages({
        {"service=p key=hunter2hunter2 name=hash", R"~(
7227 the key is not named by its source
line 1, column 15 (byte 15)
service=p key=*** name=hash
              ^~~
Write key=env:NAME or key=file:PATH.)~"},
        {"service=p key='it''s a secret' name=keep", R"~(
7227 the key is not named by its source
line 1, column 15 (byte 15)
service=p key=*** name=keep
              ^~~
Write key=env:NAME or key=file:PATH.)~"},
        {"service=p key=\"a\\\"secret\" name=keep", R"~(
7227 the key is not named by its source
line 1, column 15 (byte 15)
service=p key=*** name=keep
              ^~~
Write key=env:NAME or key=file:PATH.)~"},
        {"service=p key=fixed('a secret') name=keep", R"~(
7227 the key is not named by its source
line 1, column 15 (byte 15)
service=p key=*** name=keep
              ^~~
Write key=env:NAME or key=file:PATH.)~"},
        {"service=p key=env: name=keep", R"~(
7227 the key is not named by its source
line 1, column 15 (byte 15)
service=p key=env: name=keep
              ^~~~
Write key=env:NAME or key=file:PATH.)~"},
        {"service=p key='a secret that does not end", R"~(
7306 a quoted text does not end
line 1, column 15 (byte 15)
service=p key=***
              ^~~
Close the text. A single quote inside single quotes is written twice.)~"},
        {"service=p key=top(secret name=keep", R"~(
7307 unexpected character
line 1, column 26 (byte 26)
service=p key=***
              ^~~
Quote the value, or set arguments apart by commas.)~"},
        {"service=p key hunter2hunter2 name=hash", std::string(R"~(
7325 no = behind a key "key"
line 1, column 15 (byte 15)
)~") + "service=p key \n" + R"~(              ^
Write key = value. A value of several words is quoted.)~"},
        {"service=p kee=hunter2hunter2 name=keep", R"~(
7328 unknown key "kee"
line 1, column 11 (byte 11)
service=p kee
          ^~~
Did you mean "key"?)~"},
        {"service=p key='two\nlines' name=kep", R"~(
7227 the key is not named by its source
line 1, column 15 (byte 15)
service=p key=***
              ^~~
Write key=env:NAME or key=file:PATH.
Also:
line 2, column 13 (byte 32): 7301 unknown function "kep")~"},
    });
}

TEST(MaskingStringPositions, count_lines_columns_and_bytes)
{
    expect_messages({
        {"service=p\r\nname=keep\r\n\r\nother=kep", std::string(R"~(
7301 unknown function "kep"
line 4, column 7 (byte 31)
other=kep
      ^~~
Did you mean "keep"? )~") + functions},
        {"service=p\rname=kep", std::string(R"~(
7301 unknown function "kep"
line 2, column 6 (byte 16)
name=kep
     ^~~
Did you mean "keep"? )~") + functions},
        {"service=p\n\tname\t=\tkep", std::string(R"~(
7301 unknown function "kep"
line 2, column 9 (byte 19)
\u{9}name\u{9}=\u{9}kep
                    ^~~
Did you mean "keep"? )~") + functions},
        {"\xEF\xBB\xBFservice=p name=kep", std::string(R"~(
7301 unknown function "kep"
line 1, column 16 (byte 19)
service=p name=kep
               ^~~
Did you mean "keep"? )~") + functions},
        {"service=p \"\u65E5\u672C\"=keep name=kep", std::string(R"~(
7301 unknown function "kep"
line 1, column 26 (byte 30)
service=p "日本"=keep name=kep
                         ^~~
Did you mean "keep"? )~") + functions},
        {"service=p \"\U0001F600\"=keep name=kep", std::string(R"~(
7301 unknown function "kep"
line 1, column 25 (byte 28)
service=p "\u{1F600}"=keep name=kep
                                ^~~
Did you mean "keep"? )~") + functions},
        {"service=p \"\U0001F600\"=kep", std::string(R"~(
7301 unknown function "kep"
line 1, column 15 (byte 18)
service=p "\u{1F600}"=kep
                      ^~~
Did you mean "keep"? )~") + functions},
        {"service=p n=fixed('\U0001F600\U0001F600', '\t')", R"~(
7302 unknown argument "\u{9}"
line 1, column 25 (byte 31)
service=p n=fixed('\u{1F600}\u{1F600}', '\u{9}')
                                        ^~~~~~~
This function takes no such argument.)~"},
    });
}

TEST(MaskingStringExcerpts, are_a_window_of_the_line)
{
    expect_messages({
        {"service=p \"a very long name of a column that goes on and on for more than sixty characters\"=kep other=keep", std::string(R"~(
7301 unknown function "kep"
line 1, column 93 (byte 93)
...oes on and on for more than sixty characters"=kep other=keep
                                                 ^~~
Did you mean "keep"? )~") + functions},
        {"service=p name=fixed('some text in front that is long enough') other=kep third=fixed('some text behind that is long')", std::string(R"~(
7301 unknown function "kep"
line 1, column 70 (byte 70)
...long enough') other=kep third=fixed('some text behind that i...
                       ^~~
Did you mean "keep"? )~") + functions},
        {"service=p a_function_with_a_name_of_more_than_forty_characters=a_function_with_a_name_of_more_than_forty_characters", std::string(R"~(
7301 unknown function "a_function_with_a_name_of_more_than_fort..."
line 1, column 64 (byte 64)
...an_forty_characters=a_function_with_a_name_of_more_than_fort...
                       ^~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~~
)~") + functions},
    });
}

TEST(MaskingStringIllFormedText, is_an_error_at_its_byte)
{
    expect_messages({
        {"service=p name=ke\xFFp", R"~(
7311 not well-formed text
line 1, column 18 (byte 18)
service=p name=ke�p
                 ^
Correct the text.)~"},
        {"service=p name=keep # \xE2\x82", R"~(
7311 not well-formed text
line 1, column 23 (byte 23)
service=p name=keep # �
                      ^
Correct the text.)~"},
        {"\xC3\x28", R"~(
7311 not well-formed text
line 1, column 1 (byte 1)
�(
^
Correct the text.)~"},
        {"service=p name=fixed('\xED\xA0\x80')", R"~(
7311 not well-formed text
line 1, column 23 (byte 23)
service=p name=fixed('���')
                      ^
Correct the text.)~"},
    });
}
// clang-format on

TEST(MaskingStringLists, say_why_they_are_none)
{
    const std::string path = (std::filesystem::path(testing::TempDir()) / "velk list").string();
    std::ofstream(path, std::ios::binary) << "one\n\ntwo\n";
    const std::string message = message_of("service=p key=env:K a=dict(file='" + path + "')");
    EXPECT_TRUE(message.starts_with("7319 not a list \"")) << message;
    EXPECT_NE(message.find("\nline 1, column 28 (byte 28)\n"), std::string::npos) << message;
    EXPECT_TRUE(message.ends_with("~\nline 2 is empty\nCorrect the file.")) << message;
    std::filesystem::remove(path);
}

std::size_t longest_line(const std::string& text)
{
    std::size_t longest = 0;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        longest = std::max(longest, end - start);
        start = end + 1;
    }
    return longest;
}

// Every kind of character that takes more room as it is shown, before, in and behind the place.
TEST(MaskingStringMessages, stay_below_3000_bytes_and_lines_short_whatever_they_quote)
{
    for (const std::string character : {"a", "\t", "\u65E5", "\U0001F600", "\x7F", "\u2028"}) {
        std::string many;
        for (int i = 0; i < 4000; ++i) many += character;
        for (const std::string& text : {
                 "service=p \"" + many + "\"=kep",
                 "service=p \"" + many + "\"=keep \"" + many + "\"=keep",
                 "service=p name=fixed('" + many + "', '" + many + "')",
                 "service='" + many + "' name=keep",
                 "service=p name='" + many,
                 "service=p name.\"" + many + "\"=keep",
                 "service=p name=keep # " + many + "\xFF",
             }) {
            const std::string message = message_of(text);
            EXPECT_LT(message.size(), 3000u);
            EXPECT_LT(longest_line(message), 500u) << message;
            EXPECT_NE(message.find("\n"), std::string::npos);
            EXPECT_NE(message.find('^'), std::string::npos) << "the mark is not cut off: " << message;
        }
    }
}

TEST(MaskingStringSecrets, never_appear_in_any_message_about_a_string_that_holds_one)
{
    const std::string secret = "TOPSECRET";
    for (const std::string& value :
         {secret, "'" + secret + "'", "\"" + secret + "\"", "'" + secret, "\"" + secret, "x(" + secret + ")",
          "x(" + secret, "x('a', b=" + secret + ")", "'a''" + secret + "'", "\"\\\"" + secret + "\"",
          secret + "#" + secret, "=" + secret, "a=" + secret, "'a'" + secret, secret + "\u00A0" + secret,
          "\"\\" + secret + "\"", "(" + secret + ")", "environment:" + secret}) {
        for (const std::string& text :
             {"service=p key=" + value + " name=kep", "key = " + value,
              "service=p name=keep name=null key=" + value, "key=" + value + "\xFF"}) {
            const std::string message = message_of(text);
            EXPECT_NE(message, "") << text;
            EXPECT_EQ(message.find(secret), std::string::npos) << text << "\n" << message;
        }
    }
}

TEST(MaskingStringSecrets, never_appear_behind_a_key_whose_sign_is_wrong_or_missing)
{
    const std::string secret = "TOPSECRET";
    for (const std::string start :
         {"key ",    "key: ",      "key:",        "key\u00A0=", "key \u2003= ", "key/",   "key('",
          "key\n",   "key,",       "key#",        "key'",       "kye=",         "KEY = ", "\xEF\xBB\xBFkey ",
          "key=\n",  "key=(\n",    "key=x(\n",    "key = =\n",  "key=#\n",      "key:\n", "key=\"\\q\n",
          "key.x\n", "a b\nkey\n", "=\nkey=\n(\n"}) {
        for (const std::string end :
             {" service=p name=keep", "\nservice=p name=keep", ")\nservice=p a b c=kep"}) {
            for (const std::string& text :
                 {start + secret + end, "a b\n" + start + secret + end, "x=f(=\n)\n" + start + secret + end,
                  "y=1(\n" + start + secret + end}) {
                const std::string message = message_of(text);
                EXPECT_NE(message, "") << text;
                EXPECT_EQ(message.find(secret), std::string::npos) << text << "\n" << message;
            }
        }
    }
}

TEST(MaskingStringSecrets, do_not_hide_where_a_key_comes_from)
{
    EXPECT_NE(message_of("service=p key=env:MASK_KEY name=kep").find("key=env:MASK_KEY"), std::string::npos);
    EXPECT_NE(message_of("service=p key='file:/my key' name=kep").find("key='file:/my key'"),
              std::string::npos);
}

} // namespace
} // namespace velk::test
