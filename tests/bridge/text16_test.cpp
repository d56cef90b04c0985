// 16-bit text. Each text stands in memory of exactly its size, at every alignment, so that the sanitizer
// sees a read or write past it.

#include "frame/text16.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace velk::text16 {

namespace {

constexpr std::size_t longest = 150; // two steps of any scan, some blocks and a rest

// Calls the test with units at each alignment within a 32-byte block, and with nothing behind them.
template <class Test> void at_each_alignment(const std::u16string& units, Test test)
{
    for (std::size_t offset = 0; offset < 16; ++offset) {
        std::vector<char16_t> memory(offset + units.size(), u'#');
        char16_t* text = memory.data() + offset;
        units.copy(text, units.size());
        test(text);
    }
}

TEST(Text16Length, CountsTheUnitsBeforeTheFirstZeroUnit)
{
    for (std::size_t units = 0; units <= longest; ++units) {
        at_each_alignment(std::u16string(units, u'a') + u'\0',
                          [&](char16_t* text) { EXPECT_EQ(length(text), units); });
    }
}

TEST(Text16LimitedLength, ReadsNoFurtherThanTheLimit)
{
    for (std::size_t limit = 0; limit <= longest; ++limit) {
        at_each_alignment(std::u16string(limit, u'a'),
                          [&](char16_t* text) { EXPECT_EQ(length(text, limit), limit); });
    }
}

TEST(Text16LimitedLength, StopsAtTheFirstZeroUnitWhereverItStands)
{
    for (std::size_t zero = 0; zero < longest; ++zero) {
        std::u16string units(longest, u'a');
        units[zero] = 0;
        units[longest - 1] = 0;
        at_each_alignment(units, [&](char16_t* text) { EXPECT_EQ(length(text, longest), zero); });
    }
}

TEST(Text16LimitedLength, IsTheLimitWhereTheZeroUnitStandsBehindIt)
{
    const std::u16string units = std::u16string(20, u'a') + u'\0';
    at_each_alignment(units, [](char16_t* text) {
        for (std::size_t limit = 0; limit <= 20; ++limit) EXPECT_EQ(length(text, limit), limit);
    });
}

TEST(Text16LimitedLength, TakesAUnitWithOneZeroByteForNoZeroUnit)
{
    for (const char16_t unit : {u'\u0100', u'\u00FF', u'\uFF00', u'\u0001', u'\uFFFF'})
        EXPECT_EQ(length(std::u16string(longest, unit).c_str(), longest), longest);
}

TEST(Text16LimitedLength, OfNothingIsNothing)
{
    EXPECT_EQ(length(nullptr, 0), 0U);
}

// What is copied up to a limit, from memory of exactly that size into such memory, guard units around it.
void expect_text_copied(const std::u16string& source, std::size_t expected)
{
    at_each_alignment(source, [&](char16_t* text) {
        std::u16string memory(source.size() + 2, u'#');
        std::vector<char16_t> exact(source.size());
        EXPECT_EQ(copy_text(memory.data() + 1, text, source.size()), expected);
        EXPECT_EQ(memory,
                  u'#' + source.substr(0, expected) + std::u16string(source.size() - expected + 1, u'#'));
        EXPECT_EQ(copy_text(exact.data(), text, source.size()),
                  expected); // a sanitizer sees what is too much
    });
}

std::u16string different_units(std::size_t count)
{
    std::u16string units;
    for (std::size_t i = 0; i < count; ++i) units += static_cast<char16_t>(u'\u00FF' + i);
    return units;
}

TEST(Text16CopyText, CopiesEveryUnitUpToTheLimit)
{
    for (std::size_t limit = 1; limit <= longest; ++limit) expect_text_copied(different_units(limit), limit);
}

TEST(Text16CopyText, StopsAtTheFirstZeroUnitWhereverItStands)
{
    for (std::size_t zero = 0; zero < longest; ++zero) {
        std::u16string units = different_units(longest);
        units[zero] = 0;
        units[longest - 1] = 0;
        expect_text_copied(units, zero);
    }
}

TEST(Text16CopyText, CopiesNoUnitBehindALimitThatIsWithinTheText)
{
    const std::u16string source = different_units(longest);
    for (std::size_t limit = 0; limit < longest; ++limit) {
        std::u16string memory(longest, u'#');
        EXPECT_EQ(copy_text(memory.data(), source.data(), limit), limit);
        EXPECT_EQ(memory, source.substr(0, limit) + std::u16string(longest - limit, u'#'));
    }
}

// The destination as it is after a copy, the guard units around it with it.
std::u16string copied(const std::u16string& source, std::size_t count)
{
    std::u16string memory(count + 2, u'#');
    std::vector<char16_t> exact(source.begin(), source.end());
    copy(memory.data() + 1, exact.data(), count);
    return memory;
}

TEST(Text16Copy, CopiesTheTextAndFillsTheRestWithZeroUnits)
{
    for (std::size_t units = 0; units < longest; ++units) {
        const std::u16string text(units, u'a');
        std::u16string source = text + u'\0';
        source.resize(longest, u'b');
        EXPECT_EQ(copied(source, longest), u'#' + text + std::u16string(longest - units, u'\0') + u'#');
    }
}

// A record may say more units than its text has memory for: the text ends at its zero unit.
TEST(Text16Copy, ReadsNothingBehindTheFirstZeroUnit)
{
    for (std::size_t units = 0; units < longest; ++units) {
        const std::u16string text(units, u'a');
        EXPECT_EQ(copied(text + u'\0', longest), u'#' + text + std::u16string(longest - units, u'\0') + u'#');
    }
}

TEST(Text16Copy, WritesNoTerminatorWhereTheTextFillsTheCount)
{
    EXPECT_EQ(copied(u"abcdef", 6), u"#abcdef#");
    EXPECT_EQ(copied(u"abcdef", 4), u"#abcd#");
}

TEST(Text16Copy, CopiesNothingBehindTheFirstZeroUnit)
{
    EXPECT_EQ(copied(std::u16string(u"ab\0cd", 5), 5), std::u16string(u"#ab\0\0\0#", 7));
}

TEST(Text16Copy, OfNoUnitsWritesNothing)
{
    EXPECT_EQ(copied(u"a", 0), u"##");
}

TEST(Text16Append, PutsTheTextAndItsTerminatorBehindTheFirst)
{
    std::u16string memory = std::u16string(u"abc\0########", 12);
    append(memory.data(), u"de");
    EXPECT_EQ(memory, std::u16string(u"abcde\0######", 12));
    append(memory.data(), u"");
    EXPECT_EQ(memory, std::u16string(u"abcde\0######", 12));
}

TEST(Text16Append, ToAnEmptyTextIsACopy)
{
    std::u16string memory = std::u16string(u"\0########", 9);
    append(memory.data(), u"de");
    EXPECT_EQ(memory, std::u16string(u"de\0######", 9));
}

std::ptrdiff_t position(std::u16string text, const char16_t* part)
{
    const char16_t* found = find(text.data(), part);
    return found == nullptr ? -1 : found - text.data();
}

TEST(Text16Find, GivesTheFirstOccurrence)
{
    EXPECT_EQ(position(u"one two one two", u"two"), 4);
    EXPECT_EQ(position(u"one", u"one"), 0);
    EXPECT_EQ(position(u"xone", u"one"), 1);
    EXPECT_EQ(position(u"onone", u"one"), 2);
}

TEST(Text16Find, GivesNullWhereThereIsNone)
{
    EXPECT_EQ(position(u"on", u"one"), -1);
    EXPECT_EQ(position(u"", u"one"), -1);
    EXPECT_EQ(position(u"one tw", u"two"), -1);
    EXPECT_EQ(position(std::u16string(u"a\0one", 5), u"one"), -1);
}

TEST(Text16Find, FindsAnEmptyPartAtTheBegin)
{
    EXPECT_EQ(position(u"abc", u""), 0);
    EXPECT_EQ(position(u"", u""), 0);
}

} // namespace
} // namespace velk::text16
