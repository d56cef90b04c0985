#include "masking_string.h"
#include "support.h"

#include "parser/pairs.h"
#include "text/argument.h"
#include "text/excerpt.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace velk::test {
namespace {

std::string printed(const std::vector<PairText>& pairs)
{
    std::string text;
    for (const PairText& pair : pairs) text += "[" + pair.key + "|" + pair.value + "]";
    return text;
}

struct Row {
    const char* text;
    const char* pairs;
};

void expect_pairs(const std::vector<Row>& rows)
{
    for (const Row& row : rows) EXPECT_EQ(printed(pairs_of(row.text)), row.pairs) << row.text;
}

std::string repeated(std::size_t count, const std::string& part)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += part;
    return text;
}

ErrorCode code_of(const std::string& text)
{
    try {
        parse_pairs(text);
        return {};
    } catch (const Failure& failure) {
        return failure.code;
    }
}

TEST(MaskingStringGrammar, lets_a_string_be_empty)
{
    expect_pairs({{"", ""},
                  {" ", ""},
                  {"\t\r\n,;", ""},
                  {"# a comment", ""},
                  {"# one\n# two\n", ""},
                  {"\xEF\xBB\xBF", ""}});
}

TEST(MaskingStringGrammar, sets_pairs_apart_by_blanks_commas_semicolons_and_comments)
{
    expect_pairs({
        {"a=b c=d", "[a|b][c|d]"},
        {"a=b\tc=d\re=f\ng=h\r\ni=j", "[a|b][c|d][e|f][g|h][i|j]"},
        {"a=b,c=d;e=f", "[a|b][c|d][e|f]"},
        {",;, a=b ;, ,", "[a|b]"},
        {"a=b# c=d\ne=f", "[a|b][e|f]"},
        {"a=b # 'not closed (\r# twice\r\nc=d#", "[a|b][c|d]"},
        {"# \u00A0 \u3000 all kinds of white space\na=b", "[a|b]"},
        {"\xEF\xBB\xBF"
         "a=b",
         "[a|b]"},
    });
}

TEST(MaskingStringGrammar, knows_patterns_and_positions)
{
    expect_pairs({
        {"*=keep", "[*|keep]"},
        {"addr_*=hash", "[addr_*|hash]"},
        {"-*9=hash **=keep", "[-*9|hash][**|keep]"},
        {"addr_*.type = date", "[addr_*.type|date]"},
        {"$1=keep $30.unique=true", "[$1|keep][$30.unique|true]"},
        {"$9999999999999999999999=keep", "[$9999999999999999999999|keep]"},
    });
    for (const char* text :
         {"$=keep", "$0=keep", "$03=keep", "$3x=keep", "$*=keep", "a$3=keep", "9=keep", "-a=keep"})
        EXPECT_EQ(code_of(text), key_character_unexpected) << text;
}

TEST(MaskingStringGrammar, allows_blanks_around_the_equals_sign)
{
    expect_pairs({{"a =b", "[a|b]"}, {"a= b", "[a|b]"}, {"a \t\r\n=\n\n b", "[a|b]"}});
}

TEST(MaskingStringGrammar, takes_names_and_double_quoted_texts_as_parts_of_a_key)
{
    expect_pairs({
        {"a=b", "[a|b]"},
        {"Az0_-=b", "[Az0_-|b]"},
        {"\"order no\"=b", "[\"order no\"|b]"},
        {"\"\"=b", "[\"\"|b]"},
        {"\"a\\\"\\\\\\n\\r\\t\\u{1F600}\"=b", "[\"a\\\"\\\\\\n\\r\\t\\u{1F600}\"|b]"},
        {"\"gr\u00F6\u00DFe '=,;#()\"=b", "[\"gr\u00F6\u00DFe '=,;#()\"|b]"},
        {"a.type=b", "[a.type|b]"},
        {"\"a.b\".type=b", "[\"a.b\".type|b]"},
        {"\"a\".\"type\"=b", "[\"a\".\"type\"|b]"},
        {"a.\"b\" = c", "[a.\"b\"|c]"},
    });
}

TEST(MaskingStringGrammar, takes_bare_quoted_and_called_values)
{
    expect_pairs({
        {"a=env:MASK_KEY", "[a|env:MASK_KEY]"},
        {"a=/x.y/z\\@!$%&*+-<>?[]^_`{|}~", "[a|/x.y/z\\@!$%&*+-<>?[]^_`{|}~]"},
        {"a=\u65E5\u672C\U0001F600", "[a|\u65E5\u672C\U0001F600]"},
        {"a=''", "[a|'']"},
        {"a='it''s\n# \"no\" comment,;=()'", "[a|'it''s\n# \"no\" comment,;=()']"},
        {"a=\"x '\\\"\\\\\" b=c", "[a|\"x '\\\"\\\\\"][b|c]"},
        {"a=f()", "[a|f()]"},
        {"a=f(1)", "[a|f(1)]"},
        {"a=f( \t\r\n1 , x = 2,y='it''s, (no)', z=\"\\\")\" )",
         "[a|f( \t\r\n1 , x = 2,y='it''s, (no)', z=\"\\\")\" )]"},
        {"a=f-g_1(1) b=c", "[a|f-g_1(1)][b|c]"},
        {"a=f(x),b=c", "[a|f(x)][b|c]"},
        {"a=f(x)#c", "[a|f(x)]"},
    });
}

TEST(MaskingStringGrammar, tells_the_kinds_of_values_and_their_places)
{
    const std::string text = "\xEF\xBB\xBF a=b \"c\" = 'd''',e.f=\"g\"; h = i( j )";
    const std::vector<Pair> pairs = parse_pairs(text);
    ASSERT_EQ(pairs.size(), 4u);
    const char* slices[][2] = {{"a", "b"}, {"\"c\"", "'d'''"}, {"e.f", "\"g\""}, {"h", "i( j )"}};
    const ValueKind kinds[] = {ValueKind::bare, ValueKind::single_quoted, ValueKind::double_quoted,
                               ValueKind::call};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(text.substr(pairs[i].key.start, pairs[i].key.length), slices[i][0]);
        EXPECT_EQ(text.substr(pairs[i].value.start, pairs[i].value.length), slices[i][1]);
        EXPECT_EQ(pairs[i].kind, kinds[i]);
        KVPA entry{};
        store_place(entry, pairs[i]);
        EXPECT_EQ(place_of(entry).key.start, pairs[i].key.start);
        EXPECT_EQ(place_of(entry).key.length, pairs[i].key.length);
        EXPECT_EQ(place_of(entry).value.start, pairs[i].value.start);
        EXPECT_EQ(place_of(entry).value.length, pairs[i].value.length);
        EXPECT_EQ(place_of(entry).kind, pairs[i].kind);
    }
}

TEST(MaskingStringLimits, allow_1048576_bytes)
{
    const std::string start = "service=p name=keep #";
    for (const std::size_t size : {1048575u, 1048576u}) {
        const Parsed parsed(start + std::string(size - start.size(), 'x'));
        EXPECT_EQ(parsed.code, 0) << parsed.message;
    }
    const std::string message = message_of(start + std::string(1048577 - start.size(), 'x'));
    EXPECT_EQ(message.substr(0, message.find("\n...")),
              "7320 the masking string is too long \"1048577 bytes\"\nline 1, column 1048577 (byte 1048577)");
    EXPECT_TRUE(message.ends_with("\nShorten it to 1048576 bytes; comments count as well.")) << message;
    EXPECT_EQ(code_of(std::string((1 << 20) + 1, ' ')), string_too_long);
}

TEST(MaskingStringLimits, allow_20000_pairs)
{
    for (const std::size_t count : {19999u, 20000u})
        EXPECT_EQ(pairs_of(repeated(count, "a=b ")).size(), count);
    EXPECT_EQ(message_of(repeated(20000, "a=b\n") + "last=c"),
              "7321 too many pairs\n"
              "line 20001, column 1 (byte 80001)\n"
              "last=c\n"
              "^~~~\n"
              "Leave at most 20000, and the other columns to another service.");
}

TEST(MaskingStringLimits, keep_the_buffers_of_all_pairs_below_256_mebibytes)
{
    const std::size_t longest = 256 * 1024 * 1024 / 400 - 3; // beside keys of one byte, and both terminators
    const std::string pairs = repeated(399, "a=b ");
    EXPECT_EQ(ParseRequest(pairs + "l=" + std::string(longest, 'x')).measure(), 0);
    const std::string message = message_of(pairs + "l=" + std::string(longest + 1, 'x'));
    EXPECT_EQ(message.substr(0, message.find("\n...")),
              "7333 a key or a value is too long for so many pairs \"400 pairs\"\n"
              "line 1, column 1599 (byte 1599)");
    note_reached(pairs_too_large);
}

std::string columns(int count)
{
    std::string text = "service=p";
    for (int i = 0; i < count; ++i)
        text += "\ncolumn_" + std::to_string(i) + "=keep column_" + std::to_string(i) + ".type=varchar(20)";
    return text;
}

TEST(MaskingStringLimits, allow_columns_with_types_and_a_comment_of_nearly_the_whole)
{
    EXPECT_EQ(Parsed(columns(9'999)).code, 0); // with the service's 19,999 pairs
    EXPECT_EQ(Parsed("service=p name=keep #" + std::string(1'000'000, 'x')).code, 0);
}

// Each of them makes an excerpt's search for secrets begin anew.
TEST(MaskingStringLimits, let_a_message_look_for_secrets_in_a_whole_string)
{
    for (const char* part :
         {"key=a ", "\" ", "key=env:A \" ", "key=(", "key ", "'", "key.", "=", "\n", "a=' ", "key=\"\" "}) {
        const std::string text = repeated(longest_string / std::strlen(part), part);
        for (const Place& secret : secret_places(text))
            EXPECT_LE(secret.start + secret.length, text.size()) << part;
    }
}

TEST(MaskingStringLimits, allow_64_arguments)
{
    for (const std::size_t count : {63u, 64u})
        EXPECT_EQ(pairs_of("a=f(" + repeated(count - 1, "x,") + "x)").size(), 1u);
    EXPECT_EQ(message_of("a=f(" + repeated(64, "x,") + "last)"),
              "7312 too many arguments\n"
              "line 1, column 133 (byte 133)\n"
              "...," +
                  repeated(27, "x,") + "last)\n" + std::string(3 + 55, ' ') + "^~~~\nLeave at most 64.");
}

TEST(MaskingStringLimits, allow_19999_columns_of_a_service)
{
    std::string text = "service=p";
    for (int i = 1; i <= 19999; ++i) text += " c" + std::to_string(i) + "=keep";
    const Parsed parsed(text);
    EXPECT_EQ(parsed.code, 0) << parsed.message;
    EXPECT_EQ(parsed.service.fieldCount, 19999);
    EXPECT_EQ(parsed.service.operandCount, 39998);
    EXPECT_EQ(parsed.fields().back(), (FieldText{"c19999", 0}));
}

TEST(MaskingStringText, refuses_every_zero_byte_and_every_ill_formed_sequence_where_it_stands)
{
    const std::string good = "service=p \"\u00E9\"=fixed('x', \"y\") # note";
    for (std::size_t i = 0; i <= good.size(); ++i) {
        if (i < good.size() && (good[i] & 0xC0) == 0x80)
            continue; // inside a character the sequence before it breaks
        for (const std::string& bad : {std::string(1, '\0'), std::string("\xFF"), std::string("\xC0\x80"),
                                       std::string("\xED\xA0\x80"), std::string("\xF4\x90\x80\x80")}) {
            try {
                parse_pairs(good.substr(0, i) + bad + good.substr(i));
                ADD_FAILURE() << "was taken at " << i;
            } catch (const Failure& failure) {
                EXPECT_EQ(failure.code, text_ill_formed);
                ASSERT_TRUE(failure.place);
                EXPECT_EQ(failure.place->start, i);
            }
        }
    }
}

// Text that the grammar allows, of every production, with characters of every width.
class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {}

    std::vector<PairText> pairs()
    {
        std::vector<PairText> pairs;
        for (std::size_t count = below(8); count > 0; --count) pairs.push_back({key(), value()});
        return pairs;
    }

    std::string print(const std::vector<PairText>& pairs)
    {
        std::string text = below(4) == 0 ? "\xEF\xBB\xBF" : "";
        if (below(2) == 0) text += separator();
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            if (i > 0) text += separator();
            text += pairs[i].key + blanks() + "=" + blanks() + pairs[i].value;
        }
        return below(2) == 0 ? text : text + (pairs.empty() ? "" : separator());
    }

private:
    std::size_t below(std::size_t limit) { return random_() % limit; }

    std::string one_of(const std::vector<std::string>& choices) { return choices[below(choices.size())]; }

    std::string several(std::size_t least, const std::vector<std::string>& choices)
    {
        std::string text;
        for (std::size_t count = least + below(6); count > 0; --count) text += one_of(choices);
        return text;
    }

    std::string blanks() { return several(0, {" ", "\t", "\r", "\n"}).substr(0, below(4)); }
    std::string comment()
    {
        return "#" + several(0, {"x", "'", "=", "\u00A0", "#", "\U0001F600"}) + one_of({"\n", "\r\n", "\r"});
    }
    std::string separator()
    {
        return several(0, {" ", ",", ";", "\n", comment()}) + one_of({" ", "\t", ",", ";", "\n", comment()});
    }
    std::string name()
    {
        return one_of({"a", "Q", "service", "key"}) + several(0, {"b", "Z", "0", "_", "-"});
    }

    std::string bare()
    {
        return several(1,
                       {"a", "1", ".", ":", "/", "-", "\u00E9", "\u65E5", "\U0001F600", "\\", "\uFEFF", "*"});
    }

    std::string squoted()
    {
        return "'" +
               several(0, {"a", "''", "\"", "\\", "\n", "#", ",", "(", "\u3000", "\U0001F600", "\x01"}) + "'";
    }

    std::string dquoted()
    {
        return "\"" +
               several(0, {"a", "'", "\\\\", "\\\"", "\\n", "\\r", "\\t", "\\u{1}", "\\u{10FFFF}", "\u00A0",
                           ")", "\t"}) +
               "\"";
    }

    std::string part() { return below(3) == 0 ? dquoted() : name(); }
    std::string key() { return below(3) == 0 ? part() + "." + part() : part(); }

    std::string argument()
    {
        const std::string value = simple();
        return below(2) == 0 ? value
                             : name() + std::to_string(++arguments_) + blanks() + "=" + blanks() + value;
    }

    std::string call()
    {
        std::string text = name() + "(" + blanks();
        for (std::size_t i = 0, count = below(4); i < count; ++i)
            text += (i > 0 ? "," + blanks() : "") + argument() + blanks();
        return text + ")";
    }

    std::string simple()
    {
        const std::size_t kind = below(3);
        return kind == 0 ? bare() : kind == 1 ? squoted() : dquoted();
    }

    std::string value() { return below(4) == 0 ? call() : simple(); }

    std::mt19937 random_;
    unsigned arguments_ = 0; // so that no argument of a call repeats another
};

TEST(MaskingStringProperty, what_is_printed_parses_to_the_same_pairs_however_it_is_set_apart)
{
    Generator generator(20240229);
    std::size_t count = 0;
    for (int i = 0; i < 5000; ++i) {
        const std::vector<PairText> pairs = generator.pairs();
        const std::string text = generator.print(pairs);
        ASSERT_EQ(pairs_of(text), pairs) << text;
        ASSERT_EQ(pairs_of(generator.print(pairs_of(text))), pairs) << text;
        count += pairs.size();
    }
    EXPECT_GT(count, 12000u);
}

TEST(MaskingStringProperty, a_string_with_one_byte_changed_parses_or_says_where_it_does_not)
{
    Generator generator(7);
    std::mt19937 random(11);
    std::size_t errors = 0;
    for (int i = 0; i < 5000; ++i) {
        std::string text = "service=p " + generator.print(generator.pairs());
        text[random() % text.size()] = "'\"\\()=,;# \n\xC3\xFFx"[random() % 14];
        ParseRequest request(text);
        if (request.measure() == 0) continue;
        ++errors;
        ASSERT_NE(take_message().find("(byte "), std::string::npos) << text;
    }
    EXPECT_GT(errors, 1000u);
}

} // namespace
} // namespace velk::test
