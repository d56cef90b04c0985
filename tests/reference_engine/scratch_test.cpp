// What a service call keeps for the next one, and what it does not.

#include "provider/service.h"
#include "support.h"

#include <algorithm>

namespace velk::test {
namespace {

using Texts16 = std::vector<std::u16string>;

// The other column's values that a rule was given beside each of its own.
struct Asked {
    Texts16 values;
    Texts16 by;
};

Mask recording(Asked& asked)
{
    return [&asked](const Batch& batch, Results& results) {
        asked.values.assign(batch.values.begin(), batch.values.end());
        asked.by.assign(batch.by.begin(), batch.by.end());
        for (const std::u16string_view value : batch.values) add_result(results, value);
    };
}

Mask same_text(const std::u16string& text)
{
    return [text](const Batch& batch, Results& results) {
        for (std::size_t i = 0; i < batch.values.size(); ++i) add_result(results, text);
    };
}

Provider provider_of(std::vector<engine::Column> columns)
{
    Provider provider;
    for (const engine::Column& column : columns) provider.has_named_columns |= column.by.has_value();
    provider.columns = std::move(columns);
    return provider;
}

engine::Column column_of(Mask mask, std::optional<std::size_t> by = {}, ColumnLimits limits = {})
{
    return {"column", "rule", limits, std::move(mask), by};
}

// With room for every result, all of it zero.
Scratch zeroed_scratch()
{
    Scratch scratch;
    scratch.results.text.assign(4096, u'\0');
    scratch.results.text.clear();
    return scratch;
}

bool is_wiped(const Scratch& scratch)
{
    const std::u16string& text = scratch.results.text;
    return text.empty() && scratch.aligned.empty() && scratch.copies.empty() &&
           std::all_of(text.data(), text.data() + text.capacity(), [](char16_t unit) { return unit == 0; });
}

TEST(NamedColumns, are_given_as_they_came_in_whichever_is_masked_first)
{
    Asked first;
    Asked last;
    const Provider provider = provider_of(
        {column_of(recording(first), 1), column_of(same_text(u"masked")), column_of(recording(last), 1)});
    Rows rows(3);
    rows.add({u"a", u"Anna", u"x"});
    rows.add({u"b", u"Berta", u"y"});
    Scratch scratch = zeroed_scratch();
    mask_row_set(provider, rows.record(), scratch);
    EXPECT_EQ(first.by, (Texts16{u"Anna", u"Berta"}));
    EXPECT_EQ(last.by, first.by);
    EXPECT_EQ(rows.text(1, 1), u"masked");
    EXPECT_TRUE(is_wiped(scratch));
}

TEST(NamedColumns, may_name_each_other)
{
    Asked first;
    Asked second;
    const Provider provider = provider_of({column_of(recording(first), 1), column_of(recording(second), 0)});
    Rows rows(2);
    rows.add({u"a", u"b"});
    Scratch scratch;
    mask_row_set(provider, rows.record(), scratch);
    EXPECT_EQ(first.by, Texts16{u"b"});
    EXPECT_EQ(second.by, Texts16{u"a"});
}

TEST(NamedColumns, give_nothing_for_a_null_an_error_and_a_broken_row)
{
    Asked asked;
    const ColumnLimits date{{TypeName::date}, 10};
    const Provider provider =
        provider_of({column_of(recording(asked), 1), column_of(same_text(u"2000-01-01"), {}, date)});
    Rows rows(2);
    rows.add({u"a", Value{}});
    rows.add({u"b", u"no date"});
    rows.add({u"broken", u"2024-02-29"});
    rows.add({Value{}, u"2024-03-01"}); // a null that is not masked has no part in the batch
    rows.add({u"c", u"2024-03-02"});
    RWST* record = rows.record();
    rows.row(2).fieldCount = 9;
    Scratch scratch;
    mask_row_set(provider, record, scratch);
    EXPECT_EQ(asked.values, (Texts16{u"a", u"b", u"c"}));
    EXPECT_EQ(asked.by, (Texts16{u"", u"", u"2024-03-02"}));
    EXPECT_EQ(rows.field(1, 1).errorCode, value_not_of_type);
}

TEST(Scratch, holds_no_text_after_a_call)
{
    const Provider provider =
        provider_of({column_of(same_text(u"a long result")), column_of(same_text(u"b"))});
    Scratch scratch = zeroed_scratch();
    for (int call = 0; call < 2; ++call) {
        Rows rows(2);
        for (int row = 0; row < 50; ++row) rows.add({u"Anna", u"Berta"});
        mask_row_set(provider, rows.record(), scratch);
        EXPECT_GE(scratch.results.text.capacity(), 4096u) << "the memory is kept";
        EXPECT_TRUE(is_wiped(scratch));
    }
}

TEST(Scratch, holds_no_text_after_a_call_that_failed)
{
    Asked asked;
    const Mask fails = [](const Batch& batch, Results& results) {
        for (const std::u16string_view value : batch.values) add_result(results, value);
        throw Failure{internal_error};
    };
    const Provider provider = provider_of({column_of(fails, 1), column_of(recording(asked))});
    Rows rows(2);
    for (int row = 0; row < 50; ++row) rows.add({u"topsecret", u"Berta"});
    Scratch scratch = zeroed_scratch();
    EXPECT_THROW(mask_row_set(provider, rows.record(), scratch), Failure);
    EXPECT_TRUE(is_wiped(scratch));
}

TEST(Scratch, gives_back_what_a_large_row_set_took)
{
    const Provider provider = provider_of({column_of(same_text(u"x"))});
    Rows rows(1);
    for (int row = 0; row < 30'000; ++row) rows.add({u"Anna"}, 5);
    Scratch scratch;
    mask_row_set(provider, rows.record(), scratch);
    EXPECT_EQ(rows.text(29'999), u"x");
    EXPECT_EQ(scratch.cells.capacity() + scratch.rows.capacity(), 0u);
}

} // namespace
} // namespace velk::test
