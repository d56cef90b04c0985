#include "masking_string.h"
#include "support.h"

#include "engine/provider.h"
#include "provider/state.h"
#include "text/unicode.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace velk::test {
namespace {

using Operands = std::vector<OperandText>;
using Fields = std::vector<FieldText>;

TEST(MaskingStringRecords, hold_what_the_string_says)
{
    const Parsed parsed(
        "service=people  key=env:MASK_KEY\n"
        "name  = classes\n"
        "card  = card(keep_first=6)          # Luhn digit recomputed\n"
        "born  = dateshift(days=30)   born.type = date\n"
        "note  = fixed('it''s gone')\n"
        "\"order no\" = hash(length=12)   \"order no\".type = varchar(20)  \"order no\".unique = true\n");
    EXPECT_EQ(parsed.code, 0) << parsed.message;
    EXPECT_EQ(parsed.id, "people");
    EXPECT_EQ(parsed.operands(), (Operands{{0, "key", "env:MASK_KEY"},
                                           {1, "classes", ""},
                                           {1, "type", "text"},
                                           {2, "card", "keep_first=6"},
                                           {2, "type", "text"},
                                           {3, "dateshift", "days=30"},
                                           {3, "type", "date"},
                                           {4, "fixed", "'it''s gone'"},
                                           {4, "type", "text"},
                                           {5, "hash", "length=12"},
                                           {5, "type", "varchar(20)"},
                                           {5, "unique", "true"}}));
    EXPECT_EQ(parsed.fields(),
              (Fields{{"name", 0}, {"card", 0}, {"born", 10}, {"note", 9}, {"order no", 20}}));
}

TEST(MaskingStringRecords, put_the_words_of_the_service_first_wherever_they_stand)
{
    const Parsed parsed("name=keep on_null=mask key='file:/a key' on_error=fixed('?') service=\"p\"");
    EXPECT_EQ(parsed.code, 0) << parsed.message;
    EXPECT_EQ(parsed.id, "p");
    EXPECT_EQ(parsed.operands(), (Operands{{0, "key", "file:/a key"},
                                           {0, "on_error", "fixed('?')"},
                                           {0, "on_null", "mask"},
                                           {1, "keep", ""},
                                           {1, "type", "text"}}));
    EXPECT_EQ(parsed.fields(), (Fields{{"name", 1}})) << "room for the text of values in error";
}

TEST(MaskingStringRecords, number_columns_in_the_order_of_their_rules)
{
    const Parsed parsed("service=p b.type=date a=keep b=keep c=null a.type=integer");
    EXPECT_EQ(parsed.fields(), (Fields{{"a", 20}, {"b", 10}, {"c", 0}}));
    EXPECT_EQ(parsed.operands()[1], (OperandText{1, "type", "integer"}));
    EXPECT_EQ(parsed.operands()[3], (OperandText{2, "type", "date"}));
}

TEST(MaskingStringRecords, carry_patterns_and_positions_as_they_are_written)
{
    const Parsed parsed("service=p addr_*=null addr_*.type=date $3=keep $3.unique=true *=keep name=keep");
    EXPECT_EQ(parsed.code, 0) << parsed.message;
    EXPECT_EQ(parsed.fields(), (Fields{{"addr_*", 10}, {"$3", 0}, {"*", 0}, {"name", 0}}));
}

class Patterns : public FrameworkTest {};

TEST_F(Patterns, start_no_provider)
{
    for (const char* name : {"*", "addr_*", "$3"}) {
        Service service;
        service.column(name, "keep");
        expect_code(try_start(service), column_is_pattern);
        EXPECT_TRUE(contains(texts_of(column_is_pattern).heading, u"\"" + to_utf16(name) + u"\""));
    }
    for (const char* name : {"$", "$x", "a *", "Zoë*"}) {
        Service service;
        service.column(name, "keep");
        EXPECT_EQ(try_start(service), 0) << name;
    }
}

TEST(MaskingStringRecords, take_a_quoted_word_of_the_service_for_a_column)
{
    const Parsed parsed(
        "service=p \"service\"=keep \"key\"=null \"on_error\".type=date \"on_error\"=keep \"on_null\"=keep");
    EXPECT_EQ(parsed.code, 0) << parsed.message;
    EXPECT_EQ(parsed.fields(), (Fields{{"service", 0}, {"key", 0}, {"on_error", 10}, {"on_null", 0}}));
}

TEST(MaskingStringRecords, resolve_quotes_and_escapes_in_names_and_words)
{
    const Parsed parsed("service='p' \"a\\\"\\\\\\t\\u{1F600}\u00E9\"=keep key=\"env:\\u{41}\"");
    EXPECT_EQ(parsed.code, 0) << parsed.message;
    EXPECT_EQ(parsed.fields(), (Fields{{"a\"\\\t\U0001F600\u00E9", 0}}));
    EXPECT_EQ(parsed.operands()[0], (OperandText{0, "key", "env:A"}));
}

TEST(MaskingStringRecords, give_a_limited_column_the_longest_text_of_its_type)
{
    struct Row {
        const char* type;
        std::int32_t length;
        std::int32_t precision;
        std::int16_t scale;
        const char* written;
    };
    const Row rows[] = {
        {"text", 0, 0, 0, "text"},
        {"char(3)", 3, 0, 0, "char(3)"},
        {"varchar( 20 )", 20, 0, 0, "varchar(20)"},
        {"varchar(1000000)", 1000000, 0, 0, "varchar(1000000)"},
        {"decimal(9, 2)", 11, 9, 2, "decimal(9,2)"}, // sign and point
        {"decimal(9,0)", 10, 9, 0, "decimal(9,0)"},
        {"decimal(2,2)", 5, 2, 2, "decimal(2,2)"}, // -0.12
        {"integer", 20, 0, 0, "integer"},
        {"date", 10, 0, 0, "date"},
        {"timestamp", 35, 0, 0, "timestamp"},
        {"'date'", 10, 0, 0, "date"},
    };
    for (const Row& row : rows) {
        const Parsed parsed(std::string("service=p name=keep name.type=") + row.type);
        ASSERT_EQ(parsed.code, 0) << parsed.message;
        const FLDA& field = *parsed.service.firstField;
        EXPECT_EQ(field.fieldLength, row.length) << row.type;
        EXPECT_EQ(field.precision, row.precision) << row.type;
        EXPECT_EQ(field.scale, row.scale) << row.type;
        EXPECT_EQ(parsed.operands()[1], (OperandText{1, "type", row.written}));
    }
}

TEST(MaskingStringRecords, give_a_text_column_the_longest_result_that_may_exceed_its_value)
{
    const auto length = [](const std::string& rest) {
        const Parsed parsed("service=p key=env:K " + rest);
        EXPECT_EQ(parsed.code, 0) << parsed.message;
        return parsed.fields().front().length;
    };
    EXPECT_EQ(length("name=keep"), 0);
    EXPECT_EQ(length("name=classes"), 0);
    EXPECT_EQ(length("name=hash"), 32);
    EXPECT_EQ(length("name=hash(length=9, scope=s)"), 9);
    EXPECT_EQ(length("name=fixed('\U0001F600\u65E5')"), 2);
    EXPECT_EQ(length("name=hash(length=9) on_error=fixed('too long by far')"), 15);
    EXPECT_EQ(length("name=hash(length=40) on_error=fixed('shorter')"), 40);
}

// The bytes themselves: who releases the records goes by them.
TEST(MaskingStringRecords, are_laid_out_as_the_bridge_releases_and_reads_them)
{
    const Parsed parsed("service=p name=hash(length=14) key=env:K");
    const SVCA& service = parsed.service;
    EXPECT_EQ(std::memcmp(service.eyeCatcher, "SVCA", 4), 0);
    EXPECT_EQ(service.version, 21);
    EXPECT_EQ(service.length, 40);
    EXPECT_EQ(service.operandCount, 3);
    EXPECT_EQ(service.fieldCount, 1);
    EXPECT_EQ(service.copyToDestination, 0);
    for (const OPRA* operand = service.firstOperand; operand != nullptr; operand = operand->next) {
        EXPECT_EQ(std::memcmp(operand->eyeCatcher, "OPRA", 4), 0);
        EXPECT_EQ(operand->version, 21);
        EXPECT_EQ(operand->length, 48);
        EXPECT_EQ(operand->nameType, 'M');
        EXPECT_EQ(operand->valueType, 3);
        for (const TextBlock* block : {operand->PN.pWC, operand->PV.pWC}) {
            EXPECT_EQ(block->pParmName, nullptr) << "a text in the first slot would be released by itself";
            EXPECT_EQ(block->utf8Text, reinterpret_cast<const char*>(block) + 16) << "one allocation";
        }
        EXPECT_EQ(std::strlen(operand->PN.pWC->utf8Text), static_cast<std::size_t>(operand->nameSize));
        EXPECT_EQ(std::strlen(operand->PV.pWC->utf8Text), static_cast<std::size_t>(operand->valueSize));
    }
    const FLDA& field = *service.firstField;
    EXPECT_EQ(field.next, nullptr);
    EXPECT_EQ(std::memcmp(field.eyeCatcher, "FLDA", 4), 0);
    EXPECT_EQ(field.version, 21);
    EXPECT_EQ(field.length, 56);
    EXPECT_EQ(field.dataType, 6);
    EXPECT_EQ(field.nameEncoding, 'M');
    EXPECT_EQ(field.nameSize, 4);
    EXPECT_EQ(field.nameBlock->wideName, nullptr);
    EXPECT_STREQ(field.nameBlock->utf8Name, "name");
}

TEST(MaskingStringRecords, need_no_key_at_hand_to_be_built)
{
    set_environment("VELK_NO_SUCH_KEY", nullptr);
    EXPECT_EQ(Parsed("service=p key=env:VELK_NO_SUCH_KEY name=hash").code, 0);
    EXPECT_EQ(Parsed("service=p key=file:/no/such/file name=hash").code, 0);
    EXPECT_EQ(Parsed("service=p key=file:/no/such/file: name=hash").code, 0);
}

TEST(MaskingStringRecords, need_no_key_where_no_rule_asks_for_one)
{
    EXPECT_EQ(Parsed("service=p a=keep b=null c=fixed('x') d=partial").code, 0);
    for (const char* rule : {"classes", "hash", "card", "email", "dict(list=cities)", "ff1",
                             "dateshift(days=1) a.type=date", "noise(percent=1) a.type=integer"})
        EXPECT_EQ(Parsed(std::string("service=p a=") + rule).code, key_missing) << rule;
}

// What the adapter accepts the provider must accept as well, and mask.
TEST(MaskingStringRecords, start_a_provider)
{
    set_environment("VELK_TEST_KEY", "0123456789abcdef");
    ASSERT_EQ(Provider_FrmwInit(nullptr), 0);
    for (const char* text : {
             "service=p key=env:VELK_TEST_KEY name=classes card=card(keep_first=6) born=dateshift(days=30) "
             "born.type=date",
             "service=p key=env:VELK_TEST_KEY a=hash(length=12) a.type=varchar(20) a.unique=true b=email "
             "c=ff1",
             "service=p key=env:VELK_TEST_KEY a=dict(list=cities) b=noise(percent=10) b.type=decimal(9,2)",
             "service=p key=env:VELK_TEST_KEY a=partial(keep_last=4, with='#') on_error=fixed('?') "
             "on_null=mask",
             "service=p \"\u65E5\u672C\"=keep x=null y=fixed('\U0001F600') on_error=stop",
         }) {
        Parsed parsed(text);
        ASSERT_EQ(parsed.code, 0) << parsed.message;
        std::int32_t handle = 0;
        EXPECT_EQ(Provider_Init(&handle, parsed.id.c_str(), static_cast<std::int32_t>(parsed.id.size()),
                                &parsed.service, 1),
                  0)
            << text << last_failure().subject.view();
        EXPECT_EQ(Provider_Term(handle), 0);
    }
    EXPECT_EQ(Provider_FrmwTerm(), 0);
}

} // namespace
} // namespace velk::test
