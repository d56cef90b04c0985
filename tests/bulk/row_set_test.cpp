#include "bulk/row_set.h"

#include "bulk/engine.h"
#include "bulk/memory.h"
#include "support/allocation.h"

#include <cstdlib>
#include <cstring>

namespace velk::bulk::test {
namespace {

using velk::test::Allocations;

// A set of two columns, text and a limited one, as a fake engine sees it.
class RowSets : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(open(set, sizes, 2, 3)); }
    void TearDown() override { close(set); }

    void add(const char* first, const char* second)
    {
        ASSERT_EQ(fit_row(set, room_for(sizes[0], 100) + room_for(sizes[1], 100)), Fit::fits);
        add_row(set);
        put(0, first);
        put(1, second);
    }
    void put(std::size_t column, const char* text)
    {
        if (text == nullptr) return put_null(set, column);
        put_text(set, column, text, std::strlen(text));
    }
    std::u16string text(std::size_t row, std::size_t column)
    {
        const DATA& value = value_at(set, row, column);
        return {static_cast<char16_t*>(value.buffer), text_length(value)};
    }

    const BufferSizes sizes[2] = {unlimited(4), limited(3)};
    RowSet set;
};

TEST(BufferSize, is_what_the_input_takes_between_the_least_and_the_greatest)
{
    EXPECT_EQ(buffer_size({18, 84}, 0), 18U);
    EXPECT_EQ(buffer_size({18, 84}, 8), 18U);
    EXPECT_EQ(buffer_size({18, 84}, 9), 20U);
    EXPECT_EQ(buffer_size({18, 84}, 1000), 84U);
    EXPECT_EQ(buffer_size({40'002, 1204}, 0), 1204U); // a result longer than the column is an error
    EXPECT_EQ(buffer_size({2, INT32_MAX - 1}, 0), 2U);
    EXPECT_EQ(buffer_size({2, INT32_MAX - 1}, INT32_MAX / 2 - 1), std::size_t{INT32_MAX} - 1);
}

TEST(BufferSize, without_room_for_a_terminator_is_none)
{
    EXPECT_TRUE(hold_terminator({2, 2}));
    EXPECT_FALSE(hold_terminator({0, 2}));
    EXPECT_FALSE(hold_terminator({2, 0}));
    EXPECT_FALSE(hold_terminator({2, -1}));
}

TEST(BufferSize, room_holds_the_buffer_and_the_text_before_it_is_cut)
{
    EXPECT_EQ(room_for(limited(20), 0), 96U);
    EXPECT_EQ(room_for(limited(20), 1000), 2016U); // 2,002 bytes and what makes them a multiple of 16
    EXPECT_EQ(room_for(unlimited(0), 9), 32U);
    EXPECT_EQ(room_for(unlimited(0), INT32_MAX), 0U);
    EXPECT_EQ(room_for(limited(5), INT32_MAX), 0U);
}

TEST_F(RowSets, stand_as_the_natives_fill_them)
{
    add("Anna", "ab");
    add(nullptr, nullptr);
    const FakeEngine engine([&](std::int32_t handle, SVCA* service, RWST* rows) {
        EXPECT_EQ(handle, 7);
        EXPECT_EQ(service, reinterpret_cast<SVCA*>(0x1000));
        EXPECT_EQ(std::memcmp(rows, "RWST\x15\0\x18\0\2\0\0\0\0\0\0\0", 16), 0);
        const ROWD& first = *rows->firstRow;
        const ROWD& second = *first.next;
        EXPECT_EQ(second.next, nullptr);
        for (const ROWD* row : {&first, &second}) {
            EXPECT_EQ(std::memcmp(row->eyeCatcher, "ROWD\x15\0\x20\0\0\0\2\0\0\0\0\0", 16), 0);
            EXPECT_EQ(row->firstField->next->next, nullptr);
        }
        const DATA& name = *first.firstField;
        EXPECT_EQ(std::memcmp(name.eyeCatcher,
                              "DATA\x15\0\x38\0\0\0\0\0\x12\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 32),
                  0);
        EXPECT_EQ(std::u16string(static_cast<char16_t*>(name.buffer), 9),
                  std::u16string(u"Anna\0\0\0\0\0", 9));
        EXPECT_EQ(name.auxBuffer, nullptr);
        EXPECT_EQ(name.next->bufferSize, 16);
        EXPECT_EQ(std::u16string(static_cast<char16_t*>(name.next->buffer), 8),
                  std::u16string(u"ab\0\0\0\0\0\0", 8));
        EXPECT_EQ(second.firstField->isNull, 1);
        EXPECT_EQ(second.firstField->bufferSize, 18);
        EXPECT_EQ(std::u16string(static_cast<char16_t*>(second.firstField->buffer), 9), std::u16string(9, 0));
        return 0;
    });
    EXPECT_EQ(mask(set, 7, reinterpret_cast<SVCA*>(0x1000)), 0);
}

TEST_F(RowSets, a_text_longer_than_its_column_is_cut_as_the_natives_cut_it)
{
    add("x", "abcdefghij");
    EXPECT_EQ(text(0, 1), u"abcdefg"); // four units more than the limit
    EXPECT_EQ(value_at(set, 0, 1).bufferSize, 16);
    const char* behind = static_cast<char*>(value_at(set, 0, 1).buffer) + 16;
    EXPECT_EQ(std::string(behind, 4), std::string(4, '\0')); // two units of the ten
}

TEST_F(RowSets, are_used_again_without_new_memory)
{
    Allocations heap;
    const FakeEngine engine([](std::int32_t, SVCA*, RWST* rows) {
        std::int32_t count = 0;
        for (ROWD* row = rows->firstRow; row != nullptr; row = row->next) ++count;
        EXPECT_EQ(count, rows->rowCount);
        rows->firstRow->hasError = 1;
        rows->firstRow->reserved16 = 1;
        rows->firstRow->firstField->errorCode = 5;
        rows->firstRow->firstField->isNull = 1;
        return 0;
    });
    for (int rows : {3, 1, 2, 3}) {
        clear(set);
        for (int i = 0; i < rows; ++i) add("value", "ab");
        EXPECT_EQ(row_at(set, 0).hasError, 0);
        EXPECT_EQ(row_at(set, 0).reserved16, 0);
        EXPECT_EQ(value_at(set, 0, 0).errorCode, 0);
        EXPECT_EQ(value_at(set, 0, 0).isNull, 0);
        EXPECT_EQ(mask(set, 1, nullptr), 0);
    }
    EXPECT_EQ(heap.made(), 0U);
}

TEST_F(RowSets, take_no_more_rows_than_they_have_records_for)
{
    for (int i = 0; i < 3; ++i) add("a", "b");
    EXPECT_EQ(fit_row(set, 16), Fit::batch_is_full);
}

TEST_F(RowSets, one_large_row_goes_alone_and_its_memory_is_given_back)
{
    add("a", "b");
    EXPECT_EQ(fit_row(set, usual_room), Fit::batch_is_full);
    clear(set);
    EXPECT_EQ(fit_row(set, 3 * usual_room), Fit::fits);
    EXPECT_EQ(set.room.capacity, 3 * usual_room);
    clear(set);
    EXPECT_EQ(fit_row(set, 16), Fit::fits);
    EXPECT_EQ(set.room.capacity, usual_room);
}

TEST_F(RowSets, memory_that_is_not_there_for_a_large_row_is_told)
{
    Allocations heap;
    heap.fail(1);
    EXPECT_EQ(fit_row(set, 3 * usual_room), Fit::out_of_memory);
}

TEST_F(RowSets, after_a_failed_call_no_value_is_left)
{
    add("secret", "abc");
    const FakeEngine engine([](std::int32_t, SVCA*, RWST*) { return 7191; });
    EXPECT_EQ(mask(set, 1, nullptr), 7191);
    EXPECT_EQ(std::string(set.room.start, set.used), std::string(set.used, '\0'));
}

TEST_F(RowSets, what_the_engine_hangs_beside_a_value_is_freed_after_each_call)
{
    Allocations heap;
    for (const std::int32_t status : {0, 7191}) {
        clear(set);
        add("a", "b");
        add("c", "d");
        const FakeEngine engine([=](std::int32_t, SVCA*, RWST* rows) {
            rows->firstRow->firstField->next->auxBuffer = std::malloc(8);
            rows->firstRow->next->firstField->auxBuffer = std::malloc(8);
            return status;
        });
        EXPECT_EQ(mask(set, 1, nullptr), status);
        EXPECT_EQ(heap.sizes(), std::vector<std::size_t>{});
        EXPECT_EQ(value_at(set, 0, 1).auxBuffer, nullptr);
    }
}

TEST_F(RowSets, an_engine_that_moves_a_buffer_fails_the_batch)
{
    char16_t other[64] = {};
    const std::function<void(DATA&)> moves[] = {
        [&](DATA& value) { value.buffer = other; }, [&](DATA& value) { value.buffer = nullptr; },
        [&](DATA& value) { value.bufferSize = 1000; }, [&](DATA& value) { value.bufferSize = -2; },
        [&](DATA& value) { value.bufferSize = 0; }};
    for (const auto& move : moves) {
        clear(set);
        add("secret", "abc");
        const FakeEngine engine([&](std::int32_t, SVCA*, RWST* rows) {
            move(*rows->firstRow->firstField);
            return 0;
        });
        EXPECT_EQ(mask(set, 1, nullptr), code::buffer_moved);
        EXPECT_EQ(std::string(set.room.start, set.used), std::string(set.used, '\0'));
    }
}

TEST_F(RowSets, a_result_without_an_end_ends_with_its_buffer)
{
    add("Anna", "ab");
    const FakeEngine engine([](std::int32_t, SVCA*, RWST* rows) {
        std::memset(rows->firstRow->firstField->buffer, 'x', 18);
        return 0;
    });
    EXPECT_EQ(mask(set, 1, nullptr), 0);
    EXPECT_EQ(text(0, 0).size(), 8U);
}

TEST(RowSet, of_no_columns_calls_nobody)
{
    RowSet set;
    ASSERT_TRUE(open(set, nullptr, 0, 4));
    EXPECT_EQ(fit_row(set, 0), Fit::fits);
    add_row(set);
    const FakeEngine engine([](std::int32_t, SVCA*, RWST*) { return 1; });
    EXPECT_EQ(mask(set, 1, nullptr), 0);
    close(set);
}

TEST(RowSet, memory_that_is_not_there_is_told_and_nothing_is_held)
{
    const BufferSizes sizes = unlimited(0);
    for (std::size_t nth = 1; nth <= 3; ++nth) {
        Allocations heap;
        heap.fail(nth);
        RowSet set;
        EXPECT_FALSE(open(set, &sizes, 1, 4));
        EXPECT_TRUE(heap.has_failed());
    }
}

TEST(Memory, is_wiped_before_it_is_let_go_of)
{
    char block[64];
    Allocations heap;
    heap.lend(block);
    Memory memory;
    ASSERT_TRUE(reserve(memory, sizeof block, 0));
    std::memset(memory.start, 'x', sizeof block);
    ASSERT_TRUE(grow(memory, 65, 64)); // moves on, with what is kept
    EXPECT_EQ(std::string(block, sizeof block), std::string(64, '\0'));
    EXPECT_EQ(std::string(memory.start, 64), std::string(64, 'x'));
    EXPECT_EQ(memory.capacity, 96U);
    heap.lend(block);
    Memory last;
    ASSERT_TRUE(reserve(last, sizeof block, 0));
    std::memset(last.start, 'x', sizeof block);
    release(last);
    EXPECT_EQ(std::string(block, sizeof block), std::string(64, '\0'));
    release(memory);
}

} // namespace
} // namespace velk::bulk::test
