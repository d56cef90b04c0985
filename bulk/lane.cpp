#include "lane.h"

#include <cstring>

namespace velk::bulk {

namespace {

constexpr std::size_t batch_values = 8192;

template <typename Record> bool copy(List<Record>& list, const Record* records, std::size_t count)
{
    if (!resize(list, count)) return false;
    if (count > 0) std::memcpy(list.memory.start, records, count * sizeof(Record));
    return true;
}

// Each column of the service stands for one of the table.
bool place_columns(Lane& lane, std::size_t columns)
{
    if (!resize(lane.column_of, columns)) return false;
    for (std::size_t i = 0; i < columns; ++i) lane.column_of[i] = -1;
    std::size_t placed = 0;
    for (std::size_t column = 0; column < lane.width; ++column) {
        const std::int32_t target = lane.service_column[column];
        if (target == -1) continue;
        if (target < 0 || static_cast<std::size_t>(target) >= columns) return false;
        std::int32_t& source = lane.column_of[static_cast<std::size_t>(target)];
        if (source != -1) return false;
        source = static_cast<std::int32_t>(column);
        ++placed;
    }
    return placed == columns;
}

bool all_hold_terminator(const BufferSizes* sizes, std::size_t columns)
{
    for (std::size_t i = 0; i < columns; ++i)
        if (!hold_terminator(sizes[i])) return false;
    return true;
}

bool take(Lane& lane, const LaneDefinition& definition)
{
    lane.provider = definition.provider;
    lane.service = definition.service;
    lane.width = definition.width;
    lane.replaced = definition.replacement != nullptr;
    return all_hold_terminator(definition.sizes, definition.columns) &&
           copy(lane.service_column, definition.service_column, definition.width) &&
           place_columns(lane, definition.columns) &&
           copy(lane.replacement, definition.replacement, definition.replacement_bytes) &&
           resize(lane.counts, definition.width) &&
           open(lane.rows, definition.sizes, definition.columns, batch_rows(definition.width));
}

const Value& sent_value(const Lane& lane, const Value* values, std::size_t column)
{
    return values[static_cast<std::size_t>(lane.column_of[column])];
}

// What the buffers of a row take; false: a value has none.
bool room_of_row(const Lane& lane, const Value* values, std::size_t& room)
{
    room = 0;
    for (std::size_t column = 0; column < lane.rows.columns; ++column) {
        const std::size_t more = room_for(lane.rows.sizes[column], sent_value(lane, values, column).bytes);
        if (more == 0) return false;
        room += more;
    }
    return true;
}

// A value that cannot be sent is null for the engine, and an error of its field.
bool refuse_flaws(Lane& lane, const Value* values)
{
    for (std::size_t column = 0; column < lane.width; ++column) {
        if (values[column].flaw == 0) continue;
        const Error error{static_cast<std::int32_t>(lane.row_count), static_cast<std::int32_t>(column),
                          values[column].flaw};
        if (!append(lane.refused, error)) return false;
    }
    return true;
}

void put_row(Lane& lane, const Value* values)
{
    add_row(lane.rows);
    for (std::size_t column = 0; column < lane.rows.columns; ++column) {
        const Value& value = sent_value(lane, values, column);
        if (value.is_null || value.flaw != 0)
            put_null(lane.rows, column);
        else
            put_text(lane.rows, column, value.text, value.bytes);
    }
}

bool any_value_has_error(const Lane& lane, std::size_t row)
{
    for (std::size_t column = 0; column < lane.rows.columns; ++column)
        if (value_at(lane.rows, row, column).errorCode != 0) return true;
    return false;
}

// The code of the next value that was not sent, if that is this one.
std::int32_t refusal(Lane& lane, std::size_t row, std::size_t column)
{
    if (lane.next_refused == lane.refused.size) return 0;
    const Error& next = lane.refused[lane.next_refused];
    if (next.row != static_cast<std::int32_t>(row) || next.column != static_cast<std::int32_t>(column))
        return 0;
    ++lane.next_refused;
    return next.code;
}

} // namespace

std::size_t batch_rows(std::size_t width)
{
    return width >= batch_values ? 1 : batch_values / (width == 0 ? 1 : width);
}

bool open(Lane& lane, const LaneDefinition& definition)
{
    if (definition.width > 0 && take(lane, definition)) return begin(lane), true;
    close(lane);
    return false;
}

void close(Lane& lane)
{
    close(lane.rows);
    release(lane.service_column);
    release(lane.column_of);
    release(lane.replacement);
    release(lane.errors);
    release(lane.counts);
    release(lane.refused);
    lane = {};
}

void begin(Lane& lane)
{
    lane.errors.size = 0;
    lane.first_row = 0;
    lane.row_count = 0;
    std::memset(lane.counts.memory.start, 0, lane.counts.size * sizeof(Counts));
    next_rows(lane);
}

void next_rows(Lane& lane)
{
    lane.first_row += lane.row_count;
    lane.row_count = 0;
    lane.refused.size = 0;
    clear(lane.rows);
}

Fit add_row(Lane& lane, const Value* values, bool any_flaw)
{
    std::size_t room = 0;
    if (!room_of_row(lane, values, room)) return Fit::too_long;
    if (const Fit fit = fit_row(lane.rows, room); fit != Fit::fits) return fit;
    if (any_flaw && !refuse_flaws(lane, values)) return Fit::out_of_memory;
    put_row(lane, values);
    ++lane.row_count;
    return Fit::fits;
}

std::int32_t failure(Fit fit)
{
    return fit == Fit::too_long ? code::too_long : code::out_of_memory;
}

std::int32_t mask(Lane& lane)
{
    return mask(lane.rows, lane.provider, lane.service);
}

void begin_results(Lane& lane)
{
    lane.next_refused = 0;
}

void begin_row(Lane& lane, std::size_t row)
{
    // Of a row in error none of whose values is, none can be trusted.
    const bool refused = row_at(lane.rows, row).hasError != 0 && !any_value_has_error(lane, row);
    lane.row_error = refused ? code::whole_row : 0;
}

Result result(Lane& lane, std::size_t row, std::size_t column)
{
    if (const std::int32_t flaw = refusal(lane, row, column)) return {ResultKind::error, nullptr, 0, flaw};
    if (lane.row_error != 0) return {ResultKind::error, nullptr, 0, lane.row_error};
    const std::int32_t sent = lane.service_column[column];
    if (sent < 0) return {ResultKind::kept, nullptr, 0, 0};
    const DATA& value = value_at(lane.rows, row, static_cast<std::size_t>(sent));
    if (value.errorCode != 0) return {ResultKind::error, nullptr, 0, value.errorCode};
    if (value.isNull != 0) return {ResultKind::null, nullptr, 0, 0};
    return {ResultKind::text, static_cast<const char16_t*>(value.buffer), text_length(value), 0};
}

bool note_error(Lane& lane, std::size_t row, std::size_t column, std::int32_t code)
{
    return append(lane.errors, Error{static_cast<std::int32_t>(lane.first_row + row),
                                     static_cast<std::int32_t>(column), code});
}

} // namespace velk::bulk
