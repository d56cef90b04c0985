#include "allocation.h"
#include "support.h"
#include "text/unicode.h"

#include <cstring>

namespace velk::test {
namespace {

class ServiceCalls : public FrameworkTest {
protected:
    // A service of two columns whose values differ from their masks.
    Service two_columns(const std::string& on_error = "")
    {
        Service service;
        service.operand(0, "key", "env:VELK_TEST_KEY");
        if (!on_error.empty()) service.operand(0, "on_error", on_error);
        service.column("name", "classes", "", 12, "varchar(12)");
        service.column("born", "fixed", "'1970-01-01'", 10, "date");
        return service;
    }
};

const std::u16string lone_surrogate = u"x" + std::u16string(1, u'\xD800');
const std::u16string too_long = u"thirteen char";

TEST_F(ServiceCalls, mask_every_field_in_place_and_zero_the_rest_of_its_buffer)
{
    Service service = two_columns();
    Rows rows(2);
    rows.add({u"Anna", u"2024-02-29"});
    rows.add({u"", u"1999-12-31"});
    rows.row(0).hasError = 1;
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_EQ(rows.text(0, 0).size(), 4u);
    EXPECT_NE(rows.text(0, 0), u"Anna");
    EXPECT_EQ(rows.text(0, 1), u"1970-01-01");
    EXPECT_EQ(rows.text(1, 0), u"") << "empty stays empty";
    for (std::size_t row = 0; row < 2; ++row) {
        EXPECT_EQ(rows.row(row).hasError, 0);
        for (std::size_t column = 0; column < 2; ++column) {
            EXPECT_EQ(rows.field(row, column).errorCode, 0) << "written for every field";
            const std::u16string buffer = rows.buffer(row, column);
            EXPECT_EQ(buffer.find_first_not_of(u'\0', rows.text(row, column).size()), std::u16string::npos);
        }
    }
}

TEST_F(ServiceCalls, an_empty_row_set_is_done_at_once)
{
    Service service = two_columns();
    Rows rows(2);
    EXPECT_EQ(run(start(service), service, rows), 0);
}

TEST_F(ServiceCalls, an_empty_value_stays_empty_whatever_its_type)
{
    const struct {
        const char* rule;
        const char* arguments;
        const char* type;
    } rows[] = {{"keep", "", "integer"},
                {"keep", "", "decimal(9,2)"},
                {"keep", "", "date"},
                {"keep", "", "timestamp"},
                {"keep", "", "varchar(9)"},
                {"classes", "", "integer"},
                {"noise", "percent=5", "integer"},
                {"noise", "percent=5", "decimal(9,2)"},
                {"dateshift", "days=5", "date"},
                {"dateshift", "days=5", "timestamp"}};
    for (const auto& [rule, arguments, type] : rows) {
        const Outcome outcome = mask(rule, arguments, u"", type, 9);
        EXPECT_EQ(outcome.error, 0) << rule << " " << type;
        EXPECT_EQ(outcome.text, u"") << rule << " " << type;
    }
}

TEST_F(ServiceCalls, a_value_in_error_is_cleared_and_the_run_goes_on)
{
    struct Row {
        std::u16string name;
        std::u16string born;
        ErrorCode name_error;
        ErrorCode born_error;
    };
    const Row cases[] = {{too_long, u"2024-02-29", value_too_long, ErrorCode{}},
                         {lone_surrogate, u"2024-02-29", value_ill_formed, ErrorCode{}},
                         {u"Anna", u"2024-02-30", ErrorCode{}, value_not_of_type},
                         {too_long, u"yesterday", value_too_long, value_not_of_type},
                         {u"Anna", u"2024-2-9", ErrorCode{}, value_not_of_type}};
    for (const Row& one : cases) {
        Service service = two_columns();
        Rows rows(2);
        rows.add({one.name, one.born});
        rows.add({u"Berta", u"2000-01-01"});
        EXPECT_EQ(run(start(service), service, rows), 0);
        EXPECT_EQ(rows.row(0).hasError, 1);
        EXPECT_EQ(rows.row(1).hasError, 0);
        const ErrorCode errors[] = {one.name_error, one.born_error};
        for (std::size_t column = 0; column < 2; ++column) {
            EXPECT_EQ(rows.field(0, column).errorCode, errors[column]);
            EXPECT_EQ(rows.is_cleared(0, column), errors[column] != 0);
            EXPECT_FALSE(rows.is_null(0, column));
            if (errors[column] != 0) expect_code(rows.field(0, column).errorCode, errors[column]);
        }
        EXPECT_NE(rows.text(1, 0), u"Berta");
        EXPECT_EQ(rows.field(1, 0).errorCode, 0);
    }
}

TEST_F(ServiceCalls, a_limit_counts_characters)
{
    const Outcome fits = mask("keep", "", u"😀😀😀", "varchar(3)", 3);
    EXPECT_EQ(fits.error, 0);
    EXPECT_EQ(fits.text, u"😀😀😀");
    EXPECT_EQ(mask("keep", "", u"😀😀😀a", "varchar(3)", 3).error, value_too_long);
    EXPECT_EQ(mask("keep", "", u"e\u0301e\u0301", "char(3)", 3).error, value_too_long);
    EXPECT_EQ(mask("keep", "", u"😀😀😀\xD83D", "varchar(3)", 3).error, value_too_long)
        << "a longer value, cut in the middle of its fourth character on its way here";
    EXPECT_EQ(mask("hash", "length=8", u"longer than the eight of its result", "", 8).error, 0)
        << "the limit of a text column speaks of its rule's result only";
}

TEST_F(ServiceCalls, a_value_that_does_not_end_in_its_buffer_is_an_error)
{
    Service service = two_columns();
    for (const std::int32_t size : {8, 7, 2}) {
        Rows rows(2);
        rows.add({u"Anna Maria", u"2024-02-29"});
        rows.field(0, 0).bufferSize = size;
        EXPECT_EQ(run(start(service), service, rows), 0);
        expect_code(rows.field(0, 0).errorCode, value_not_terminated);
        EXPECT_TRUE(rows.is_cleared(0, 0));
    }
}

TEST_F(ServiceCalls, a_result_that_does_not_fit_its_buffer_is_an_error_and_no_cut)
{
    Service service = two_columns();
    Rows rows(2);
    rows.add({u"A", Value{}}, 11);
    rows.add({u"B", u"2024-02-29"}, 11);
    rows.field(1, 1).bufferSize = 23; // room for eleven units, one of them the terminator
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_EQ(rows.text(1, 1), u"1970-01-01");
    Service longer;
    longer.column("note", "fixed", "'gone'", 4);
    Rows tight(1);
    tight.add({u"x"}, 4);
    EXPECT_EQ(run(start(longer), longer, tight), 0);
    expect_code(tight.field(0, 0).errorCode, result_does_not_fit);
    EXPECT_TRUE(tight.is_cleared(0, 0));
}

TEST_F(ServiceCalls, a_field_without_a_buffer_is_empty_or_an_error)
{
    Service service;
    service.column("a", "keep");
    service.column("b", "keep");
    service.column("c", "fixed", "'x'", 1);
    service.column("d", "keep");
    Rows rows(4);
    rows.add({u"", u"", u"", u""});
    for (std::size_t column = 0; column < 4; ++column) {
        rows.field(0, column).buffer = nullptr;
        rows.field(0, column).bufferSize = 0;
    }
    rows.field(0, 1).bufferSize = 8;
    rows.field(0, 3).bufferSize = -4;
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_EQ(rows.field(0, 0).errorCode, 0);
    expect_code(rows.field(0, 1).errorCode, value_buffer_missing);
    EXPECT_EQ(rows.field(0, 2).errorCode, result_does_not_fit);
    EXPECT_EQ(rows.field(0, 3).errorCode, value_buffer_missing);
}

TEST_F(ServiceCalls, a_buffer_without_a_size_is_an_error_whatever_its_rule)
{
    for (const std::int32_t size : {0, -1, -8}) {
        Service service = two_columns();
        Rows rows(2);
        rows.add({u"Anna", Value{}});
        rows.field(0, 0).bufferSize = size;
        rows.field(0, 1).bufferSize = size;
        EXPECT_EQ(run(start(service), service, rows), 0);
        for (std::size_t column = 0; column < 2; ++column)
            EXPECT_EQ(rows.field(0, column).errorCode, value_buffer_missing) << size;
        EXPECT_EQ(rows.row(0).hasError, 1);
    }
}

TEST_F(ServiceCalls, an_empty_value_is_of_every_type_and_stays_empty)
{
    const std::pair<const char*, std::int32_t> types[] = {{"date", 10},      {"timestamp", 35},
                                                          {"integer", 20},   {"decimal(5,2)", 7},
                                                          {"varchar(3)", 3}, {"text", 0}};
    for (const auto& [type, length] : types) {
        const Outcome kept = mask("keep", "", u"", type, length);
        EXPECT_EQ(kept.error, 0) << type;
        EXPECT_EQ(kept.text, u"") << "empty, not null: " << type;
    }
    EXPECT_EQ(mask("classes", "", u"", "integer", 20).text, u"");
    EXPECT_EQ(mask("fixed", "'1970-01-01'", u"", "date", 10).text, u"1970-01-01");
    EXPECT_EQ(mask("keep", "", u" ", "integer", 20).error, value_not_of_type);
}

TEST_F(ServiceCalls, a_buffer_may_stand_at_an_odd_address)
{
    Service service = two_columns();
    const std::int32_t handle = start(service);
    Rows even(2);
    even.add({u"Anna Maria", u"2024-02-29"});
    even.add({u"😀 Zoë", u"not a date"});
    EXPECT_EQ(run(handle, service, even), 0);
    Rows odd(2);
    odd.add({u"Anna Maria", u"2024-02-29"}, 32);
    odd.add({u"😀 Zoë", u"not a date"}, 32);
    std::vector<char> memory(4 * 64 + 1, '\x55');
    char* start = memory.data() + (reinterpret_cast<std::uintptr_t>(memory.data()) % 2 == 0 ? 1 : 0);
    for (std::size_t i = 0; i < 4; ++i) {
        DATA& field = odd.field(i / 2, i % 2);
        std::memcpy(start + i * 64, field.buffer, 64);
        field.buffer = start + i * 64;
    }
    EXPECT_EQ(run(handle, service, odd), 0);
    for (std::size_t i = 0; i < 4; ++i) {
        std::u16string text(32, u'\0');
        std::memcpy(text.data(), odd.field(i / 2, i % 2).buffer, 64);
        EXPECT_EQ(text.c_str(), even.text(i / 2, i % 2));
        EXPECT_EQ(text.find_last_not_of(u'\0') + 1, even.text(i / 2, i % 2).size()) << "the rest is zeroed";
        EXPECT_EQ(odd.field(i / 2, i % 2).errorCode, even.field(i / 2, i % 2).errorCode);
    }
    EXPECT_EQ(odd.field(1, 1).errorCode, value_not_of_type);
}

TEST_F(ServiceCalls, a_text_ends_at_its_first_zero_unit_wherever_that_stands)
{
    Service service;
    service.column("name", "keep");
    const std::int32_t handle = start(service);
    for (std::size_t units = 1; units <= 10; ++units) {
        for (std::size_t length = 0; length <= units; ++length) {
            for (const char16_t unit : {u'\u0001', u'\u8000', u'\uFFFF', u'\u0100'}) {
                Rows rows(1);
                rows.add({std::u16string(length, unit)}, units);
                EXPECT_EQ(run(handle, service, rows), 0);
                const bool ends = length < units;
                EXPECT_EQ(rows.field(0, 0).errorCode, ends ? 0 : value_not_terminated)
                    << length << " of " << units;
                EXPECT_EQ(rows.buffer(0), std::u16string(ends ? length : 0, unit) +
                                              std::u16string(ends ? units - length : units, u'\0'));
            }
        }
    }
}

TEST_F(ServiceCalls, half_a_surrogate_pair_is_found_wherever_it_stands)
{
    Service service;
    service.column("name", "keep");
    const std::int32_t handle = start(service);
    for (std::size_t place = 0; place < 9; ++place) {
        for (const char16_t half : {u'\xD800', u'\xDBFF', u'\xDC00', u'\xDFFF'}) {
            std::u16string text = u"ninechars";
            text[place] = half;
            Rows rows(1);
            rows.add({text});
            rows.add({u"\uD7FF\uE000 \U0001F600"});
            EXPECT_EQ(run(handle, service, rows), 0);
            EXPECT_EQ(rows.field(0, 0).errorCode, value_ill_formed) << place;
            EXPECT_TRUE(rows.is_cleared(0, 0));
            EXPECT_EQ(rows.text(1), u"\uD7FF\uE000 \U0001F600");
        }
    }
}

TEST_F(ServiceCalls, on_error_null_makes_the_field_null_beside_its_code)
{
    Service service = two_columns("null");
    Rows rows(2);
    rows.add({too_long, u"2024-02-29"});
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_TRUE(rows.is_null(0, 0));
    EXPECT_TRUE(rows.is_cleared(0, 0));
    EXPECT_EQ(rows.field(0, 0).errorCode, value_too_long);
    EXPECT_FALSE(rows.is_null(0, 1));
    EXPECT_EQ(rows.row(0).hasError, 1);
}

TEST_F(ServiceCalls, on_error_fixed_writes_its_text_beside_the_code)
{
    Service service;
    service.operand(0, "on_error", "fixed('it''s bad')");
    service.column("name", "keep", "", 12, "varchar(12)");
    service.column("note", "keep");
    Rows rows(2);
    rows.add({too_long, lone_surrogate}, 20);
    rows.add({u"Anna", u"long enough " + lone_surrogate}, 20);
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_EQ(rows.text(0, 0), u"it's bad");
    EXPECT_EQ(rows.field(0, 0).errorCode, value_too_long);
    EXPECT_TRUE(rows.is_cleared(0, 1)) << "a text column holds what is as long as its value";
    EXPECT_EQ(rows.field(0, 1).errorCode, value_ill_formed);
    EXPECT_EQ(rows.text(1, 1), u"it's bad");
    EXPECT_EQ(rows.field(1, 1).errorCode, value_ill_formed);
}

TEST_F(ServiceCalls, on_error_stop_fails_the_call_and_leaves_nothing_readable)
{
    Service service = two_columns("stop");
    const std::int32_t handle = start(service);
    Rows rows(2);
    rows.add({u"Anna", u"2024-02-29"});
    rows.add({u"Berta", u"not a date"});
    rows.add({u"Clara", u"2024-02-29"});
    expect_code(run(handle, service, rows), value_not_of_type);
    EXPECT_TRUE(rows.all_cleared());
    for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_EQ(rows.row(row).hasError, 1);
        EXPECT_EQ(rows.field(row, 0).errorCode, value_not_of_type);
    }
    const Texts texts = texts_of(value_not_of_type);
    EXPECT_TRUE(texts.detail.starts_with(u"row 2\ncolumn \"born\"\nrule fixed('1970-01-01')\n"))
        << to_utf8(texts.detail);
    Rows good(2);
    good.add({u"Anna", u"2024-02-29"});
    EXPECT_EQ(run(handle, service, good), 0) << "the provider goes on";
    EXPECT_EQ(texts_of(value_not_of_type).detail, u"It is not written as the type's values are.");
}

TEST_F(ServiceCalls, nulls_stay_null_unless_they_are_to_be_masked)
{
    for (const bool masks : {false, true}) {
        Service service;
        service.operand(0, "key", "env:VELK_TEST_KEY");
        if (masks) service.operand(0, "on_null", "mask");
        service.column("a", "keep");
        service.column("b", "null");
        service.column("c", "fixed", "'gone'", 4);
        service.column("d", "hash", "", 32);
        service.column("e", "classes", "", 20, "integer");
        Rows rows(5);
        rows.add(std::vector<Value>(5));
        EXPECT_EQ(run(start(service), service, rows), 0);
        for (const std::size_t column : {0u, 1u, 3u, 4u}) {
            EXPECT_TRUE(rows.is_null(0, column)) << column;
            EXPECT_TRUE(rows.is_cleared(0, column));
            EXPECT_EQ(rows.field(0, column).errorCode, 0);
        }
        EXPECT_EQ(rows.is_null(0, 2), !masks);
        EXPECT_EQ(rows.text(0, 2), masks ? u"gone" : u"");
        EXPECT_EQ(rows.row(0).hasError, 0);
    }
}

TEST_F(ServiceCalls, a_row_of_another_width_is_an_error_as_a_whole)
{
    Service service = two_columns();
    Rows rows(2);
    rows.add({u"Anna", u"2024-02-29"});
    rows.add({u"Berta", u"2024-02-29"});
    rows.add({u"Clara", u"2024-02-29"});
    rows.field(0, 0).next = nullptr;
    rows.row(0).fieldCount = 1;
    rows.row(2).fieldCount = 3;
    EXPECT_EQ(run(start(service), service, rows), 0);
    expect_code(rows.field(0, 0).errorCode, row_width_differs);
    EXPECT_TRUE(rows.is_cleared(0, 0));
    EXPECT_EQ(rows.row(0).hasError, 1);
    EXPECT_EQ(rows.row(1).hasError, 0);
    EXPECT_EQ(rows.text(1, 1), u"1970-01-01");
    for (std::size_t column = 0; column < 2; ++column) {
        expect_code(rows.field(2, column).errorCode, row_field_count_differs);
        EXPECT_TRUE(rows.is_cleared(2, column));
    }
}

TEST_F(ServiceCalls, a_row_with_too_many_fields_is_cleared_to_its_end)
{
    Service service;
    service.column("name", "keep");
    Rows rows(3);
    rows.add({u"Anna", u"Berta", u"Clara"});
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_TRUE(rows.all_cleared());
    for (std::size_t column = 0; column < 3; ++column)
        EXPECT_EQ(rows.field(0, column).errorCode, row_width_differs);
}

TEST_F(ServiceCalls, a_row_without_fields_is_an_error)
{
    Service service;
    service.column("name", "keep");
    Rows rows(0);
    rows.add({});
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_EQ(rows.row(0).hasError, 1);
}

TEST_F(ServiceCalls, a_broken_row_stops_the_call_where_errors_do)
{
    Service service = two_columns("stop");
    Rows rows(2);
    rows.add({u"Anna", u"2024-02-29"});
    rows.add({u"Berta", u"2024-02-29"});
    rows.row(1).fieldCount = 7;
    expect_code(run(start(service), service, rows), row_field_count_differs);
    EXPECT_TRUE(texts_of(row_field_count_differs).detail.starts_with(u"row 2\n"));
    EXPECT_TRUE(rows.all_cleared());
}

TEST_F(ServiceCalls, whatever_fails_leaves_nothing_readable)
{
    Service service = two_columns();
    Service narrower;
    narrower.column("name", "keep");
    const std::int32_t handle = start(service);
    const auto attempt = [&](ErrorCode code, auto call) {
        Rows rows(2);
        rows.add({u"Anna", u"2024-02-29"});
        rows.add({u"Berta", u"2024-02-29"});
        expect_code(call(rows), code);
        EXPECT_TRUE(rows.all_cleared()) << code;
        EXPECT_EQ(rows.field(1, 1).errorCode, code);
        EXPECT_EQ(rows.row(1).hasError, 1);
    };
    attempt(provider_unknown, [&](Rows& rows) { return run(handle + 1, service, rows); });
    attempt(request_unknown,
            [&](Rows& rows) { return Provider_Service(handle, 0x1409, service.record(), rows.record()); });
    attempt(service_record_damaged, [&](Rows& rows) {
        return Provider_Service(handle, provider_service_request, nullptr, rows.record());
    });
    attempt(service_differs, [&](Rows& rows) { return run(handle, narrower, rows); });
    attempt(field_count_differs, [&](Rows& rows) {
        SVCA* record = service.record();
        record->fieldCount = 3;
        return Provider_Service(handle, provider_service_request, record, rows.record());
    });
    attempt(operand_count_differs, [&](Rows& rows) {
        SVCA* record = service.record();
        record->operandCount = 0;
        return Provider_Service(handle, provider_service_request, record, rows.record());
    });
    for (const std::int32_t count : {0, 1, 3, -1})
        attempt(row_count_differs, [&](Rows& rows) {
            rows.record()->rowCount = count;
            RWST* record = rows.record();
            record->rowCount = count;
            return Provider_Service(handle, provider_service_request, service.record(), record);
        });
    attempt(row_set_damaged, [&](Rows& rows) {
        RWST* record = rows.record();
        record->version = 20;
        return Provider_Service(handle, provider_service_request, service.record(), record);
    });
    attempt(row_damaged, [&](Rows& rows) {
        rows.row(1).eyeCatcher[0] = 'X';
        return run(handle, service, rows);
    });
    attempt(field_damaged, [&](Rows& rows) {
        rows.field(0, 1).version = 20;
        return run(handle, service, rows);
    });
    attempt(field_damaged, [&](Rows& rows) {
        rows.field(1, 0).eyeCatcher[0] = 'X';
        return run(handle, service, rows);
    });
}

// Three rows whose links a test bends.
class BentChains : public ServiceCalls {
protected:
    BentChains() : rows_(2)
    {
        for (int row = 0; row < 3; ++row) rows_.add({u"Anna", u"2024-02-29"});
        record_ = rows_.record();
    }

    std::int32_t run_bent()
    {
        Service service = two_columns();
        return Provider_Service(start(service), provider_service_request, service.record(), record_);
    }

    Rows rows_;
    RWST* record_;
};

TEST_F(BentChains, rows_without_an_end_are_refused_and_cleared)
{
    rows_.row(2).next = &rows_.row(1);
    for (const std::int32_t count : {3, 16777217}) {
        record_->rowCount = count;
        expect_code(run_bent(), row_count_differs);
        EXPECT_TRUE(rows_.all_cleared());
        EXPECT_EQ(rows_.field(2, 1).errorCode, row_count_differs);
    }
}

TEST_F(BentChains, fields_without_an_end_make_their_row_an_error)
{
    rows_.field(0, 1).next = &rows_.field(0, 0);
    rows_.field(1, 1).next = &rows_.field(1, 1);
    EXPECT_EQ(run_bent(), 0);
    for (std::size_t row = 0; row < 2; ++row) {
        EXPECT_EQ(rows_.field(row, 0).errorCode, row_field_count_differs);
        EXPECT_TRUE(rows_.is_cleared(row, 0));
        EXPECT_TRUE(rows_.is_cleared(row, 1));
    }
    EXPECT_EQ(rows_.text(2, 1), u"1970-01-01");
}

TEST_F(BentChains, rows_and_fields_without_an_end_are_refused_at_once)
{
    for (std::size_t row = 0; row < 3; ++row) rows_.field(row, 1).next = &rows_.field(row, 0);
    rows_.row(2).next = &rows_.row(0);
    expect_code(run_bent(), row_count_differs);
    EXPECT_TRUE(rows_.all_cleared());
}

TEST_F(ServiceCalls, what_is_no_row_set_is_refused_untouched)
{
    Service service = two_columns();
    const std::int32_t handle = start(service);
    expect_code(Provider_Service(handle, provider_service_request, service.record(), nullptr),
                row_set_damaged);
    Rows rows(2);
    rows.add({u"Anna", u"2024-02-29"});
    RWST* record = rows.record();
    record->eyeCatcher[0] = 'X';
    expect_code(Provider_Service(handle, provider_service_request, service.record(), record),
                row_set_damaged);
    EXPECT_EQ(rows.text(0, 0), u"Anna") << "its pointers are no row's, so they are not followed";
}

TEST_F(ServiceCalls, counts_are_compared_in_their_low_16_bits)
{
    Service wide;
    for (int i = 0; i < 70000; ++i) wide.field("c", 0);
    EXPECT_EQ(wide.record()->fieldCount, 4464);
    expect_code(try_start(wide), column_without_rule); // and not a count that differs
    Service service;
    service.column("name", "keep");
    Rows rows(65537);
    rows.add(std::vector<Value>(65537, u"x"), 2);
    EXPECT_EQ(rows.row(0).fieldCount, 1);
    EXPECT_EQ(run(start(service), service, rows), 0);
    EXPECT_EQ(rows.field(0, 0).errorCode, row_width_differs);
    EXPECT_EQ(rows.field(0, 65536).errorCode, row_width_differs);
    EXPECT_TRUE(rows.all_cleared());
}

TEST_F(ServiceCalls, running_out_of_memory_leaves_nothing_readable)
{
    Service service = two_columns();
    int failures = 0;
    for (std::size_t allowed = 0;; ++allowed) {
        const std::int32_t handle = start(service); // a new one, that has kept no memory
        Rows rows(2);
        rows.add({u"Anna Maria W", u"2024-02-29"});
        rows.add({u"Berta", u"2024-02-29"});
        SVCA* definition = service.record();
        RWST* record = rows.record();
        fail_allocations_after(allowed);
        const std::int32_t code = Provider_Service(handle, provider_service_request, definition, record);
        allow_allocations();
        EXPECT_EQ(Provider_Term(handle), 0);
        if (code == 0) break;
        expect_code(code, out_of_memory);
        EXPECT_TRUE(rows.all_cleared());
        ++failures;
    }
    EXPECT_GT(failures, 4);
}

TEST_F(ServiceCalls, the_second_of_two_equal_calls_allocates_nothing_of_its_own)
{
    Service service;
    service.column("name", "keep", "", 20, "varchar(20)");
    service.column("note", "null");
    const std::int32_t handle = start(service);
    for (int call = 0; call < 2; ++call) {
        Rows rows(2);
        rows.add({u"Anna", u"some note"});
        rows.add({u"Berta", Value{}});
        SVCA* definition = service.record();
        RWST* record = rows.record();
        if (call == 1) fail_allocations_after(0);
        const std::int32_t code = Provider_Service(handle, provider_service_request, definition, record);
        allow_allocations();
        EXPECT_EQ(code, 0);
        EXPECT_EQ(rows.text(1, 0), u"Berta");
    }
}

TEST_F(ServiceCalls, running_out_of_memory_at_the_start_leaves_no_provider)
{
    Service service = two_columns("fixed('1970-01-01')");
    std::int32_t handle = 0;
    for (std::size_t allowed = 0;; ++allowed) {
        SVCA* definition = service.record();
        fail_allocations_after(allowed);
        const std::int32_t code = Provider_Init(&handle, "people", 6, definition, 1);
        allow_allocations();
        if (code == 0) break;
        EXPECT_EQ(code, out_of_memory);
        EXPECT_EQ(handle, 0);
    }
    EXPECT_EQ(Provider_Term(handle), 0);
    EXPECT_EQ(Provider_FrmwTerm(), 0) << "no half-made provider is left open";
    EXPECT_EQ(Provider_FrmwInit(nullptr), 0);
}

TEST_F(ServiceCalls, many_rows_are_masked_alike)
{
    Service service = two_columns();
    const std::int32_t handle = start(service);
    Rows rows(2);
    for (int i = 0; i < 5000; ++i) rows.add({i % 2 == 0 ? u"Anna" : u"Berta", u"2024-02-29"}, 16);
    EXPECT_EQ(run(handle, service, rows), 0);
    for (std::size_t i = 2; i < 5000; ++i) ASSERT_EQ(rows.text(i, 0), rows.text(i % 2, 0));
    EXPECT_NE(rows.text(0, 0), rows.text(1, 0));
}

} // namespace
} // namespace velk::test
