// What the functions for texts draw, looked at in numbers: whoever has many results must see nothing but
// chance in them. The values are drawn from a fixed seed, so that the figures are the same in every run and
// on every platform.

#include "masking/keyed.h"
#include "masking/lists.h"
#include "masking/unicode_classes.h"
#include "rules.h"
#include "text/unicode.h"

#include <cmath>
#include <functional>
#include <map>

namespace velk::test {
namespace {

using Texts16 = std::vector<std::u16string>;

constexpr std::size_t sample_size = 20'000;

class TextStatistics : public FrameworkTest {};

Texts16 words(std::u16string_view letters, std::size_t length)
{
    std::mt19937 random(42);
    std::set<std::u16string> words;
    while (words.size() < sample_size) {
        std::u16string word;
        while (word.size() < length) word += letters[random() % letters.size()];
        words.insert(word);
    }
    return {words.begin(), words.end()};
}

Texts16 numbers(std::uint64_t first)
{
    Texts16 texts;
    for (std::uint64_t i = 0; i < sample_size; ++i) texts.push_back(to_text(first + i));
    return texts;
}

// Pearson's sum must lie within four standard deviations of what chance gives, neither above nor below: all
// categories are to be as frequent as each other, but not more evenly than chance makes them.
void expect_uniform(const Texts16& texts, std::size_t categories,
                    const std::function<std::u16string(const std::u16string&)>& category)
{
    std::map<std::u16string, double> counts;
    for (const std::u16string& text : texts) ++counts[category(text)];
    EXPECT_LE(counts.size(), categories);
    const double expected = static_cast<double>(texts.size()) / static_cast<double>(categories);
    double sum = static_cast<double>(categories - counts.size()) * expected;
    for (const auto& [name, count] : counts) sum += (count - expected) * (count - expected) / expected;
    const double freedom = static_cast<double>(categories - 1);
    EXPECT_NEAR(sum, freedom, 4 * std::sqrt(2 * freedom));
}

void expect_uniform_characters(const Texts16& texts, std::size_t position, std::size_t categories,
                               std::size_t count = 1)
{
    SCOPED_TRACE(position);
    expect_uniform(texts, categories,
                   [=](const std::u16string& text) { return text.substr(position, count); });
}

std::size_t unchanged(const Texts16& values, const Texts16& results)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < values.size(); ++i) count += values[i] == results[i] ? 1u : 0u;
    return count;
}

std::size_t distinct(const Texts16& results)
{
    return std::set<std::u16string>(results.begin(), results.end()).size();
}

std::string digest_of(const Texts16& results)
{
    std::string lines;
    for (const std::u16string& result : results) lines.append(to_utf8(result)).append(1, '\n');
    return hexadecimal(sha256({reinterpret_cast<const std::uint8_t*>(lines.data()), lines.size()}));
}

TEST_F(TextStatistics, classes_draws_every_letter_alike_at_every_place)
{
    const Texts16 values = words(u"abcdefghijklmnopqrstuvwxyz", 20);
    const Texts16 masked = results("classes", "", values);
    for (std::size_t position = 0; position < 20; ++position) expect_uniform_characters(masked, position, 26);
    for (std::size_t position = 0; position < 19; ++position)
        expect_uniform_characters(masked, position, 26 * 26, 2);
    EXPECT_EQ(unchanged(values, masked), 0u);
    EXPECT_EQ(distinct(masked), sample_size);
}

TEST_F(TextStatistics, classes_draws_without_regard_to_the_letter_that_was_there)
{
    const Texts16 values = words(u"abcdefghijklmnopqrstuvwxyz", 8);
    const Texts16 masked = results("classes", "", values);
    Texts16 pairs;
    for (std::size_t i = 0; i < values.size(); ++i)
        pairs.push_back(
            std::u16string{static_cast<char16_t>(u'A' + (masked[i][3] - values[i][3] + 26) % 26)});
    expect_uniform_characters(pairs, 0, 26);
}

TEST_F(TextStatistics, classes_draws_alike_from_classes_of_several_runs)
{
    constexpr std::u16string_view letters = u"αβγδεζηθικλμνξοπρστυφχψω";
    const Texts16 values = words(letters, 12);
    const Texts16 masked = results("classes", "", values);
    const std::size_t size = membership(U'α').of->size;
    for (std::size_t position = 0; position < 12; ++position)
        expect_uniform_characters(masked, position, size);
    EXPECT_EQ(distinct(masked), sample_size);
}

TEST_F(TextStatistics, classes_draws_every_digit_alike_and_none_in_front_that_is_0)
{
    const Texts16 values = numbers(100'000'000);
    const Texts16 masked = results("classes", "", values);
    expect_uniform_characters(masked, 0, 9);
    for (std::size_t position = 1; position < 9; ++position) expect_uniform_characters(masked, position, 10);
    EXPECT_EQ(unchanged(values, masked), 0u);
}

// Of 26 letters one comes back for itself as often as for each other, where it is not the whole value.
TEST_F(TextStatistics, classes_leaves_no_more_letters_as_they_were_than_chance_does)
{
    const Texts16 values = words(u"abcdefghijklmnopqrstuvwxyz", 4);
    const Texts16 masked = results("classes", "", values);
    double same = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
        for (std::size_t at = 0; at < 4; ++at) same += values[i][at] == masked[i][at] ? 1 : 0;
    const double letters = 4 * sample_size;
    EXPECT_NEAR(same, letters / 26, 4 * std::sqrt(letters / 26));
    EXPECT_EQ(unchanged(values, masked), 0u);
}

TEST_F(TextStatistics, integers_of_19_digits_are_drawn_alike_as_far_as_they_fit)
{
    const Texts16 values = numbers(9'000'000'000'000'000'000);
    const Texts16 masked = results("classes", "", values, {"integer", 20});
    std::map<char16_t, double> first;
    for (const std::u16string& text : masked) ++first[text[0]];
    // From 1 to 8 all numbers fit, from 9 a part of 223 in 1000.
    const double whole = sample_size / 8.223372;
    for (char16_t digit = u'1'; digit <= u'8'; ++digit)
        EXPECT_NEAR(first[digit], whole, 4 * std::sqrt(whole)) << static_cast<char>(digit);
    EXPECT_NEAR(first[u'9'], 0.223372 * whole, 4 * std::sqrt(0.223372 * whole));
    EXPECT_EQ(unchanged(values, masked), 0u);
    EXPECT_EQ(distinct(masked), sample_size);
}

TEST_F(TextStatistics, hash_writes_every_digit_alike_at_every_place)
{
    const Texts16 values = numbers(0);
    const Texts16 masked = results("hash", "length=64", values, {"", 64});
    for (std::size_t position = 0; position < 64; ++position) expect_uniform_characters(masked, position, 16);
    EXPECT_EQ(unchanged(values, masked), 0u);
    EXPECT_EQ(distinct(masked), sample_size);
    const Texts16 shorter = results("hash", "length=12", values, {"", 12});
    for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(shorter[i], masked[i].substr(0, 12));
    EXPECT_EQ(distinct(shorter), sample_size);
}

TEST_F(TextStatistics, email_draws_every_character_alike_at_every_place)
{
    Texts16 values;
    for (const std::u16string& number : numbers(0)) values.push_back(u"user" + number + u"@example.org");
    const Texts16 masked = results("email", "", values, {"", 24});
    expect_uniform_characters(masked, 0, 26);
    for (std::size_t position = 1; position < 12; ++position) expect_uniform_characters(masked, position, 36);
    for (std::size_t position = 1; position < 11; ++position)
        expect_uniform_characters(masked, position, 36 * 36, 2);
    EXPECT_EQ(distinct(masked), sample_size);
}

TEST_F(TextStatistics, dict_draws_every_entry_alike)
{
    const Texts16 values = numbers(0);
    const Texts16 masked = results("dict", "list=cities", values, {"", 20});
    const auto list = built_in_list("cities");
    expect_uniform(masked, list->size(), [](const std::u16string& text) { return text; });
    EXPECT_EQ(distinct(masked), list->size());
    EXPECT_EQ(unchanged(values, masked), 0u);
}

// Functions with one key have nothing in common: where one draws some digit, the other draws any.
TEST_F(TextStatistics, scopes_have_nothing_in_common)
{
    const Texts16 values = numbers(0);
    const Texts16 one = results("hash", "scope=one", values, {"", 32});
    const Texts16 other = results("hash", "scope=other", values, {"", 32});
    Texts16 pairs;
    for (std::size_t i = 0; i < values.size(); ++i)
        pairs.push_back(one[i].substr(0, 1) + other[i].substr(0, 1));
    expect_uniform_characters(pairs, 0, 256, 2);
}

TEST_F(TextStatistics, every_platform_draws_the_same)
{
    const Texts16 values = words(u"aB7 é½ώЖ中한", 12);
    EXPECT_EQ(digest_of(results("classes", "", values)),
              "bec9b0259f3376e174bec9ff1eb83626c0cdb8c0993768b62a7fda2b17a17edf");
    EXPECT_EQ(digest_of(results("hash", "", values, {"", 32})),
              "dcc342a0584e0c4f5620386e131d1a003ae8d3adbe5b68ccf98c202041ba30f4");
    EXPECT_EQ(digest_of(results("dict", "list=streets", values, {"", 40})),
              "d11f8e0c892d70113f675325a9d9fab673bdb4448d5b681568280d4147e22f3c");
    Texts16 addresses;
    for (const std::u16string& number : numbers(0)) addresses.push_back(u"user" + number + u"@example.org");
    EXPECT_EQ(digest_of(results("email", "", addresses, {"", 24})),
              "c5a9e5751b2334b6e07fbc67b70df22f72050baab33a84bc581d831366fd9e86");
}

} // namespace
} // namespace velk::test
