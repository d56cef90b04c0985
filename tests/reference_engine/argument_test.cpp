#include "support.h"
#include "text/argument.h"
#include "text/failure.h"

namespace velk::test {
namespace {

std::string parsed(const std::string& text)
{
    std::string result;
    for (const Argument& argument : parse_arguments(text))
        result += "[" + argument.name + "|" + argument.value + "]";
    return result;
}

TEST(Arguments, are_read_as_they_are_written)
{
    struct Row {
        const char* text;
        const char* result;
    };
    const Row rows[] = {
        {"", ""},
        {" \t\r\n", ""},
        {"keep_last=4, with='#'", "[keep_last|4][with|#]"},
        {"  keep_last = 4 ,with\t=\n\"#\"  ", "[keep_last|4][with|#]"},
        {"gone", "[|gone]"},
        {"'gone'", "[|gone]"},
        {"''", "[|]"},
        {"'it''s'", "[|it's]"},
        {"'\\n, \"='", "[|\\n, \"=]"},
        {R"("a\\b\"c\n\r\t\u{41}\u{1F600}")", "[|a\\b\"c\n\r\tA😀]"},
        {"\"'\"", "[|']"},
        {"4x", "[|4x]"},
        {"a.b/c:d@e", "[|a.b/c:d@e]"},
        {"name-with_1=v", "[name-with_1|v]"},
        {"v=日本語😀", "[v|日本語😀]"},
        {"a,b,a", "[|a][|b][|a]"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(parsed(row.text), row.result);
    }
}

TEST(Arguments, tell_what_is_wrong_and_at_which_byte)
{
    struct Row {
        std::string text;
        ErrorCode code;
        const char* subject;
        std::size_t byte; // from 1; 0: none is named
    };
    const Row rows[] = {
        {"a=", value_missing, "", 3},
        {"a,", value_missing, "", 3},
        {",a", character_unexpected, ",", 1},
        {"a b", character_unexpected, "b", 3},
        {"a=b=c", character_unexpected, "=", 4},
        {"日=b", character_unexpected, "=", 4}, // names are ASCII
        {"a=(b", character_unexpected, "(", 3},
        {"a;b", character_unexpected, ";", 2},
        {"'a'b", character_unexpected, "b", 4},
        {"a\x01", character_unexpected, "\\u{1}", 2},
        {"with=#", number_sign_unquoted, "", 6},
        {"a #", number_sign_unquoted, "", 3},
        {"a=x\u00A0y", white_space_unquoted, "U+00A0", 4},
        {"\u3000a", white_space_unquoted, "U+3000", 1},
        {"a=\u2028", white_space_unquoted, "U+2028", 3},
        {"'open", quote_not_closed, "'", 1},
        {"a, b='it''s", quote_not_closed, "'", 6},
        {"\"open\\\"", quote_not_closed, "\"", 1},
        {"\"a\\x\"", escape_unknown, "\\x", 3},
        {"\"\\", escape_unknown, "\\", 2},
        {"\"\\u{}\"", escape_unknown, "\\u", 2},
        {"\"\\u{D800}\"", escape_unknown, "\\u", 2},
        {"\"\\u{110000}\"", escape_unknown, "\\u", 2},
        {"\"\\u{1234567}\"", escape_unknown, "\\u", 2},
        {"\"\\u{0}\"", escape_unknown, "\\u", 2},
        {"\"\\u41\"", escape_unknown, "\\u", 2},
        {"a\xFF", text_ill_formed, "", 2},
        {std::string("'a\0'", 4), text_ill_formed, "", 3},
        {"a=1, b=2, a=3", argument_repeated, "a", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        try {
            parse_arguments(row.text);
            ADD_FAILURE() << "was taken";
        } catch (const Failure& failure) {
            expect_code(failure.code, row.code);
            EXPECT_EQ(failure.subject, row.subject);
            EXPECT_EQ(failure.detail, row.byte == 0 ? "" : "at byte " + std::to_string(row.byte));
        }
    }
}

TEST(Arguments, are_at_most_64)
{
    std::string text = "a";
    for (int i = 1; i < 64; ++i) text += ",a";
    EXPECT_EQ(parse_arguments(text).size(), 64u);
    try {
        parse_arguments(text + ",a");
        ADD_FAILURE() << "was taken";
    } catch (const Failure& failure) {
        expect_code(failure.code, too_many_arguments);
    }
}

} // namespace
} // namespace velk::test
