#include "masking/ff1_cipher.h"
#include "masking/keyed.h"
#include "masking/masks.h"
#include "rules.h"
#include "text/unicode.h"

#include <algorithm>

namespace velk::test {
namespace {

class Encrypted : public FrameworkTest {};

TEST_F(Encrypted, values_keep_their_length_and_alphabet)
{
    const struct {
        const char* alphabet;
        std::u16string value;
        std::u16string characters;
    } rows[] = {
        {"", u"123456", u"0123456789"},
        {"alphabet=digits", u"0000000000", u"0123456789"},
        {"alphabet=letters", u"AnnaMaria", u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"},
        {"alphabet=alphanumeric", u"B4d0c",
         u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"},
        {"alphabet='0123456789abcdef'", u"deadbeef", u"0123456789abcdef"},
        {"alphabet='01'", u"00000000000000000000", u"01"},
        {"alphabet='абвгдеёжзийклмнопрстуфхцчшщъыьэюя'", u"москва", u"абвгдеёжзийклмнопрстуфхцчшщъыьэюя"},
        {"alphabet='٠١٢٣٤٥٦٧٨٩'", u"١٢٣٤٥٦", u"٠١٢٣٤٥٦٧٨٩"},
        {"alphabet='.-A'", u"A-A.-A.-A-.A-A", u".-A"},
    };
    for (const auto& [alphabet, value, characters] : rows) {
        const std::u16string masked = results("ff1", alphabet, {value}).front();
        EXPECT_NE(masked, value);
        EXPECT_EQ(masked.size(), value.size());
        EXPECT_EQ(masked.find_first_not_of(characters), std::u16string::npos) << to_utf8(masked);
    }
}

TEST_F(Encrypted, characters_above_the_first_plane_stay_whole)
{
    const std::u16string value = u"😀😁😀😁😀😁😀😁😀😁😀😁😀😁😀😁😀😁😀😁";
    const std::u16string masked = results("ff1", "alphabet='😀😁'", {value}).front();
    EXPECT_NE(masked, value);
    EXPECT_EQ(masked.size(), value.size());
    for (std::size_t position = 0; position < masked.size();) {
        const char32_t character = next_code_point(std::u16string_view(masked), position);
        EXPECT_TRUE(character == U'😀' || character == U'😁');
    }
}

TEST_F(Encrypted, blanks_and_punctuation_stay_in_place)
{
    const auto masked = results("ff1", "", {u"+49 (170) 123-456", u"49170123456", u"49.17-01/23_456"});
    for (const std::size_t at : {0u, 3u, 4u, 8u, 9u, 13u}) EXPECT_EQ(masked[0][at], u"+49 (170) 123-456"[at]);
    std::u16string digits = masked[0];
    std::erase_if(digits, [](char16_t unit) { return unit < u'0' || unit > u'9'; });
    EXPECT_EQ(digits, masked[1]) << "they do not decide";
    EXPECT_EQ(masked[2][2], u'.');
}

TEST_F(Encrypted, values_with_other_characters_are_an_error)
{
    expect_errors("ff1", "",
                  {u"Anna 123456", u"123456x", u"123456é", u"123456😀", u"123\u00A0456", u"123\t456",
                   u"١٢٣٤٥٦", u"１２３４５６",
                   u"\u0301"
                   u"123456"},
                  value_outside_alphabet);
    expect_errors("ff1", "alphabet=letters", {u"Anna4Maria", u"Žofie Anna"}, value_outside_alphabet);
    expect_errors("ff1", "alphabet='😀😁'", {u"😀😂"}, value_outside_alphabet);
}

TEST_F(Encrypted, values_with_too_few_others_of_their_length_are_an_error)
{
    const std::u16string zeros(20, u'0');
    expect_errors("ff1", "", {u"12345", u"1-2-3-4-5", u"-", u" "}, value_too_short_to_encrypt);
    expect_errors("ff1", "alphabet=letters", {u"Ann"}, value_too_short_to_encrypt);
    expect_errors("ff1", "alphabet='01'", {zeros.substr(1)}, value_too_short_to_encrypt);
    EXPECT_EQ(mask("ff1", "", u"123456").error, 0);
    EXPECT_EQ(mask("ff1", "alphabet=letters", u"Anna").error, 0);
    EXPECT_EQ(mask("ff1", "alphabet='01'", zeros).error, 0);
    EXPECT_EQ(mask("ff1", "alphabet='0123456789абвгдеёжзийклмнопрстуфхцчшщъыьэюя'", u"моск").error, 0);
}

TEST_F(Encrypted, values_of_more_than_256_characters_are_an_error)
{
    EXPECT_EQ(mask("ff1", "", std::u16string(256, u'7')).error, 0);
    expect_errors("ff1", "", {std::u16string(257, u'7'), std::u16string(100'000, u'7')},
                  value_too_long_to_encrypt);
    EXPECT_EQ(mask("ff1", "", std::u16string(6, u'7') + std::u16string(1000, u' ')).error, 0);
}

// Long values go through the cipher one by one, shorter ones together: none may show in its results.
TEST_F(Encrypted, values_of_every_length_are_those_of_the_standard)
{
    std::mt19937 random(13);
    std::vector<std::u16string> values;
    for (std::size_t length = 6; length <= 70; ++length) values.push_back(random_digits(random, length));
    std::shuffle(values.begin(), values.end(), random);
    const HmacKey key(std::vector<std::uint8_t>(32, 7));
    Results masked;
    const std::vector<std::u16string_view> views(values.begin(), values.end());
    make_mask(read_rule("ff1", "", {}), &key)({views}, masked);
    const Ff1 cipher(derive_secret(key, "ff1", "ff1", {"0123456789"}), 10);
    for (std::size_t i = 0; i < values.size(); ++i) {
        Numerals numerals;
        for (const char16_t digit : values[i]) numerals.push_back(static_cast<std::uint16_t>(digit - u'0'));
        std::u16string expected;
        for (const std::uint16_t numeral : cipher.encrypt(numerals))
            expected += static_cast<char16_t>(u'0' + numeral);
        EXPECT_EQ(text_of(masked, masked.list[i]), expected);
    }
}

TEST_F(Encrypted, of_the_smallest_domain_no_two_values_meet)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 50'000; ++i) values.push_back(to_text(i, 6));
    const auto masked = results("ff1", "", values);
    std::vector<bool> reached(1'000'000);
    std::size_t unchanged = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t number = std::stoul(to_utf8(masked[i]));
        EXPECT_FALSE(reached[number]) << number;
        reached[number] = true;
        unchanged += number == i;
    }
    EXPECT_LT(unchanged, 5u) << "a permutation leaves about one of a million as it is";
}

TEST_F(Encrypted, each_digit_is_as_likely_as_any_other)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 10'000; ++i) values.push_back(to_text(i, 12));
    const auto masked = results("ff1", "", values);
    for (std::size_t at = 0; at < 12; ++at) {
        std::vector<std::size_t> counts(10);
        for (const std::u16string& number : masked) ++counts[number[at] - u'0'];
        EXPECT_LT(chi_square(counts), chi_square_limit(9)) << at;
    }
}

TEST_F(Encrypted, values_of_two_alphabets_share_nothing)
{
    const std::u16string value = u"012345678901";
    std::set<std::u16string> masked;
    for (const char* alphabet : {"digits", "'1023456789'", "'0123456789a'", "'0123456789b'", "alphanumeric"})
        masked.insert(results("ff1", std::string("alphabet=") + alphabet, {value}).front());
    EXPECT_EQ(masked.size(), 5u);
    EXPECT_EQ(results("ff1", "alphabet='0123456789'", {value}), results("ff1", "alphabet=digits", {value}));
}

TEST_F(Encrypted, different_values_get_different_results)
{
    std::vector<std::u16string> values;
    for (unsigned i = 0; i < 20'000; ++i) values.push_back(to_text(7 * i, 6));
    for (unsigned i = 0; i < 20'000; ++i) values.push_back(to_text(i, 4) + u"-" + to_text(i % 100, 2));
    const auto masked = results("ff1", "", values);
    EXPECT_EQ(std::set(masked.begin(), masked.end()).size(), std::set(values.begin(), values.end()).size());
}

TEST_F(Encrypted, follow_key_and_scope)
{
    expect_keyed("ff1", "", {u"123456", u"000-000-000", u"9876543210"});
    expect_keyed("ff1", "alphabet=letters", {u"Anna Maria", u"WolfgangAmadeus"}, {"varchar(20)", 20});
}

TEST_F(Encrypted, unusable_rules_are_refused)
{
    const std::u16string named = u"Named alphabets: alphanumeric, digits, letters.";
    expect_rule_refused("ff1", "alphabet=''", argument_unusable, u"2 to 65536 characters. " + named);
    expect_rule_refused("ff1", "alphabet=x", argument_unusable, u"2 to 65536 characters.");
    expect_rule_refused("ff1", "alphabet=abca", argument_unusable, u"Each character stands once. " + named);
    expect_rule_refused("ff1", "alphabet=digit", argument_unusable, u"Each character stands once. " + named);
    for (const char* part :
         {"\\t", "\\u{85}", "\\u{202E}", "\\u{200D}", "\\u{FEFF}", "\\u{AD}", "\\u{301}", "\\u{20DD}",
          "\\u{903}", "\\u{FE0F}", "\\u{FDD0}", "\\u{FFFF}", " ", "\\u{A0}", "\\u{3000}", "\\u{2028}"})
        expect_rule_refused("ff1", std::string("alphabet=\"ab") + part + "\"", argument_unusable,
                            u"White space, marks, controls and format characters cannot be encrypted.");
    expect_rule_refused("ff1", "alphabet=\"😀\\u{1F3FB}\"", argument_unusable, u"White space, marks,");
    expect_rule_refused("ff1", "alphabet=\"😀\\u{E0041}\"", argument_unusable, u"White space, marks,");
    expect_rule_refused("ff1", "alphabet='a😀'", argument_unusable, u"above do not go together.");
    expect_rule_refused("ff1", "digits", argument_unknown, u"Arguments: alphabet, scope.");
    for (const char* type : {"integer", "decimal(20,0)", "date", "timestamp"})
        expect_rule_refused("ff1", "", function_unfit_for_type, u"", {type, 29});
}

} // namespace
} // namespace velk::test
