#include "support.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::test {
namespace {

class Functions : public FrameworkTest {};

// ASCII, accents, several scripts, emoji, combining marks.
const std::u16string samples[] = {
    u"a",           u"Anna Smith",        u"O'Neill-42",     u"Žluťoučký kůň",
    u"Ελένη Παππά", u"Анна Кузнецова",    u"محمد",           u"שלום",
    u"अनिता शर्मा",  u"山田太郎",          u"김민준",         u"สมชาย",
    u"😀👍🏽",      u"e\u0301le\u0300ve", u"x😀y𝒳z",         u"4111 1111 1111 1111",
    u"𐐀𐐁",          u"  blanks  ",        u"\u00A0\u2028 \t"};

TEST_F(Functions, keep_leaves_every_value_as_it_is)
{
    for (const std::u16string& sample : samples) {
        const Outcome outcome = mask("keep", "", sample);
        EXPECT_EQ(outcome.error, 0);
        EXPECT_EQ(outcome.text, sample);
    }
    EXPECT_EQ(mask("keep", "", u"").text, u"");
    EXPECT_EQ(mask("keep", "", Value{}).text, Value{});
}

TEST_F(Functions, null_makes_every_value_null)
{
    for (const std::u16string& sample : samples) EXPECT_EQ(mask("null", "", sample).text, Value{});
    EXPECT_EQ(mask("null", "", u"").text, Value{});
    EXPECT_EQ(mask("null", "", u"2024-01-01", "date", 10).text, Value{});
}

TEST_F(Functions, fixed_writes_its_text_for_every_value_that_is_not_null)
{
    for (const std::u16string& sample : samples)
        EXPECT_EQ(mask("fixed", "'it''s gone 😀'", sample, "", 11).text, u"it's gone 😀");
    EXPECT_EQ(mask("fixed", "gone", u"", "", 4).text, u"gone");
    EXPECT_EQ(mask("fixed", "gone", Value{}, "", 4).text, Value{});
    EXPECT_EQ(mask("fixed", "''", u"secret").text, u"");
    EXPECT_EQ(mask("fixed", "'1999-12-31'", u"2024-02-29", "date", 10).text, u"1999-12-31");
}

TEST_F(Functions, hash_writes_lower_case_hexadecimal_digits)
{
    for (const std::u16string& sample : samples) {
        const Outcome outcome = mask("hash", "", sample, "", 32);
        EXPECT_EQ(outcome.error, 0);
        ASSERT_TRUE(outcome.text.has_value());
        EXPECT_EQ(outcome.text->size(), 32u);
        EXPECT_EQ(outcome.text->find_first_not_of(u"0123456789abcdef"), std::u16string::npos);
    }
    EXPECT_EQ(mask("hash", "", u"", "", 32).text, u"");
}

TEST_F(Functions, hash_is_the_keyed_hash_of_function_scope_and_value)
{
    // HMAC-SHA-256 of "Anna", under that of "hash" and "hash", each ended by a zero byte, under
    // "0123456789abcdef".
    const Outcome outcome = mask("hash", "length=64", u"Anna", "", 64);
    EXPECT_EQ(outcome.text, u"e3079877fe3646fbec0da0aed8898aabdd41a2a307ad48d5499edd78c4ad7819");
}

TEST_F(Functions, hash_has_the_length_that_is_asked_for)
{
    const Value whole = mask("hash", "length=64", u"Anna", "", 64).text;
    ASSERT_TRUE(whole.has_value());
    EXPECT_EQ(whole->size(), 64u);
    for (const std::size_t length : {8u, 9u, 12u, 32u, 63u}) {
        const auto limit = static_cast<std::int32_t>(length);
        EXPECT_EQ(mask("hash", "length=" + std::to_string(length), u"Anna", "", limit).text,
                  whole->substr(0, length))
            << "the length is not hashed";
    }
}

TEST_F(Functions, hash_is_never_the_value_itself)
{
    // Found by trying: the first eight digits of its hash are those of the value.
    EXPECT_EQ(mask("hash", "length=12", u"44c18d49", "", 12).text->substr(0, 8), u"44c18d49");
    const Value result = mask("hash", "length=8", u"44c18d49", "", 8).text;
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->size(), 8u);
    EXPECT_NE(result, u"44c18d49");
    EXPECT_EQ(mask("hash", "length=8", u"a", "", 8).text->size(), 8u);
}

TEST_F(Functions, keyed_functions_follow_the_key_and_nothing_else)
{
    const struct {
        const char* rule;
        std::int32_t limit;
    } rules[] = {{"classes", 0}, {"hash", 32}};
    for (const auto& [rule, limit] : rules) {
        SCOPED_TRACE(rule);
        const std::u16string value = u"Wolfgang Amadeus";
        const Value first = mask(rule, "", value, "", limit).text;
        EXPECT_EQ(mask(rule, "", value, "", limit).text, first);
        EXPECT_EQ(mask(rule, "", value, "varchar(50)", 50).text, first) << "the column does not matter";
        EXPECT_NE(mask(rule, "", value, "", limit, "VELK_OTHER_KEY").text, first);
        EXPECT_NE(mask(rule, "scope=other", value, "", limit).text, first);
        EXPECT_EQ(mask(rule, std::string("scope=") + rule, value, "", limit).text, first)
            << "unsaid, the scope is the function's name";
        EXPECT_NE(mask(rule, "", value + u"x", "", limit).text, first);
    }
}

// What a rule that cannot be carried out is refused with, and whether the text names the place.
void expect_refused(const std::string& rule, const std::string& arguments, ErrorCode code,
                    const std::u16string& advice = u"", const std::string& type = "", std::int32_t length = 0)
{
    SCOPED_TRACE(rule + "(" + arguments + ") " + type);
    Service service;
    service.operand(0, "key", "env:VELK_TEST_KEY");
    service.column("first", "keep");
    service.column("bad one", rule, arguments, length, type);
    expect_code(try_start(service), code);
    const Texts texts = texts_of(code);
    EXPECT_TRUE(contains(texts.detail, u"column \"bad one\"")) << to_utf8(texts.detail);
    EXPECT_TRUE(contains(texts.detail, u"rule " + to_utf16(rule) + u"(")) << to_utf8(texts.detail);
    EXPECT_TRUE(contains(texts.trailing, advice)) << to_utf8(texts.trailing);
}

TEST_F(Functions, a_rule_that_cannot_be_carried_out_is_refused_at_the_start)
{
    expect_refused("clases", "", function_unknown,
                   u"Did you mean \"classes\"? Functions: card, classes, dateshift");
    expect_refused("encrypt", "", function_unknown,
                   u"dict, email, ff1, fixed, hash, keep, noise, null, partial.");
    expect_refused("Keep", "", function_unknown, u"Did you mean \"keep\"?");
    expect_refused("keep", "x=1", argument_unknown, u"no such argument");
    expect_refused("keep", "x", argument_unknown);
    expect_refused("null", "x", argument_unknown);
    expect_refused("hash", "lenght=4", argument_unknown,
                   u"Did you mean \"length\"? Arguments: length, scope.");
    expect_refused("partial", "keep_frist=4", argument_unknown, u"Did you mean \"keep_first\"?");
    expect_refused("partial", "scope=x", argument_unknown,
                   u"Arguments: keep_first, keep_last, hide_least, with.");
    expect_refused("classes", "name", argument_unknown);
    expect_refused("fixed", "", argument_missing);
    expect_refused("fixed", "text=gone", argument_unknown);
    expect_refused("fixed", "a, b", argument_unknown, u"", "", 9);
    expect_refused("hash", "length=0", argument_not_in_range, u"A whole number from 8 to 64.");
    expect_refused("hash", "length=1", argument_not_in_range);
    expect_refused("hash", "length=7", argument_not_in_range);
    expect_refused("hash", "length=65", argument_not_in_range);
    expect_refused("hash", "length=-1", argument_not_in_range);
    expect_refused("hash", "length=''", argument_not_in_range);
    expect_refused("hash", "length=4.0", argument_not_in_range);
    expect_refused("hash", "length=99999999999999999999", argument_not_in_range);
    expect_refused("classes", "scope=''", argument_unusable);
    expect_refused("hash", "length=4, length=5", argument_repeated);
    expect_refused("hash", "length=", value_missing);
}

TEST_F(Functions, a_result_that_cannot_stand_in_its_column_is_refused_at_the_start)
{
    expect_refused("hash", "", result_longer_than_column, u"", "varchar(20)", 20);
    expect_refused("hash", "", result_longer_than_column, u"", "", 31);
    expect_refused("hash", "length=8", result_longer_than_column, u"", "text", 0);
    expect_refused("fixed", "'abc'", result_longer_than_column, u"", "char(2)", 2);
    expect_refused("fixed", "'abc'", result_longer_than_column, u"", "", 2);
    expect_refused("fixed", "'12345678901'", result_longer_than_column, u"", "integer", 10);
    expect_refused("fixed", "'gone'", fixed_text_unfit, u"", "integer", 20);
    expect_refused("fixed", "''", fixed_text_unfit, u"", "date", 10);
    expect_refused("fixed", "'1.234'", fixed_text_unfit, u"", "decimal(9,2)", 11);
    EXPECT_EQ(mask("hash", "length=20", u"x", "varchar(20)", 20).error, 0);
    EXPECT_EQ(mask("fixed", "'😀😀'", u"x", "char(2)", 2).text, u"😀😀")
        << "limits count characters, not units";
}

TEST_F(Functions, a_function_is_refused_for_a_type_whose_values_it_would_break)
{
    for (const char* rule : {"hash", "partial"})
        for (const char* type : {"integer", "decimal(9,2)", "date", "timestamp"})
            expect_refused(rule, "", function_unfit_for_type, u"", type, 29);
    for (const char* type : {"date", "timestamp"})
        expect_refused("classes", "", function_unfit_for_type, u"", type, 29);
}

TEST_F(Functions, keyed_functions_need_a_key)
{
    for (const char* rule : {"classes", "hash", "card"}) {
        Service service;
        service.column("name", rule, "", 64);
        expect_code(try_start(service), key_missing);
    }
    for (const char* rule : {"keep", "null", "fixed", "partial"}) {
        Service service;
        service.column("name", rule, std::string(rule) == "fixed" ? "x" : "", 64);
        EXPECT_EQ(try_start(service), 0) << rule;
    }
}

} // namespace
} // namespace velk::test
