#include "bulk/csv_split.h"

#include "bulk/pipeline.h"
#include "bulk/plain_csv.h"

namespace velk::bulk::test {
namespace {

using Blocks = std::vector<std::string>;

TEST(CsvSplit, a_block_ends_with_the_last_row_that_is_whole)
{
    EXPECT_EQ(cut("1,2\n3,4\n5,6\n", 9), (Blocks{"1,2\n3,4\n", "5,6\n"}));
    EXPECT_EQ(cut("1,2\n3,4\n5,6\n", 8), (Blocks{"1,2\n3,4\n", "5,6\n"}));
    EXPECT_EQ(cut("1,2\n3,4\n5,6\n", 7), (Blocks{"1,2\n", "3,4\n", "5,6\n"}));
}

TEST(CsvSplit, a_missing_last_line_end_ends_a_row_only_with_the_text)
{
    EXPECT_EQ(cut("1,2\n3,4", 7), (Blocks{"1,2\n3,4"}));
    EXPECT_EQ(cut("1,2\n3,4", 6), (Blocks{"1,2\n", "3,4"}));
    EXPECT_EQ(cut("1", 1), (Blocks{"1"}));
}

TEST(CsvSplit, a_CR_at_the_end_of_a_block_may_be_half_a_line_end)
{
    EXPECT_EQ(cut("1,2\r\n3,4\r\n", 4), (Blocks{"1,2\r\n", "3,4\r\n"}));
    EXPECT_EQ(cut("1,2\r\n3,4\r\n", 9), (Blocks{"1,2\r\n", "3,4\r\n"}));
    EXPECT_EQ(cut("1,2\r3,4\r", 4), (Blocks{"1,2\r3,4\r"})); // four bytes are not enough, eight are all
    EXPECT_EQ(cut("1,2\r3,4\r", 5), (Blocks{"1,2\r", "3,4\r"}));
    EXPECT_EQ(cut("1\n2\r3\r", 4), (Blocks{"1\n", "2\r3\r"}));
    EXPECT_EQ(cut("1\r\r\n2", 3), (Blocks{"1\r", "\r\n2"}));
}

TEST(CsvSplit, a_break_inside_of_quotes_ends_no_row_wherever_the_block_ends)
{
    const std::string row = "a,\"x\n\"\"\r\ny\r\"\n";
    for (std::size_t block = 1; block < 3 * row.size(); ++block)
        for (const std::string& piece : cut(row + row + row, block))
            EXPECT_EQ(piece.size() % row.size(), 0U) << block;
}

TEST(CsvSplit, a_row_over_three_blocks_is_one_piece)
{
    const std::string row = "1,\"" + std::string(10, '\n') + std::string(10, 'x') + "\",2\n";
    const std::string next = "3,4," + std::string(20, 'y') + "\n";
    EXPECT_EQ(cut("a,b,c\n" + row + next, 10), (Blocks{"a,b,c\n", row, next}));
}

TEST(CsvSplit, a_quote_at_the_end_of_a_block_may_be_one_of_two)
{
    EXPECT_EQ(cut("\"x\"\"\ny\"\nzzzzz\n", 3), (Blocks{"\"x\"\"\ny\"\n", "zzzzz\n"}));
    EXPECT_EQ(cut("\"x\"\ny\nz\n", 3), (Blocks{"\"x\"\ny\n", "z\n"}));
    EXPECT_EQ(cut("\"x\"\"\"\ny\nz\n", 4), (Blocks{"\"x\"\"\"\ny\n", "z\n"}));
}

TEST(CsvSplit, a_quote_inside_of_an_unquoted_value_opens_nothing)
{
    EXPECT_EQ(cut("37'8\"N\n\"\n\"\n", 8), (Blocks{"37'8\"N\n", "\"\n\"\n"}));
    EXPECT_EQ(cut("a b\"c,\"x\ny\"\nz\n", 13), (Blocks{"a b\"c,\"x\ny\"\n", "z\n"}));
}

TEST(CsvSplit, what_no_reader_can_read_ends_the_search)
{
    // Behind the closing quote stands a character: whoever reads the row tells it.
    EXPECT_EQ(cut("1\n\"2\"x\n3\n4\n", 9), (Blocks{"1\n\"2\"x\n3\n", "4\n"}));
    EXPECT_EQ(cut("1\n\"2\n3\n", 4), (Blocks{"1\n", "\"2\n3\n"}));
}

TEST(CsvSplit, a_character_behind_a_closing_quote_is_waited_for)
{
    const std::string text = "\"2\"\xF0\x9F\x98\x80\n";
    for (std::size_t block = 1; block < text.size(); ++block) EXPECT_GE(cut(text, block)[0].size(), 7U);
}

TEST(CsvSplit, a_row_longer_than_any_may_be_ends_the_search)
{
    const std::string text = "1\n\"" + std::string(longest_raw_row, '\n');
    EXPECT_EQ(cut(text, std::size_t{1} << 20).size(), 2U);
    CsvSplit found;
    split(found, {}, text.data() + 2, longest_raw_row, false);
    EXPECT_FALSE(found.ended);
    split(found, {}, text.data() + 2, longest_raw_row + 1, false);
    EXPECT_TRUE(found.ended);
    EXPECT_EQ(found.whole, longest_raw_row + 1);
}

TEST(CsvSplit, other_delimiters_and_quotes_are_as_good)
{
    const CsvFormat format{'\t', '\'', false};
    EXPECT_EQ(cut("a\t'x\ny'\n\"\n", 9, format), (Blocks{"a\t'x\ny'\n", "\"\n"}));
}

TEST(CsvFormat, is_sound_where_its_characters_can_be_told_apart)
{
    EXPECT_TRUE(is_sound({}));
    EXPECT_TRUE(is_sound({'\t', '\'', true}));
    for (const CsvFormat& format :
         {CsvFormat{',', ','}, CsvFormat{'\n', '"'}, CsvFormat{'\r', '"'}, CsvFormat{0, '"'},
          CsvFormat{'\xC2', '"'}, CsvFormat{',', '\r'}, CsvFormat{',', '\x80'}})
        EXPECT_FALSE(is_sound(format));
}

} // namespace
} // namespace velk::bulk::test
