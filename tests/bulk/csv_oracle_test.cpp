// The reader and the writer against a simple one, on small files made of what is awkward, cut at every place.

#include "bulk/pipeline.h"
#include "bulk/plain_csv.h"

#include <random>

namespace velk::bulk::test {
namespace {

// Every text of so many pieces.
std::vector<std::string> texts_of(const std::vector<std::string>& pieces, std::size_t length)
{
    std::vector<std::string> texts{""};
    std::size_t start = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const std::size_t end = texts.size();
        for (std::size_t k = start; k < end; ++k)
            for (const std::string& piece : pieces) texts.push_back(texts[k] + piece);
        start = end;
    }
    return texts;
}

Outcome kept_value(const PlainCell& cell)
{
    if (cell.text.find('\0') != std::string::npos) return {{}, code::zero_character};
    return !cell.quoted && cell.text.empty() ? Outcome{} : Outcome{cell.text, 0};
}

std::vector<std::vector<Outcome>> kept_values(const PlainCsv& csv)
{
    std::vector<std::vector<Outcome>> values;
    for (const PlainRow& row : csv.rows) {
        std::vector<Outcome>& kept = values.emplace_back();
        for (const PlainCell& cell : row.cells) kept.push_back(kept_value(cell));
    }
    return values;
}

class Compared {
public:
    explicit Compared(std::size_t width, const CsvFormat& format = {}) : format(format)
    {
        const std::vector<std::int32_t> columns(width, -1);
        const LaneDefinition definition{0, nullptr, columns.data(), width, nullptr, 0, nullptr, 0};
        EXPECT_TRUE(open(lane, definition));
    }
    ~Compared() { close(lane); }

    void compare(const std::string& text, std::size_t block)
    {
        const PlainCsv expected = read_plain(text, lane.width, format);
        const CsvResult result = run_csv(lane, text, block, format);
        const std::string where = testing::PrintToString(text) + " by " + std::to_string(block);
        ASSERT_EQ(result.output, write_plain(expected, kept_values(expected), {}, format)) << where;
        ASSERT_EQ(static_cast<int>(result.problem.fault), static_cast<int>(expected.fault)) << where;
        ASSERT_EQ(result.rows, static_cast<std::int64_t>(expected.rows.size())) << where;
        if (expected.fault == CsvFault::none) return;
        ASSERT_EQ(result.problem.byte, static_cast<std::int64_t>(expected.byte)) << where;
        const bool of_byte = expected.fault == CsvFault::ill_formed;
        ASSERT_EQ(of_byte ? result.problem.line : result.problem.row_line, expected.line) << where;
    }

private:
    Lane lane;
    CsvFormat format;
};

TEST(CsvOracle, every_short_text_is_read_and_written_alike_whatever_the_blocks)
{
    const std::vector<std::string> texts = texts_of({"a", ",", "\"", "\n", "\r", "\xC3\xA4", "\xC3"}, 4);
    Compared one(1), two(2);
    for (const std::string& text : texts) {
        for (std::size_t block = 1; block <= text.size() + 1; ++block) {
            one.compare(text, block);
            two.compare(text, block);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(CsvOracle, every_short_text_of_quotes_is_read_and_written_alike)
{
    Compared one(1), two(2);
    for (const std::string& text : texts_of({"a", ",", "\"", "\"\"", "\r\n"}, 5)) {
        for (std::size_t block = 1; block <= text.size() + 1; block += 2) {
            one.compare(text, block);
            two.compare(text, block);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(CsvOracle, random_files_are_read_and_written_alike_cut_at_every_place)
{
    std::mt19937 random(2026);
    const std::string cells[] = {"",
                                 "\"\"",
                                 "plain",
                                 "\"quoted\"",
                                 "\"two\nlines\"",
                                 "\"a\r\nb\rc\"",
                                 "\"say \"\"no\"\"\"",
                                 "37'8\"N",
                                 "äöü€😀",
                                 "\"\"\"\"",
                                 "\",\"",
                                 " x ",
                                 std::string(70, 'x'),
                                 "\"" + std::string(70, '\n') + "\""};
    const std::string ends[] = {"\n", "\r\n", "\r"};
    Compared three(3), other(3, {';', '\'', true});
    for (int round = 0; round < 150; ++round) {
        std::string text;
        for (std::size_t rows = random() % 6; rows > 0; --rows) {
            for (int i = 0; i < 3; ++i) text += (i > 0 ? "," : "") + cells[random() % std::size(cells)];
            text += ends[random() % 3];
        }
        if (random() % 3 == 0 && !text.empty()) text.pop_back();
        if (random() % 4 == 0 && !text.empty()) text[random() % text.size()] = "\",\n\r\xC3\0x"[random() % 7];
        for (std::size_t block = 1; block <= text.size() + 1; ++block) {
            three.compare(text, block);
            if (block % 8 == 1) other.compare(text, block);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(CsvOracle, blank_lines_are_skipped_alike)
{
    Compared two(2, {',', '"', true});
    for (const std::string& text : texts_of({"a", ",", "\"", "\n", "\r"}, 5)) {
        two.compare(text, 2);
        if (HasFatalFailure()) return;
    }
}

} // namespace
} // namespace velk::bulk::test
