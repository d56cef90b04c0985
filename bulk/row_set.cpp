#include "row_set.h"

#include "engine/provider.h"
#include "text.h"

#include <cstdlib>
#include <cstring>

namespace velk::bulk {

namespace {

// Every buffer starts at a multiple of what malloc gives, as the engine is used to.
constexpr std::size_t alignment = 16;

constexpr std::size_t rows_offset = (sizeof(RWST) + alignment - 1) / alignment * alignment;

std::size_t aligned(std::size_t bytes)
{
    return (bytes + alignment - 1) / alignment * alignment;
}

RWST* head(const RowSet& set)
{
    return reinterpret_cast<RWST*>(set.records.start);
}

ROWD* rows(const RowSet& set)
{
    return reinterpret_cast<ROWD*>(set.records.start + rows_offset);
}

DATA* values(const RowSet& set)
{
    return reinterpret_cast<DATA*>(set.records.start + rows_offset + set.capacity * sizeof(ROWD));
}

template <typename Record> void set_header(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

void link_row(const RowSet& set, std::size_t row)
{
    ROWD& record = rows(set)[row];
    set_header(record, "ROWD");
    // 16 bits of the count, though every field is chained: the record has no room for more.
    record.fieldCount = static_cast<std::uint16_t>(set.columns);
    record.firstField = set.columns == 0 ? nullptr : values(set) + row * set.columns;
    record.next = row + 1 < set.capacity ? &record + 1 : nullptr;
    for (std::size_t column = 0; column < set.columns; ++column) {
        DATA& value = values(set)[row * set.columns + column];
        set_header(value, "DATA");
        value.next = column + 1 < set.columns ? &value + 1 : nullptr;
    }
}

DATA& value_of_last_row(const RowSet& set, std::size_t column)
{
    return values(set)[(set.rows - 1) * set.columns + column];
}

// Hands the next buffer to a value.
char* take_buffer(RowSet& set, DATA& value, std::size_t size)
{
    char* buffer = set.room.start + set.used;
    set.used += aligned(size);
    value.buffer = buffer;
    value.bufferSize = static_cast<std::int32_t>(size);
    value.errorCode = 0;
    value.auxBuffer = nullptr;
    return buffer;
}

// Frees what the engine hung beside values, and tells whether each value is still where it was put: what
// stands elsewhere would be neither written nor wiped.
bool settle(const RowSet& set)
{
    bool stayed = true;
    const char* buffer = set.room.start;
    DATA* value = values(set);
    for (const DATA* end = value + set.rows * set.columns; value != end; ++value) {
        stayed = stayed && value->buffer == buffer && value->bufferSize > 0;
        buffer += stayed ? aligned(static_cast<std::size_t>(value->bufferSize)) : 0;
        if (value->auxBuffer == nullptr) continue;
        std::free(value->auxBuffer);
        value->auxBuffer = nullptr;
    }
    return stayed && buffer == set.room.start + set.used;
}

} // namespace

bool hold_terminator(const BufferSizes& sizes)
{
    return sizes.least >= 2 && sizes.greatest >= 2;
}

std::size_t buffer_size(const BufferSizes& sizes, std::size_t units)
{
    const auto least = static_cast<std::size_t>(sizes.least);
    const auto greatest = static_cast<std::size_t>(sizes.greatest);
    const std::size_t wanted = 2 * units + 2 > least ? 2 * units + 2 : least;
    return wanted < greatest ? wanted : greatest;
}

std::size_t room_for(const BufferSizes& sizes, std::size_t bytes)
{
    if (bytes > INT32_MAX / 2 - 1) return 0;
    // A text has at most as many units as bytes. It is converted in place before it is cut.
    const std::size_t size = buffer_size(sizes, bytes);
    return aligned(size > 2 * bytes + 2 ? size : 2 * bytes + 2);
}

bool open(RowSet& set, const BufferSizes* sizes, std::size_t columns, std::size_t rows)
{
    set.columns = columns;
    set.capacity = rows;
    const std::size_t bytes = rows_offset + rows * (sizeof(ROWD) + columns * sizeof(DATA));
    if (!resize(set.sizes, columns) || !reserve(set.records, bytes, 0) || !reserve(set.room, usual_room, 0)) {
        close(set);
        return false;
    }
    if (columns > 0) std::memcpy(set.sizes.memory.start, sizes, columns * sizeof *sizes);
    std::memset(set.records.start, 0, bytes);
    set_header(*head(set), "RWST");
    for (std::size_t row = 0; row < rows; ++row) link_row(set, row);
    clear(set);
    return true;
}

void close(RowSet& set)
{
    release(set.sizes);
    release(set.records);
    release(set.room);
    set = {};
}

void clear(RowSet& set)
{
    set.rows = 0;
    set.used = 0;
    // What one large row took is given back.
    if (set.room.capacity <= usual_room) return;
    release(set.room);
}

Fit fit_row(RowSet& set, std::size_t room)
{
    if (set.rows == set.capacity) return Fit::batch_is_full;
    if (room <= set.room.capacity - set.used && set.room.start != nullptr) return Fit::fits;
    if (set.rows > 0) return Fit::batch_is_full;
    return reserve(set.room, room > usual_room ? room : usual_room, 0) ? Fit::fits : Fit::out_of_memory;
}

void add_row(RowSet& set)
{
    ROWD& row = rows(set)[set.rows++];
    row.reserved16 = 0;
    row.hasError = 0;
}

void put_null(RowSet& set, std::size_t column)
{
    DATA& value = value_of_last_row(set, column);
    const std::size_t size = buffer_size(set.sizes[column], 0);
    value.isNull = 1;
    std::memset(take_buffer(set, value, size), 0, size);
}

void put_text(RowSet& set, std::size_t column, const char* text, std::size_t bytes)
{
    DATA& value = value_of_last_row(set, column);
    auto* target = reinterpret_cast<char16_t*>(set.room.start + set.used);
    std::size_t units = text::to_utf16(target, text, bytes).written;
    const std::size_t size = buffer_size(set.sizes[column], units);
    const std::size_t written = 2 * units;
    if (units > size / 2 - 1) units = size / 2 - 1;
    char* buffer = take_buffer(set, value, size);
    value.isNull = 0;
    // What was cut off lies behind the buffer, where later values come to stand or nobody looks: cleared as
    // well.
    const std::size_t end = written > size ? written : size;
    std::memset(buffer + 2 * units, 0, end - 2 * units);
}

std::int32_t mask(RowSet& set, std::int32_t provider, SVCA* service)
{
    if (set.rows == 0 || set.columns == 0) return 0;
    ROWD& last = rows(set)[set.rows - 1];
    ROWD* following = last.next;
    last.next = nullptr;
    head(set)->rowCount = static_cast<std::int32_t>(set.rows);
    head(set)->firstRow = rows(set);
    const std::int32_t status = Provider_Service(provider, provider_service_request, service, head(set));
    if (status != 0) wipe(set);
    last.next = following;
    const bool stayed = settle(set);
    if (status != 0 || stayed) return status;
    wipe(set);
    return code::buffer_moved;
}

const ROWD& row_at(const RowSet& set, std::size_t row)
{
    return rows(set)[row];
}

const DATA& value_at(const RowSet& set, std::size_t row, std::size_t column)
{
    return values(set)[row * set.columns + column];
}

std::size_t text_length(const DATA& value)
{
    return text::find_zero(static_cast<const char16_t*>(value.buffer),
                           static_cast<std::size_t>(value.bufferSize) / 2 - 1);
}

void wipe(RowSet& set)
{
    wipe(set.room.start, set.used);
}

} // namespace velk::bulk
