#include "bulk/columns.h"

#include "bulk/pipeline.h"
#include "support/allocation.h"

#include <cstring>

namespace velk::bulk::test {
namespace {

using Rows = std::vector<std::vector<Text>>;

TEST(Columns, values_come_back_masked_in_the_same_layout)
{
    const Service service("service=s a=fixed('x') b=keep c=null");
    OpenLane opened(service);
    const auto rows = run_columns(
        opened.lane, {{"1", "ä😀", "3"}, {std::nullopt, std::nullopt, std::nullopt}, {"", "", ""}});
    EXPECT_EQ(rows[0], (std::vector<Outcome>{{"x", 0}, {"ä😀", 0}, {}}));
    EXPECT_EQ(rows[1], (std::vector<Outcome>{{}, {}, {}}));
    EXPECT_EQ(rows[2], (std::vector<Outcome>{{"x", 0}, {"", 0}, {}}));
    EXPECT_EQ(opened.lane.counts[0], (Counts{2, 1, 0, 0}));
    EXPECT_EQ(opened.lane.counts[1], (Counts{0, 1, 1, 1}));
    EXPECT_EQ(opened.lane.counts[2], (Counts{2, 1, 0, 0}));
}

TEST(Columns, what_goes_round_the_engine_is_the_same)
{
    const Service service("service=s a=fixed('x')");
    OpenLane opened(service, {-1, 0, -1});
    const auto rows = run_columns(opened.lane, {{"ä", "1", std::nullopt}, {std::nullopt, "2", ""}});
    EXPECT_EQ(rows[0], (std::vector<Outcome>{{"ä", 0}, {"x", 0}, {}}));
    EXPECT_EQ(rows[1], (std::vector<Outcome>{{}, {"x", 0}, {"", 0}}));
}

TEST(Columns, a_column_without_a_bitmap_has_no_nulls)
{
    const Service service("service=s a=keep");
    OpenLane opened(service);
    const std::int32_t offsets[] = {3, 4, 4, 6}; // the first bytes belong to somebody else
    const ColumnIn in{nullptr, offsets, "***abc"};
    Columns columns;
    ASSERT_EQ(begin(columns, opened.lane, &in, 3), 0);
    ASSERT_EQ(load(columns, opened.lane), 3);
    ASSERT_EQ(mask(opened.lane), 0);
    ASSERT_EQ(store(columns, opened.lane), 0);
    ASSERT_EQ(load(columns, opened.lane), 0);
    EXPECT_EQ(columns.out[0].validity.start[0], 7);
    EXPECT_EQ(std::memcmp(columns.out[0].offsets.start, "\0\0\0\0\1\0\0\0\1\0\0\0\3\0\0\0", 16), 0);
    EXPECT_EQ(std::memcmp(columns.out[0].bytes.start, "abc", 3), 0);
    close(columns);
}

TEST(Columns, what_cannot_be_sent_is_an_error_of_its_value)
{
    const Service service("service=s a=keep b=keep");
    for (const Text& replacement : {Text(), Text("***"), Text("")}) {
        OpenLane opened(service, {0, -1, 1}, replacement);
        const std::string zero("a\0b", 3);
        const auto rows = run_columns(opened.lane, {{zero, zero, "\xFF"}, {"1", "\xED\xA0\x80", "ok"}});
        EXPECT_EQ(rows[0], (std::vector<Outcome>{{replacement, code::zero_character},
                                                 {replacement, code::zero_character},
                                                 {replacement, code::ill_formed}}));
        EXPECT_EQ(rows[1], (std::vector<Outcome>{{"1", 0}, {replacement, code::ill_formed}, {"ok", 0}}));
        EXPECT_EQ(opened.lane.counts[1], (Counts{0, 0, 0, 0}));
    }
}

TEST(Columns, values_of_nothing_need_no_bytes)
{
    const Service service("service=s a=keep");
    OpenLane opened(service);
    const std::int32_t offsets[] = {0, 0};
    const ColumnIn in{nullptr, offsets, nullptr};
    Columns columns;
    for (const std::size_t rows : {std::size_t{1}, std::size_t{0}}) {
        ASSERT_EQ(begin(columns, opened.lane, &in, rows), 0);
        ASSERT_EQ(load(columns, opened.lane), static_cast<std::int32_t>(rows));
        ASSERT_EQ(mask(opened.lane), 0);
        ASSERT_EQ(store(columns, opened.lane), 0);
        EXPECT_EQ(columns.out[0].validity.start[0], static_cast<char>(rows));
        EXPECT_EQ(opened.lane.counts[0], (Counts{0, 0, 0, static_cast<std::int64_t>(rows)}));
    }
    close(columns);
}

TEST(Columns, offsets_that_fall_or_are_negative_are_refused)
{
    const Service service("service=s a=keep");
    OpenLane opened(service);
    Columns columns;
    for (const auto& offsets : {std::vector<std::int32_t>{0, 2, 1}, {-1, 0, 1}, {0, -5, 1}}) {
        const ColumnIn in{nullptr, offsets.data(), "abc"};
        EXPECT_EQ(begin(columns, opened.lane, &in, 2), code::misplaced);
        EXPECT_EQ(load(columns, opened.lane), 0);
    }
    close(columns);
}

TEST(Columns, more_rows_than_fit_a_call_are_masked_in_several)
{
    const Service service("service=s key=env:VELK_TEST_KEY a=hash b=keep");
    OpenLane opened(service);
    Rows rows;
    for (int i = 0; i < 10'000; ++i)
        rows.push_back({std::to_string(i), i % 3 == 0 ? Text() : std::to_string(-i)});
    int calls = 0;
    const FakeEngine engine([&](std::int32_t handle, SVCA* record, RWST* set) {
        ++calls;
        return real_service(handle, record, set);
    });
    const auto masked = run_columns(opened.lane, rows);
    EXPECT_EQ(calls, 3);
    for (const std::size_t row : {std::size_t{0}, std::size_t{4095}, std::size_t{4096}, std::size_t{9999}})
        EXPECT_EQ(masked[row], mask_alone(service, rows[row]));
}

TEST(Columns, are_used_again_without_new_memory)
{
    const Service service("service=s a=fixed('a longer text') b=keep");
    OpenLane opened(service);
    const std::int32_t offsets[] = {0, 1, 3};
    const ColumnIn in[] = {{nullptr, offsets, "abc"}, {nullptr, offsets, "def"}};
    Columns columns;
    const auto run = [&] {
        ASSERT_EQ(begin(columns, opened.lane, in, 2), 0);
        ASSERT_EQ(load(columns, opened.lane), 2);
        ASSERT_EQ(mask(opened.lane), 0);
        ASSERT_EQ(store(columns, opened.lane), 0);
    };
    run();
    velk::test::Allocations heap;
    run();
    EXPECT_EQ(heap.made(), 0U);
    EXPECT_EQ(std::string(columns.out[0].bytes.start, 26), "a longer texta longer text");
    close(columns);
}

TEST(Columns, results_are_wiped_where_a_later_call_of_the_batch_fails)
{
    const Service service("service=s a=fixed('masked')");
    OpenLane opened(service);
    const std::int32_t offsets[] = {0, 1};
    const ColumnIn in{nullptr, offsets, "a"};
    Columns columns;
    ASSERT_EQ(begin(columns, opened.lane, &in, 1), 0);
    ASSERT_EQ(load(columns, opened.lane), 1);
    ASSERT_EQ(mask(opened.lane), 0);
    ASSERT_EQ(store(columns, opened.lane), 0);
    wipe(columns);
    EXPECT_EQ(std::string(columns.out[0].bytes.start, 6), std::string(6, '\0'));
    EXPECT_EQ(columns.out[0].validity.start[0], 0);
    close(columns);
}

TEST(Columns, memory_that_is_not_there_is_told_wherever_it_lacks)
{
    const Service service("service=s a=fixed('a text') b=keep");
    const std::int32_t offsets[] = {0, 1, 2};
    const ColumnIn in[] = {{nullptr, offsets, "a\0"}, {nullptr, offsets, "bc"}};
    for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        velk::test::Allocations heap;
        OpenLane opened(service, "?");
        Columns columns;
        heap.fail(nth);
        std::int32_t status = begin(columns, opened.lane, in, 2);
        if (status == 0) status = load(columns, opened.lane);
        if (status > 0) status = mask(opened.lane);
        if (status == 0) status = store(columns, opened.lane);
        EXPECT_EQ(status, heap.has_failed() ? code::out_of_memory : 0);
        const bool done = !heap.has_failed();
        close(columns);
        close(opened.lane);
        if (done) break;
        ASSERT_LT(nth, 30U);
    }
}

TEST(Lane, columns_that_contradict_each_other_open_none)
{
    const BufferSizes sizes[2] = {unlimited(0), unlimited(0)};
    for (const auto& order : {std::vector<std::int32_t>{0}, {0, 0, 1}, {0, 2}, {0, 1, -2}, {-1, 0}, {}}) {
        velk::test::Allocations heap;
        Lane lane;
        EXPECT_FALSE(open(lane, {1, nullptr, order.data(), order.size(), sizes, 2, nullptr, 0}));
    }
}

TEST(Lane, sizes_that_hold_no_terminator_open_none)
{
    const std::int32_t order[] = {0};
    const BufferSizes sizes{0, 100};
    Lane lane;
    EXPECT_FALSE(open(lane, {1, nullptr, order, 1, &sizes, 1, nullptr, 0}));
}

} // namespace
} // namespace velk::bulk::test
