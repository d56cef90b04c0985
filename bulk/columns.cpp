#include "columns.h"

#include "text.h"

#include <cstring>

namespace velk::bulk {

namespace {

bool is_null(const ColumnIn& column, std::size_t row)
{
    return column.validity != nullptr && (column.validity[row / 8] >> (row % 8) & 1) == 0;
}

bool offsets_rise(const ColumnIn& column, std::size_t rows)
{
    if (column.offsets[0] < 0) return false;
    for (std::size_t row = 0; row < rows; ++row)
        if (column.offsets[row + 1] < column.offsets[row]) return false;
    return true;
}

std::int32_t flaw_of(const char* text, std::size_t bytes)
{
    if (text::well_formed(text, bytes) < bytes) return code::ill_formed;
    return text::find(text, bytes, 0) < bytes ? code::zero_character : 0;
}

// Not looked at for flaws yet.
Value raw_value(const ColumnIn& column, std::size_t row)
{
    if (is_null(column, row)) return {nullptr, 0, true, 0};
    const auto bytes = static_cast<std::size_t>(column.offsets[row + 1] - column.offsets[row]);
    return {column.bytes + column.offsets[row], bytes, false, 0};
}

Value value_of(const ColumnIn& column, std::size_t row)
{
    Value value = raw_value(column, row);
    value.flaw = flaw_of(value.text, value.bytes);
    return value;
}

// Bitmaps start as all null.
bool make_room(ColumnOut& column, std::size_t rows)
{
    const std::size_t bytes = rows / 8 + 1;
    if (!reserve(column.validity, bytes, 0) || !reserve(column.offsets, (rows + 1) * sizeof(std::int32_t), 0))
        return false;
    std::memset(column.validity.start, 0, bytes);
    std::memset(column.offsets.start, 0, sizeof(std::int32_t));
    return true;
}

std::int32_t* offsets(const ColumnOut& column)
{
    return reinterpret_cast<std::int32_t*>(column.offsets.start);
}

// Where the bytes of the row stored next start, with room for some more. Null: there is no such memory.
char* room_for_value(ColumnOut& column, std::size_t row, std::size_t bytes)
{
    const auto start = static_cast<std::size_t>(offsets(column)[row]);
    return grow(column.bytes, start + bytes, start) ? column.bytes.start + start : nullptr;
}

std::int32_t end_value(ColumnOut& column, std::size_t row, std::size_t bytes, bool null)
{
    const std::size_t end = static_cast<std::size_t>(offsets(column)[row]) + bytes;
    if (end > INT32_MAX) return code::too_long;
    offsets(column)[row + 1] = static_cast<std::int32_t>(end);
    if (!null) column.validity.start[row / 8] |= static_cast<char>(1 << row % 8);
    return 0;
}

std::int32_t store_null(ColumnOut& column, std::size_t row)
{
    return end_value(column, row, 0, true);
}

std::int32_t store_utf8(ColumnOut& column, std::size_t row, const char* text, std::size_t bytes)
{
    char* target = room_for_value(column, row, bytes + 1); // an empty one has a place, too
    if (target == nullptr) return code::out_of_memory;
    if (bytes > 0) std::memcpy(target, text, bytes);
    return end_value(column, row, bytes, false);
}

// One value on its way out.
struct Place {
    Columns& columns;
    Lane& lane;
    std::size_t row; // of the rows at hand
    std::size_t column;

    ColumnOut& out() const { return columns.out[column]; }
    std::size_t target() const { return columns.stored + row; }
    Value before() const { return raw_value(columns.in[column], lane.first_row + row); }
    Counts& counts() const { return lane.counts[column]; }
};

std::int32_t store_error(const Place& place, std::int32_t code)
{
    const Lane& lane = place.lane;
    if (!note_error(place.lane, place.row, place.column, code)) return code::out_of_memory;
    if (!lane.replaced) return store_null(place.out(), place.target());
    return store_utf8(place.out(), place.target(), lane.replacement.memory.start, lane.replacement.size);
}

std::int32_t store_kept(const Place& place)
{
    const Value value = place.before();
    if (value.is_null) {
        ++place.counts().nulls_kept;
        return store_null(place.out(), place.target());
    }
    count_equal(place.counts(), value.bytes);
    return store_utf8(place.out(), place.target(), value.text, value.bytes);
}

std::int32_t store_null_result(const Place& place)
{
    ++(place.before().is_null ? place.counts().nulls_kept : place.counts().masked);
    return store_null(place.out(), place.target());
}

std::int32_t store_text(const Place& place, const Result& result)
{
    char* target = room_for_value(place.out(), place.target(), 3 * result.units + 1);
    if (target == nullptr) return code::out_of_memory;
    const text::Progress done = text::to_utf8(target, result.text, result.units);
    if (done.read < result.units) return store_error(place, code::lone_surrogate);
    const Value before = place.before();
    const bool equal = !before.is_null && before.bytes == done.written &&
                       (done.written == 0 || std::memcmp(before.text, target, done.written) == 0);
    if (equal)
        count_equal(place.counts(), done.written);
    else
        ++place.counts().masked;
    return end_value(place.out(), place.target(), done.written, false);
}

std::int32_t store_value(const Place& place)
{
    const Result result = bulk::result(place.lane, place.row, place.column);
    switch (result.kind) {
    case ResultKind::kept:
        return store_kept(place);
    case ResultKind::null:
        return store_null_result(place);
    case ResultKind::text:
        return store_text(place, result);
    default:
        return store_error(place, result.code);
    }
}

} // namespace

void close(Columns& columns)
{
    for (std::size_t i = 0; i < columns.out.size; ++i) {
        release(columns.out[i].validity);
        release(columns.out[i].offsets);
        release(columns.out[i].bytes);
    }
    release(columns.out);
    release(columns.in);
    release(columns.values);
    columns = {};
}

std::int32_t begin(Columns& columns, Lane& lane, const ColumnIn* in, std::size_t rows)
{
    begin(lane);
    columns.rows = 0;
    columns.next = 0;
    columns.stored = 0;
    if (!resize(columns.in, lane.width) || !resize(columns.values, lane.width)) return code::out_of_memory;
    while (columns.out.size < lane.width)
        if (!append(columns.out, ColumnOut{})) return code::out_of_memory;
    std::memcpy(columns.in.memory.start, in, lane.width * sizeof *in);
    for (std::size_t i = 0; i < lane.width; ++i) {
        if (!offsets_rise(in[i], rows)) return code::misplaced;
        if (!make_room(columns.out[i], rows)) return code::out_of_memory;
    }
    columns.rows = rows;
    return 0;
}

std::int32_t load(Columns& columns, Lane& lane)
{
    next_rows(lane);
    for (; columns.next < columns.rows; ++columns.next) {
        for (std::size_t i = 0; i < lane.width; ++i)
            columns.values[i] = value_of(columns.in[i], columns.next);
        const Fit fit = add_row(lane, columns.values.data(), true);
        if (fit == Fit::batch_is_full) break;
        if (fit != Fit::fits) return failure(fit);
    }
    return static_cast<std::int32_t>(lane.row_count);
}

std::int32_t store(Columns& columns, Lane& lane)
{
    begin_results(lane);
    for (std::size_t row = 0; row < lane.row_count; ++row) {
        begin_row(lane, row);
        for (std::size_t column = 0; column < lane.width; ++column)
            if (const std::int32_t status = store_value({columns, lane, row, column})) return status;
    }
    columns.stored += lane.row_count;
    return 0;
}

void wipe(Columns& columns)
{
    for (std::size_t i = 0; i < columns.out.size; ++i) {
        wipe(columns.out[i].validity.start, columns.out[i].validity.capacity);
        wipe(columns.out[i].offsets.start, columns.out[i].offsets.capacity);
        wipe(columns.out[i].bytes.start, columns.out[i].bytes.capacity);
    }
    columns.stored = 0;
}

} // namespace velk::bulk
