#include "support.h"
#include "text/unicode.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace velk::test {
namespace {

class Providers : public FrameworkTest {};

Service one_column(const std::string& rule = "keep")
{
    Service service;
    service.column("name", rule);
    return service;
}

TEST_F(Providers, run_several_at_once_each_under_its_own_key)
{
    Service first;
    first.operand(0, "key", "env:VELK_TEST_KEY");
    first.column("name", "classes");
    Service second;
    second.operand(0, "key", "env:VELK_OTHER_KEY");
    second.column("name", "classes");
    const std::int32_t a = start(first);
    const std::int32_t b = start(second);
    EXPECT_NE(a, b);
    EXPECT_GT(a, 0);
    Rows rows_a(1);
    Rows rows_b(1);
    rows_a.add({u"Anna Smith"});
    rows_b.add({u"Anna Smith"});
    EXPECT_EQ(run(a, first, rows_a), 0);
    EXPECT_EQ(run(b, second, rows_b), 0);
    EXPECT_NE(rows_a.text(0), rows_b.text(0));
    EXPECT_EQ(Provider_Term(a), 0);
    Rows again(1);
    again.add({u"Anna Smith"});
    EXPECT_EQ(run(b, second, again), 0) << "one that ends leaves the others alone";
    EXPECT_EQ(again.text(0), rows_b.text(0));
    EXPECT_EQ(Provider_Term(b), 0);
}

TEST_F(Providers, end_once)
{
    Service service = one_column();
    const std::int32_t handle = start(service);
    EXPECT_EQ(Provider_Term(handle), 0);
    expect_code(Provider_Term(handle), provider_unknown);
    expect_code(Provider_Term(0), provider_unknown);
    EXPECT_NE(start(service), handle) << "a handle is not given twice";
}

TEST_F(Providers, need_a_place_for_their_handle)
{
    Service service = one_column();
    expect_code(Provider_Init(nullptr, "people", 6, service.record(), 1), handle_address_missing);
}

TEST_F(Providers, have_a_short_plain_service_id)
{
    Service service = one_column();
    std::int32_t handle = 0;
    for (const char* id : {"a", "A-b_9", "123456789"})
        EXPECT_EQ(Provider_Init(&handle, id, static_cast<std::int32_t>(std::strlen(id)), service.record(), 1),
                  0);
    for (const char* id : {"", "1234567890", "a b", "žena", "a.b"})
        expect_code(
            Provider_Init(&handle, id, static_cast<std::int32_t>(std::strlen(id)), service.record(), 1),
            service_id_invalid);
    expect_code(Provider_Init(&handle, nullptr, 0, service.record(), 1), service_id_invalid);
    expect_code(Provider_Init(&handle, "people", 5, service.record(), 1), service_id_invalid);
    expect_code(Provider_Init(&handle, "people", -6, service.record(), 1), service_id_invalid);
}

TEST_F(Providers, read_definitions_in_wide_text_and_utf8_alike)
{
    std::u16string results[2];
    for (const Held held : {Held::wide, Held::utf8}) {
        Service service(held);
        service.operand(0, "key", "env:VELK_TEST_KEY");
        service.column("jméno", "partial", "keep_first=1, with=•");
        Rows rows(1);
        rows.add({u"Anežka"});
        EXPECT_EQ(run(start(service), service, rows), 0);
        results[held == Held::utf8] = rows.text(0);
    }
    EXPECT_EQ(results[0], u"A•••••");
    EXPECT_EQ(results[1], results[0]);
}

TEST_F(Providers, refuse_damaged_definitions)
{
    std::int32_t handle = 0;
    expect_code(Provider_Init(&handle, "people", 6, nullptr, 1), service_record_damaged);
    Service service = one_column();
    SVCA* record = service.record();
    record->eyeCatcher[0] = 'X';
    expect_code(Provider_Init(&handle, "people", 6, record, 1), service_record_damaged);
    record = service.record();
    record->version = 0;
    expect_code(Provider_Init(&handle, "people", 6, record, 1), service_record_damaged);
    record = service.record();
    record->length = 24;
    expect_code(Provider_Init(&handle, "people", 6, record, 1), service_record_damaged);
    record = service.record();
    ++record->operandCount;
    expect_code(Provider_Init(&handle, "people", 6, record, 1), operand_count_differs);
    record = service.record();
    record->fieldCount = 0;
    expect_code(Provider_Init(&handle, "people", 6, record, 1), field_count_differs);
    record = service.record();
    service.operands.back().next = &service.operands.back(); // a chain without an end
    expect_code(Provider_Init(&handle, "people", 6, record, 1), operand_count_differs);
}

TEST_F(Providers, refuse_damaged_columns_and_operands)
{
    Service field = one_column();
    field.fields[0].eyeCatcher[0] = 'X';
    expect_code(try_start(field), field_record_damaged);
    Service block = one_column();
    block.fields[0].nameBlock = nullptr;
    expect_code(try_start(block), field_record_damaged);
    Service text = one_column();
    NameBlock empty{};
    text.fields[0].nameBlock = &empty;
    expect_code(try_start(text), field_record_damaged);
    text.fields[0].nameEncoding = utf8_name;
    expect_code(try_start(text), field_record_damaged);
    Service negative = one_column();
    negative.fields[0].nameSize = -1;
    expect_code(try_start(negative), field_record_damaged);
    Service operand = one_column();
    operand.operands[0].version = 20;
    expect_code(try_start(operand), operand_record_damaged);
    Service surrogate = one_column();
    surrogate.fields[0].nameBlock->wideName[0] = u'\xDC00';
    expect_code(try_start(surrogate), operand_text_ill_formed);
    Service utf8(Held::utf8);
    utf8.column("na\xFFme", "keep");
    expect_code(try_start(utf8), operand_text_ill_formed);
}

TEST_F(Providers, refuse_columns_that_they_cannot_mask)
{
    Service none;
    expect_code(try_start(none), no_columns);
    Service nameless;
    nameless.column("", "keep");
    expect_code(try_start(nameless), column_name_missing);
    Service type = one_column();
    type.fields[0].dataType = 4;
    expect_code(try_start(type), data_type_unsupported);
    EXPECT_TRUE(contains(texts_of(data_type_unsupported).detail, u"column \"name\""));
    Service length = one_column();
    length.fields[0].fieldLength = -1;
    expect_code(try_start(length), field_length_negative);
}

TEST_F(Providers, want_one_rule_for_every_column)
{
    Service without = one_column();
    without.field("left out", 0);
    expect_code(try_start(without), column_without_rule);
    EXPECT_TRUE(contains(texts_of(column_without_rule).detail, u"column \"left out\""));
    Service two = one_column();
    two.operand(1, "null", "");
    expect_code(try_start(two), column_with_two_rules);
    EXPECT_TRUE(contains(texts_of(column_with_two_rules).heading, u"keep and null"));
    Service twice = one_column();
    twice.operand(1, "keep", "");
    expect_code(try_start(twice), operand_repeated);
    Service beyond = one_column();
    beyond.operand(2, "keep", "");
    expect_code(try_start(beyond), rule_without_column);
    Service only_type;
    only_type.field("name", 0);
    only_type.operand(1, "type", "text");
    expect_code(try_start(only_type), column_without_rule);
}

TEST_F(Providers, want_text_in_their_operands)
{
    for (const std::int32_t type : {0, 1, 4}) {
        Service service = one_column();
        service.operands[0].valueType = type;
        expect_code(try_start(service), operand_not_text);
    }
}

TEST_F(Providers, know_the_attributes_of_a_column)
{
    Service unique = one_column();
    unique.operand(1, "unique", "true");
    EXPECT_EQ(try_start(unique), 0);
    Service not_unique = one_column();
    not_unique.operand(1, "unique", "false");
    expect_code(try_start(not_unique), unique_not_true);
    Service unknown_type;
    unknown_type.column("name", "keep", "", 20, "varhcar(20)");
    expect_code(try_start(unknown_type), type_unknown);
    EXPECT_TRUE(contains(texts_of(type_unknown).trailing, u"Did you mean \"varchar(n)\"?"));
    Service out_of_range;
    out_of_range.column("name", "keep", "", 0, "varchar(0)");
    expect_code(try_start(out_of_range), type_out_of_range);
    Service contradiction;
    contradiction.column("name", "keep", "", 21, "varchar(20)");
    expect_code(try_start(contradiction), field_length_contradicts_type);
    EXPECT_TRUE(contains(texts_of(field_length_contradicts_type).heading, u"21 and 20"));
    Service two_types;
    two_types.column("name", "keep", "", 0, "text");
    two_types.operand(1, "type", "text");
    expect_code(try_start(two_types), operand_repeated);
}

TEST_F(Providers, know_the_operands_of_a_service)
{
    const struct {
        const char* name;
        const char* text;
        std::int32_t code;
    } rows[] = {{"on_error", "null", 0},
                {"on_error", "stop", 0},
                {"on_error", "fixed('it''s')", 0},
                {"on_error", "clear", on_error_unknown},
                {"on_error", "", on_error_unknown},
                {"on_error", "fixed", on_error_unknown},
                {"on_error", "fixed(", on_error_unknown},
                {"on_error", "fixed()", argument_missing},
                {"on_error", "fixed(a, b)", argument_unknown},
                {"on_null", "keep", 0},
                {"on_null", "mask", 0},
                {"on_null", "null", on_null_unknown},
                {"on_nul", "keep", service_operand_unknown},
                {"keep", "", service_operand_unknown},
                {"", "", service_operand_unknown}};
    for (const auto& [name, text, code] : rows) {
        SCOPED_TRACE(std::string(name) + "=" + text);
        Service service = one_column();
        service.operand(0, name, text);
        if (code == 0)
            EXPECT_EQ(try_start(service), 0);
        else
            expect_code(try_start(service), static_cast<ErrorCode>(code));
    }
    Service twice = one_column();
    twice.operand(0, "on_null", "keep");
    twice.operand(0, "on_null", "keep");
    expect_code(try_start(twice), operand_repeated);
    Service near = one_column();
    near.operand(0, "on_eror", "stop");
    expect_code(try_start(near), service_operand_unknown);
    EXPECT_TRUE(contains(texts_of(service_operand_unknown).trailing, u"Did you mean \"on_error\"?"));
}

TEST_F(Providers, refuse_an_error_text_that_does_not_fit_a_column)
{
    Service service;
    service.operand(0, "on_error", "fixed('***')");
    service.column("name", "keep", "", 3, "varchar(3)");
    EXPECT_EQ(try_start(service), 0);
    service.column("country", "keep", "", 2, "char(2)");
    expect_code(try_start(service), result_longer_than_column);
    EXPECT_TRUE(
        contains(texts_of(result_longer_than_column).detail, u"on_error = fixed(...)\ncolumn \"country\""));
    Service date;
    date.operand(0, "on_error", "fixed('***')");
    date.column("born", "keep", "", 10, "date");
    expect_code(try_start(date), fixed_text_unfit);
}

TEST_F(Providers, refuse_a_pattern_or_a_position_in_place_of_a_column)
{
    for (const char* name : {"*", "addr_*", "*_name", "a-*_9", "$3", "$123456789012345678901"}) {
        Service service;
        service.column(name, "keep");
        expect_code(try_start(service), column_is_pattern);
        EXPECT_TRUE(contains(texts_of(column_is_pattern).heading, u"\"" + to_utf16(name) + u"\""));
    }
    for (const char* name : {"$", "$x", "$3a", "3$", "a *", "č*", "*.csv", "order no"}) {
        Service service;
        service.column(name, "keep");
        EXPECT_EQ(try_start(service), 0) << name;
    }
}

TEST_F(Providers, know_the_column_by_which_a_rule_decides)
{
    const auto started_by = [](const std::string& by) {
        Service service;
        service.operand(0, "key", "env:VELK_TEST_KEY");
        service.column("born", "dateshift", "days=30, by=" + by, 10, "date");
        service.column("patient", "keep");
        service.column("twice", "keep");
        service.column("twice", "keep");
        return try_start(service);
    };
    EXPECT_EQ(started_by("patient"), 0);
    expect_code(started_by("patent"), column_unknown);
    EXPECT_TRUE(contains(texts_of(column_unknown).heading, u"\"patent\""));
    EXPECT_TRUE(
        contains(texts_of(column_unknown).detail, u"column \"born\"\nrule dateshift(days=30, by=patent)"));
    EXPECT_TRUE(
        contains(texts_of(column_unknown).trailing, u"Did you mean \"patient\"? Columns: patient, twice"));
    expect_code(started_by("born"), argument_unusable);
    EXPECT_TRUE(contains(texts_of(argument_unusable).heading, u"by=born"));
    EXPECT_TRUE(contains(texts_of(argument_unusable).trailing, u"the column itself"));
    expect_code(started_by("twice"), argument_unusable);
    EXPECT_TRUE(contains(texts_of(argument_unusable).trailing, u"Several columns"));
}

std::int32_t start_with_key(const std::string& source)
{
    Service service;
    service.operand(0, "key", source);
    service.column("name", "hash", "", 32);
    return try_start(service);
}

TEST_F(Providers, take_their_key_from_the_environment)
{
    EXPECT_EQ(start_with_key("env:VELK_TEST_KEY"), 0);
    set_environment("VELK_TEST_KEY", nullptr);
    expect_code(start_with_key("env:VELK_TEST_KEY"), key_variable_unset);
    EXPECT_TRUE(contains(texts_of(key_variable_unset).heading, u"\"env:VELK_TES***\""));
    set_environment("VELK_TEST_KEY", "fifteen letters");
    expect_code(start_with_key("env:VELK_TEST_KEY"), key_too_short);
}

TEST_F(Providers, take_their_key_from_a_file_less_one_line_end)
{
    const std::filesystem::path path = std::filesystem::path(testing::TempDir()) / u8"velk key 日本";
    const std::string source = "file:" + utf8(path);
    const auto masked_with = [&](const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
        Service service;
        service.operand(0, "key", source);
        service.column("name", "hash", "", 32);
        Rows rows(1);
        rows.add({u"Anna"}, 80);
        EXPECT_EQ(run(start(service), service, rows), 0);
        return rows.text(0);
    };
    const Value from_environment = mask("hash", "", u"Anna", "", 32).text;
    EXPECT_EQ(masked_with(test_key), from_environment);
    EXPECT_EQ(masked_with(std::string(test_key) + "\n"), from_environment);
    EXPECT_EQ(masked_with(std::string(test_key) + "\r\n"), from_environment);
    EXPECT_NE(masked_with(std::string(test_key) + "\n\n"), from_environment);
    EXPECT_NE(masked_with(std::string(test_key) + " "), from_environment);
    std::ofstream(path, std::ios::binary) << "fifteen letters\n";
    expect_code(start_with_key(source), key_too_short);
    std::filesystem::remove(path);
    expect_code(start_with_key(source), key_file_unreadable);
    expect_code(start_with_key("file:" + testing::TempDir()), key_file_unreadable);
    std::ofstream(path) << "0123456789abcdef";
    std::filesystem::resize_file(path, 64 * 1024 * 1024 + 1);
    expect_code(start_with_key(source), key_file_unreadable);
    std::filesystem::remove(path);
    expect_code(start_with_key("file:/dev/zero"), key_file_unreadable); // a device, or not there at all
}

TEST_F(Providers, never_repeat_what_stands_in_place_of_a_key)
{
    for (const char* source : {"topsecrettopsecret", "", "ENV:topsecret", "environment:topsecret"}) {
        expect_code(start_with_key(source), key_source_unknown);
        const Texts texts = texts_of(key_source_unknown);
        EXPECT_FALSE(contains(texts.heading + texts.detail + texts.trailing, u"topsecret"));
    }
    Service service;
    service.operand(0, "key", "env:VELK_TEST_KEY");
    service.column("name", "hash", "key=topsecrettopsecret", 32);
    EXPECT_EQ(try_start(service), argument_unknown);
    const Texts texts = texts_of(argument_unknown);
    EXPECT_TRUE(contains(texts.detail, u"rule hash(key=***)")) << to_utf8(texts.detail);
    EXPECT_FALSE(contains(texts.heading + texts.detail + texts.trailing, u"topsecret"));
}

// Whether a service with that operand is refused without a word of the secret in any text.
void expect_secret_kept(Service& service, ErrorCode code)
{
    expect_code(try_start(service), code);
    const Texts texts = texts_of(code);
    const std::u16string all = texts.heading + texts.detail + texts.trailing;
    EXPECT_FALSE(contains(all, u"secret")) << to_utf8(all);
}

TEST_F(Providers, name_an_ill_formed_operand_without_its_value)
{
    Service wide = one_column();
    wide.operand(0, "key", "topsecret").PV.pWC->pParamVal[0] = u'\xD800';
    expect_secret_kept(wide, operand_text_ill_formed);
    EXPECT_TRUE(contains(texts_of(operand_text_ill_formed).heading, u"key"));
    Service narrow(Held::utf8);
    narrow.column("name", "keep");
    narrow.operand(0, "key", "topsecret\xFF");
    expect_secret_kept(narrow, operand_text_ill_formed);
    EXPECT_TRUE(contains(texts_of(operand_text_ill_formed).heading, u"key"));
}

TEST_F(Providers, name_the_column_of_an_operand_that_they_cannot_read)
{
    Service service = one_column();
    service.column("born", "dateshift", "days=30");
    service.operands.back().PV.pWC->pParamVal[0] = u'\xD800';
    expect_code(try_start(service), operand_text_ill_formed);
    EXPECT_TRUE(contains(texts_of(operand_text_ill_formed).detail, u"column \"born\""));
    service.operands.back().valueType = integer_value;
    expect_code(try_start(service), operand_not_text);
    EXPECT_TRUE(contains(texts_of(operand_not_text).detail, u"column \"born\""));
}

TEST_F(Providers, do_not_take_an_operand_of_the_service_for_a_rule)
{
    for (const char* name : {"key", "on_error", "on_null"}) {
        Service service;
        service.column("name", name, "topsecret");
        expect_secret_kept(service, function_unknown);
        EXPECT_TRUE(contains(texts_of(function_unknown).trailing, u"parameter id 0"));
    }
}

TEST_F(Providers, hide_a_key_wherever_a_heading_quotes_it)
{
    Service function;
    function.column("name", "hash(key=topsecret)");
    expect_secret_kept(function, function_unknown);
    Service on_error = one_column();
    on_error.operand(0, "on_error", "stop key=topsecret");
    expect_secret_kept(on_error, on_error_unknown);
}

TEST_F(Providers, check_a_key_that_no_rule_needs)
{
    Service service = one_column();
    service.operand(0, "key", "env:VELK_NO_SUCH_VARIABLE");
    expect_code(try_start(service), key_variable_unset);
}

#if GTEST_HAS_DEATH_TEST
// Destroyed as late as statics are, behind everything that was made in a test.
struct LateCaller {
    std::int32_t handle = 0;

    ~LateCaller()
    {
        if (handle != 0) std::_Exit(Provider_Term(handle) == 0 && Provider_FrmwTerm() == 0 ? 7 : 1);
    }
};

LateCaller late_caller;

TEST(ProvidersAtExit, outlive_the_statics_of_the_process)
{
    const auto leave_open = [] {
        Service service = one_column();
        if (Provider_FrmwInit(nullptr) == 0) late_caller.handle = start(service);
        std::exit(0);
    };
    EXPECT_EXIT(leave_open(), testing::ExitedWithCode(7), "");
}
#endif

TEST(ProvidersWithoutFramework, do_not_run)
{
    Service service;
    service.column("name", "keep");
    Rows rows(1);
    rows.add({u"Anna"});
    expect_code(try_start(service), framework_not_started);
    expect_code(run(1, service, rows), framework_not_started);
    EXPECT_TRUE(rows.all_cleared());
    expect_code(Provider_Term(1), framework_not_started);
}

} // namespace
} // namespace velk::test
