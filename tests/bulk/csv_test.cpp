#include "bulk/csv_block.h"

#include "bulk/pipeline.h"
#include "bulk/plain_csv.h"
#include "support/allocation.h"

#include <cstring>

namespace velk::bulk::test {
namespace {

// A table of so many columns, all of which go round the engine.
struct Kept {
    explicit Kept(std::size_t width) : columns(width, -1)
    {
        const LaneDefinition definition{0, nullptr, columns.data(), width, nullptr, 0, nullptr, 0};
        EXPECT_TRUE(open(lane, definition));
    }
    ~Kept() { close(lane); }

    std::vector<std::int32_t> columns;
    Lane lane;
};

CsvResult keep(const std::string& text, std::size_t width, std::size_t block = std::size_t{1} << 18,
               const CsvFormat& format = {})
{
    const auto kept = std::make_unique<Kept>(width);
    return run_csv(kept->lane, text, block, format);
}

const std::string kept_texts[] = {
    "a,b\n1,2\n",
    "a,b\n1,2",
    "a,b\r\n1,2\r\n",
    "a,b\r\n1,2",
    "a,b\r1,2\r",
    "a,b\r\n1,2\n3,4\r5,6\r\n7,8",
    "a,b\n",
    "a,b",
    "a,b\n\"1\",2\n1,\"2\"\n",
    "a,b\n,\"\"\n\"\",\n",
    "a,b\n\"x,y\",\"say \"\"no\"\"\"\n",
    "a,b\n\"two\nlines\",\"three\r\nmore\rlines\"\r\nend,end\n",
    "a,b\n\"\n\",\"\r\"\n\"\r\n\",\"\"\"\"",
    "a,b\n#1,# 2\n",
    "a,b\n x , y\t\n",
    "a,b\nä😀,\"😀\"\n",
    "a,b\n\xEF\xBF\xBF,\n",
    ",\n,\n",
    "",
};

TEST(Csv, what_is_kept_comes_out_as_it_went_in_whatever_the_blocks)
{
    for (const std::string& text : kept_texts)
        for (std::size_t block = 1; block <= text.size() + 1; ++block)
            ASSERT_EQ(keep(text, 2, block).output, text) << block;
}

TEST(Csv, one_column_may_have_lines_of_nothing)
{
    for (const std::string text : {"a\n\nx\n\n", "a\n\"\"", "\"a\"\n\"\"\n", "\r\n\r\n", "\r\r\n\n"})
        for (std::size_t block = 1; block <= text.size() + 1; ++block)
            ASSERT_EQ(keep(text, 1, block).output, text) << block;
}

TEST(Csv, a_bare_quote_is_written_so_that_every_reader_knows_it)
{
    EXPECT_EQ(keep("a,37'8\"N\nb\"\",c\n", 2).output, "a,\"37'8\"\"N\"\n\"b\"\"\"\"\",c\n");
}

TEST(Csv, kept_values_are_counted)
{
    const CsvResult result = keep("1,\n\"\",\n,x\n", 2);
    EXPECT_EQ(result.counts, (std::vector<Counts>{{0, 1, 1, 1}, {0, 2, 1, 0}}));
    EXPECT_EQ(result.rows, 3);
}

TEST(Csv, a_kept_value_with_a_zero_character_is_an_error_as_it_would_be_on_its_way_to_the_engine)
{
    const CsvResult result = keep(std::string("1,2\n1\0,\"\0\"\n\0,\n", 15), 2);
    EXPECT_EQ(result.output, "1,2\n,\n,\n");
    EXPECT_EQ(result.errors, (std::vector<Error>{{1, 0, -101}, {1, 1, -101}, {2, 0, -101}}));
    EXPECT_EQ(result.counts, (std::vector<Counts>{{0, 0, 1, 0}, {0, 1, 1, 0}}));
}

TEST(Csv, masked_values_are_quoted_where_they_were_or_must_be)
{
    const Service service("service=s a=fixed('x') b=fixed('y,z') c=fixed('')");
    OpenLane opened(service);
    EXPECT_EQ(run_csv(opened.lane, "1,2,3\n\"1\",\"2\",\"3\"\n").output,
              "x,\"y,z\",\"\"\n\"x\",\"y,z\",\"\"\n");
}

TEST(Csv, masked_values_with_marked_characters_are_quoted_and_their_quotes_doubled)
{
    const struct {
        const char* result;
        const char* written;
    } rows[] = {{"a\nb", "\"a\nb\""}, {"a\rb", "\"a\rb\""},     {"a\"b", "\"a\"\"b\""},
                {"\"", "\"\"\"\""},   {"\"\"", "\"\"\"\"\"\""}, {"a;b", "a;b"},
                {"#a", "#a"},         {" a ", " a "},           {"ä😀", "ä😀"}};
    for (const auto& [result, written] : rows) {
        const Service service("service=s a=fixed('" + std::string(result) + "') b=keep");
        OpenLane opened(service);
        EXPECT_EQ(run_csv(opened.lane, "1,2\n").output, std::string(written) + ",2\n");
        EXPECT_EQ(run_csv(opened.lane, "\"1\",2\n").output.substr(0, 2),
                  result[0] == '"' ? "\"\"" : std::string("\"") + result[0]);
    }
}

TEST(Csv, null_stays_null_and_empty_stays_empty)
{
    const Service service("service=s key=env:VELK_TEST_KEY a=hash b=keep c=null");
    OpenLane opened(service, {0, -1, 1, 2});
    const CsvResult result = run_csv(opened.lane, ",1,x,\n\"\",2,\"\",3\n");
    EXPECT_EQ(result.output, ",1,x,\n\"\",2,\"\",\n");
    EXPECT_EQ(result.counts, (std::vector<Counts>{{0, 1, 0, 1}, {0, 0, 2, 0}, {0, 0, 1, 1}, {1, 1, 0, 0}}));
}

TEST(Csv, a_last_row_of_one_null_is_not_lost_with_the_missing_line_end)
{
    const Service service("service=s a=null");
    for (std::size_t block = 1; block < 10; ++block) {
        OpenLane opened(service);
        EXPECT_EQ(run_csv(opened.lane, "a\r\nx\r\ny", block, {}, true).output, "a\r\n\r\n\r\n");
        EXPECT_EQ(run_csv(opened.lane, "a\rx\n\ry", block, {}, true).output, "a\r\n\r\r");
        EXPECT_EQ(run_csv(opened.lane, "y", block).output, "\n");
        EXPECT_EQ(run_csv(opened.lane, "\"y\"", block).output, "\n");
    }
}

TEST(Csv, the_header_is_written_as_it_is_and_not_counted)
{
    const Service service("service=s a=null b=fixed('x')");
    OpenLane opened(service);
    const CsvResult result = run_csv(opened.lane, "\"a\",b\"\r\n1,2\r\n", 4, {}, true);
    EXPECT_EQ(result.output, "\"a\",\"b\"\"\"\r\n,x\r\n");
    EXPECT_EQ(result.rows, 1);
    EXPECT_EQ(result.counts, (std::vector<Counts>{{1, 0, 0, 0}, {1, 0, 0, 0}}));
}

TEST(Csv, blank_lines_are_skipped_where_that_is_asked)
{
    const CsvFormat format{',', '"', true};
    const std::string text = "\n\r\n1,2\n\n\n3,4\r\n\r\r\n\"\n\n\",5\n\n";
    for (std::size_t block = 1; block <= text.size() + 1; ++block) {
        const CsvResult result = keep(text, 2, block, format);
        EXPECT_EQ(result.output, "1,2\n3,4\r\n\"\n\n\",5\n");
        EXPECT_EQ(result.problem.fault, CsvFault::none);
        EXPECT_EQ(result.rows, 3);
    }
    EXPECT_EQ(keep("\n\n1,2\n\n3\n", 2, 100, format).problem.line, 5);
    EXPECT_EQ(keep("a\n\nb\n", 1, 100, format).output, "a\nb\n");
}

TEST(Csv, other_delimiters_and_quotes_are_as_good)
{
    const CsvFormat format{'\t', '\'', false};
    const Service service("service=s a=fixed('x\ty') b=fixed(\"it's\") c=fixed('a,\"b')");
    OpenLane opened(service);
    EXPECT_EQ(run_csv(opened.lane, "1\t'2'\t3\n", 4, format).output, "'x\ty'\t'it''s'\ta,\"b\n");
}

TEST(Csv, a_value_with_an_error_has_nothing_but_its_replacement_in_the_output)
{
    const Service service("service=s key=env:VELK_TEST_KEY a=dateshift(days=3) a.type=date b=keep");
    const std::string text = "2024-02-29,1\nsecret,2\n\"secret\",3\n";
    const struct {
        Text replacement;
        const char* written;
    } policies[] = {{{}, ",2\n,3\n"},
                    {"", "\"\",2\n\"\",3\n"},
                    {"***", "***,2\n\"***\",3\n"},
                    {"a\"b", "\"a\"\"b\",2\n\"a\"\"b\",3\n"}};
    for (const auto& [replacement, written] : policies) {
        OpenLane opened(service, replacement);
        const CsvResult result = run_csv(opened.lane, text);
        EXPECT_EQ(result.output.substr(result.output.find('\n') + 1), written);
        EXPECT_EQ(result.output.find("secret"), std::string::npos);
        EXPECT_EQ(result.counts[0], (Counts{1, 0, 0, 0}));
        EXPECT_EQ(result.counts[1], (Counts{0, 0, 3, 0}));
        ASSERT_EQ(result.errors.size(), 2U);
        EXPECT_EQ(result.errors[0].row, 1);
        EXPECT_EQ(result.errors[1].row, 2);
        EXPECT_EQ(result.errors[1].code, mask_alone(service, {"secret", "3"})[0].error);
    }
}

struct Refusal {
    const char* what;
    std::string text;
    CsvFault fault;
    std::int64_t byte;
    std::int64_t line;
    std::int64_t row_line;
    std::int64_t last_row_line;
    std::int64_t values;
    std::string output; // of the rows in front
};

const Refusal refusals[] = {
    {"too short", "a,b\n\"1\n1\",2\n3\n", CsvFault::width, 12, 4, 4, 2, 1, "a,b\n\"1\n1\",2\n"},
    {"too long", "a,b\n1,2,3\n", CsvFault::width, 4, 2, 2, 1, 3, "a,b\n"},
    {"ends with a delimiter", "a,b\n1,2,", CsvFault::width, 4, 2, 2, 1, 3, "a,b\n"},
    {"an empty line", "a,b\n1,2\n\n", CsvFault::blank_line, 8, 3, 3, 2, 1, "a,b\n1,2\n"},
    {"an empty line in front", "\r\n1,2\n", CsvFault::blank_line, 0, 1, 1, 0, 1, ""},
    {"never closed", "a,b\n1,2\n3,\"4\n5,6\n", CsvFault::unclosed_quote, 10, 3, 3, 2, 1, "a,b\n1,2\n"},
    {"never closed, no line end", "a,b\n1,2\n3,\"4", CsvFault::unclosed_quote, 10, 3, 3, 2, 1, "a,b\n1,2\n"},
    {"only opened", "a,b\n1,2\n3,\"", CsvFault::unclosed_quote, 10, 3, 3, 2, 1, "a,b\n1,2\n"},
    {"one of two at the end", "a,b\n1,2\n3,\"x\"\"", CsvFault::unclosed_quote, 10, 3, 3, 2, 1, "a,b\n1,2\n"},
    {"never closed in the first row", "a,\"b", CsvFault::unclosed_quote, 2, 1, 1, 0, 1, ""},
    {"never closed behind a break", "a,b\n\"1\n1\",\"2", CsvFault::unclosed_quote, 10, 3, 2, 1, 1, "a,b\n"},
    {"behind a closing quote", "a,b\n\"1\"x,2\n", CsvFault::behind_quote, 7, 2, 2, 1, 0, "a,b\n"},
    {"a blank behind a closing quote", "a,b\n1,\"\n2\" \n", CsvFault::behind_quote, 10, 3, 2, 1, 1, "a,b\n"},
    {"a byte that starts nothing", "a,b\nä,2\n\x80", CsvFault::ill_formed, 9, 3, 3, 2, 0, "a,b\nä,2\n"},
    {"a sequence that breaks off", "a,b\nä,2\n1,2\n\xE2\x82", CsvFault::ill_formed, 13, 4, 4, 3, 0,
     "a,b\nä,2\n1,2\n"},
    {"ill-formed in quotes", "a,b\n1,\"x\ny\xFF\"\n", CsvFault::ill_formed, 10, 3, 2, 1, 1, "a,b\n"},
    {"ill-formed behind a quote", "a,b\n1,\"x\"\xFF\n", CsvFault::ill_formed, 9, 2, 2, 1, 1, "a,b\n"},
    {"ill-formed behind half a line end", "a,b\r\xFF", CsvFault::ill_formed, 4, 2, 2, 1, 0, "a,b\r"},
    {"the first of two faults", "a,b\n1\n\xFF", CsvFault::width, 4, 2, 2, 1, 1, "a,b\n"},
};

TEST(Csv, what_cannot_be_read_is_told_with_its_place_whatever_the_blocks)
{
    for (const Refusal& expected : refusals) {
        SCOPED_TRACE(expected.what);
        for (std::size_t block = 1; block <= expected.text.size() + 1; ++block) {
            const CsvResult result = keep(expected.text, 2, block);
            EXPECT_EQ(result.problem.fault, expected.fault);
            EXPECT_EQ(result.problem.byte, expected.byte);
            EXPECT_EQ(result.problem.line, expected.line);
            EXPECT_EQ(result.problem.row_line, expected.row_line);
            EXPECT_EQ(result.problem.values, expected.values);
            EXPECT_EQ(result.output, expected.output);
            // Only the block itself is asked; of the ones before it its caller knows.
            if (block > expected.text.size()) {
                EXPECT_EQ(result.problem.last_row_line, expected.last_row_line);
            }
        }
    }
}

TEST(Csv, ill_formed_text_far_behind_the_start_is_told_to_the_byte)
{
    std::string text;
    for (int i = 0; i < 100'001; ++i) text += "ä,2\n";
    const CsvProblem problem = keep(text + "\xFF", 2).problem;
    EXPECT_EQ(problem.fault, CsvFault::ill_formed);
    EXPECT_EQ(problem.byte, static_cast<std::int64_t>(text.size()));
    EXPECT_EQ(problem.line, 100'002);
}

TEST(Csv, the_longest_value_is_counted_in_units_however_it_is_written)
{
    const auto repeated = [](const std::string& text, std::size_t times) {
        std::string all;
        for (std::size_t i = 0; i < times; ++i) all += text;
        return all;
    };
    for (const auto& [text, units] :
         {std::pair<std::string, std::size_t>{"x", 1}, {"я", 1}, {"€", 1}, {"😀", 2}, {"\"\"", 1}}) {
        const std::string longest = repeated(text, longest_value / units);
        const std::string quote = text == "\"\"" ? "\"" : "";
        const std::string good = "1," + quote + longest + quote + "\n";
        EXPECT_EQ(keep(good, 2).output, good) << text;
        const std::string bad = "1," + quote + longest + text + quote + "\n";
        const CsvProblem problem = keep("1,2\n" + bad, 2).problem;
        EXPECT_EQ(problem.fault, CsvFault::value_too_long) << text;
        EXPECT_EQ(problem.byte, 6 + static_cast<std::int64_t>(quote.size()));
        EXPECT_EQ(problem.line, 2);
        EXPECT_EQ(problem.last_row_line, 0); // it stands in an earlier block
    }
}

TEST(Csv, the_longest_row_is_counted_in_units_of_all_its_values)
{
    const std::string value(longest_value - 9, 'x');
    const std::string rest(9, 'x');
    const std::string longest = value + "," + value + "," + rest + ",\"" + rest + "\"";
    EXPECT_EQ(keep(longest + ",\n", 5).output, longest + ",\n");
    const CsvProblem problem = keep("a,b\n" + longest + ",1\n", 2).problem;
    EXPECT_EQ(problem.fault, CsvFault::row_too_long);
    EXPECT_EQ(problem.row_line, 2);
    EXPECT_EQ(problem.byte, 4);
    std::string wide;
    for (std::size_t i = 0; i < longest_value - 9; ++i) wide += "я";
    EXPECT_EQ(keep(wide + "," + wide + "\n", 2).problem.fault, CsvFault::none);
}

TEST(Csv, a_quote_that_is_never_closed_in_a_large_file_ends_with_the_longest_value)
{
    const std::string text = "1,2\n1,\"" + std::string(longest_raw_row + longest_raw_row / 2, '\n');
    const CsvResult result = keep(text, 2, std::size_t{1} << 20);
    EXPECT_EQ(result.problem.fault, CsvFault::value_too_long);
    EXPECT_EQ(result.problem.row_line, 2);
    EXPECT_EQ(result.output, "1,2\n");
}

TEST(Csv, nothing_is_written_of_rows_whose_masking_failed)
{
    const Service service("service=s a=keep b=keep");
    OpenLane opened(service);
    int calls = 0;
    const FakeEngine engine([&](std::int32_t handle, SVCA* record, RWST* rows) {
        return ++calls == 2 ? 7191 : real_service(handle, record, rows);
    });
    const CsvResult result = run_csv(opened.lane, "1,2\n3,4\n5,6\n", 4);
    EXPECT_EQ(result.status, 7191);
    EXPECT_EQ(result.output, "1,2\n");
    const RowSet& rows = opened.lane.rows;
    EXPECT_EQ(std::string(rows.room.start, rows.used), std::string(rows.used, '\0'));
    EXPECT_EQ(rows.used, 32U); // two values
}

TEST(Csv, half_a_surrogate_pair_from_the_engine_is_an_error_of_its_value)
{
    const Service service("service=s a=keep b=keep");
    OpenLane opened(service, "?");
    const FakeEngine engine([&](std::int32_t, SVCA*, RWST* rows) {
        static_cast<char16_t*>(rows->firstRow->firstField->buffer)[1] = 0xD800;
        return 0;
    });
    const CsvResult result = run_csv(opened.lane, "123,2\n\"123\",4\n");
    EXPECT_EQ(result.output, "?,2\n\"123\",4\n");
    EXPECT_EQ(result.errors, (std::vector<Error>{{0, 0, code::lone_surrogate}}));
}

TEST(Csv, a_row_in_error_of_which_no_value_is_loses_all_of_them)
{
    const Service service("service=s a=keep b=keep");
    OpenLane opened(service, {0, -1, 1});
    const FakeEngine engine([&](std::int32_t, SVCA*, RWST* rows) {
        rows->firstRow->hasError = 1;
        rows->firstRow->next->hasError = 1;
        rows->firstRow->next->firstField->errorCode = 7500;
        return 0;
    });
    const CsvResult result = run_csv(opened.lane, std::string("1,2\0,3\n4,5,6\n", 13));
    EXPECT_EQ(result.output, ",,\n,5,6\n");
    EXPECT_EQ(
        result.errors,
        (std::vector<Error>{
            {0, 0, code::whole_row}, {0, 1, code::zero_character}, {0, 2, code::whole_row}, {1, 0, 7500}}));
}

TEST(Csv, memory_that_is_not_there_is_told_wherever_it_lacks)
{
    const Service service("service=s a=fixed('a \"long\" text that makes its output grow') b=keep");
    const std::string text = "1,\"2\"\"\"\n" + std::string(1, '\0') + ",4\n";
    for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        velk::test::Allocations heap;
        OpenLane opened(service, "?");
        CsvBlock block;
        Output output;
        heap.fail(nth);
        std::int32_t status = begin(block, opened.lane, {}, text.data(), text.size(), LineEnd::lf, output)
                                  ? 0
                                  : code::out_of_memory;
        if (status == 0) status = load(block, opened.lane);
        if (status > 0) status = mask(opened.lane);
        if (status == 0) status = write(block, opened.lane);
        EXPECT_EQ(status, heap.has_failed() ? code::out_of_memory : 0);
        const bool done = !heap.has_failed();
        release(output.memory);
        close(block);
        close(opened.lane);
        if (done) break;
        ASSERT_LT(nth, 30U);
    }
}

} // namespace
} // namespace velk::bulk::test
