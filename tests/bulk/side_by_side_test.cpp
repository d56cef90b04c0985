// The lane beside single calls of the engine: the same values through records of their own, row by row.

#include "bulk/pipeline.h"
#include "bulk/plain_csv.h"

#include <random>

namespace velk::bulk::test {
namespace {

using Random = std::mt19937;

const char* const rules[] = {
    "=keep",
    "=null",
    "=fixed('a \"text\", longer than most')",
    "=fixed('')",
    "=partial(keep_first=1, keep_last=2)",
    "=partial(keep_last=4, with='#')",
    "=classes",
    "=hash",
    "=hash(length=8, scope=other)",
    "=card(keep_first=6)",
    "=email",
    "=email(domain=example.org)",
    "=dict(list=first_names)",
    "=dict(list=streets)",
    "=ff1",
    "=dateshift(days=30) {}.type=date",
    "=dateshift(days=9) {}.type=timestamp",
    "=noise(percent=10) {}.type=integer",
    "=noise(percent=50) {}.type='decimal(9,2)'",
    "=classes {}.type=varchar(6)",
    "=keep {}.type=varchar(3)",
    "=keep {}.type=char(1)",
    "=partial(keep_first=1) {}.type=varchar(8)",
    "=hash(length=12) {}.type=varchar(20) {}.unique=true",
    "=classes {}.type=integer",
};

std::string masking_string(Random& random, std::size_t width)
{
    std::string text = "service=s key=env:VELK_TEST_KEY";
    if (random() % 4 == 0) text += " on_null=mask";
    for (std::size_t i = 0; i < width; ++i) {
        std::string name = "c" + std::to_string(i);
        std::string rule = rules[random() % std::size(rules)];
        for (std::size_t at = rule.find("{}"); at != std::string::npos; at = rule.find("{}"))
            rule.replace(at, 2, name);
        text += " " + name + rule;
    }
    // The engine's own replacement must be a value of every type.
    const bool any_text = text.find(".type=") == std::string::npos;
    if (any_text && random() % 2 == 0) text += " on_error=fixed('*')";
    return text;
}

Text value(Random& random)
{
    static const std::string values[] = {"",
                                         "a",
                                         "Anna",
                                         "Zoë",
                                         "Zoe\xCC\x88",
                                         "😀😀",
                                         "日本語のとても長い値です",
                                         "4012 8888 8888 1881",
                                         "4012888888881881",
                                         "zoe@example.org",
                                         "2024-02-29",
                                         "1999-12-31T23:59:59.5",
                                         "0001-01-01",
                                         "123456",
                                         "-98765.43",
                                         "007",
                                         "9223372036854775807",
                                         "say \"no\"",
                                         "a,b",
                                         "two\nlines",
                                         "cr\rlf\r\n",
                                         " ",
                                         "\t",
                                         "123-45-6789",
                                         "ÄÖÜ äöü ß",
                                         "\xEF\xBF\xBF",
                                         "a\xCC\x81",
                                         "1234567",
                                         "1234567😀",
                                         "#",
                                         std::string("zero\0", 5),
                                         std::string(300, 'x'),
                                         "x\xE2\x80\x8By"};
    switch (random() % 8) {
    case 0:
        return std::nullopt;
    case 1:
        return std::to_string(random());
    case 2:
        return std::string(random() % 40, static_cast<char>('a' + random() % 26));
    default:
        return values[random() % std::size(values)];
    }
}

std::vector<std::vector<Text>> random_rows(Random& random, std::size_t width)
{
    std::vector<std::vector<Text>> rows(1 + random() % 30);
    for (auto& row : rows)
        for (std::size_t i = 0; i < width; ++i) row.push_back(value(random));
    return rows;
}

// Values with an error have nothing but the replacement.
std::vector<std::vector<Outcome>>
expected_of(const Service& service, const std::vector<std::vector<Text>>& rows, const Text& replacement)
{
    std::vector<std::vector<Outcome>> expected;
    for (const auto& row : rows) {
        expected.push_back(mask_alone(service, row));
        for (Outcome& outcome : expected.back())
            if (outcome.error != 0) outcome.text = replacement;
    }
    return expected;
}

std::string csv_of(Random& random, const std::vector<std::vector<Text>>& rows)
{
    std::string text;
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (i > 0) text += ',';
            if (!row[i]) continue;
            const bool quoted =
                random() % 3 == 0 || row[i]->empty() || row[i]->find_first_of(",\"\r\n") != std::string::npos;
            std::string escaped;
            for (const char byte : *row[i]) escaped.append(quoted && byte == '"' ? 2 : 1, byte);
            text += quoted ? '"' + escaped + '"' : escaped;
        }
        text += random() % 2 == 0 ? "\n" : "\r\n";
    }
    return text;
}

TEST(SideBySide, columns_are_masked_as_single_values_are)
{
    Random random(1);
    for (int round = 0; round < 150; ++round) {
        const std::size_t width = 1 + random() % 6;
        const std::string rules_used = masking_string(random, width);
        SCOPED_TRACE(rules_used);
        const Service service(rules_used);
        const Text replacement = random() % 2 == 0 ? Text() : Text("*\"*");
        OpenLane opened(service, replacement);
        const auto rows = random_rows(random, width);
        const auto expected = expected_of(service, rows, replacement);
        ASSERT_EQ(run_columns(opened.lane, rows), expected);
        // The same lane once more: nothing is left of the batch before.
        ASSERT_EQ(run_columns(opened.lane, rows), expected);
    }
}

TEST(SideBySide, csv_is_masked_as_single_values_are)
{
    Random random(2);
    for (int round = 0; round < 150; ++round) {
        const std::size_t width = 1 + random() % 6;
        const std::string rules_used = masking_string(random, width);
        SCOPED_TRACE(rules_used);
        const Service service(rules_used);
        const Text replacement = random() % 2 == 0 ? Text() : Text("*\"*");
        OpenLane opened(service, replacement);
        const auto rows = random_rows(random, width);
        const std::string text = csv_of(random, rows);
        const auto expected = expected_of(service, rows, replacement);
        const CsvResult result = run_csv(opened.lane, text, 1 + random() % 500);
        ASSERT_EQ(result.problem.fault, CsvFault::none) << testing::PrintToString(text);
        ASSERT_EQ(result.output, write_plain(read_plain(text, width), expected, replacement));
        std::vector<Error> errors;
        std::vector<Counts> counts(width);
        for (std::size_t row = 0; row < rows.size(); ++row) {
            for (std::size_t i = 0; i < width; ++i) {
                const Outcome& outcome = expected[row][i];
                if (outcome.error != 0)
                    errors.push_back(
                        {static_cast<std::int32_t>(row), static_cast<std::int32_t>(i), outcome.error});
                else if (outcome.text != rows[row][i])
                    ++counts[i].masked;
                else if (!outcome.text)
                    ++counts[i].nulls_kept;
                else
                    ++(outcome.text->empty() ? counts[i].empty_kept : counts[i].left_equal);
            }
        }
        ASSERT_EQ(result.errors, errors);
        ASSERT_EQ(result.counts, counts);
    }
}

TEST(SideBySide, columns_of_a_table_stand_in_another_order_than_those_of_the_service)
{
    Random random(3);
    for (int round = 0; round < 40; ++round) {
        const Service service(masking_string(random, 3));
        const std::vector<std::int32_t> orders[] = {{2, 0, 1}, {1, -1, 0, 2}, {-1, 2, 1, -1, 0, -1}};
        const std::vector<std::int32_t>& order = orders[random() % 3];
        OpenLane opened(service, order);
        const auto rows = random_rows(random, order.size());
        const auto results = run_columns(opened.lane, rows);
        for (std::size_t row = 0; row < rows.size(); ++row) {
            std::vector<Text> sent(3);
            for (std::size_t i = 0; i < order.size(); ++i)
                if (order[i] >= 0) sent[static_cast<std::size_t>(order[i])] = rows[row][i];
            const auto masked = expected_of(service, {sent}, {})[0];
            for (std::size_t i = 0; i < order.size(); ++i) {
                const bool zero = rows[row][i] && rows[row][i]->find('\0') != std::string::npos;
                const Outcome kept = zero ? Outcome{{}, code::zero_character} : Outcome{rows[row][i], 0};
                ASSERT_EQ(results[row][i], order[i] < 0 ? kept : masked[static_cast<std::size_t>(order[i])]);
            }
        }
    }
}

TEST(SideBySide, an_engine_that_stops_at_an_error_stops_the_lane)
{
    const Service service("service=s on_error=stop a=keep a.type=date");
    OpenLane opened(service);
    const CsvResult result = run_csv(opened.lane, "2024-02-29\nsecret\n");
    EXPECT_GT(result.status, 7500);
    EXPECT_EQ(result.output, "");
    for (std::size_t i = 0; i < opened.lane.rows.used; ++i) ASSERT_EQ(opened.lane.rows.room.start[i], 0);
}

} // namespace
} // namespace velk::bulk::test
