#pragma once

// A lane: a running provider, its service, and the memory in which rows of a table are masked. It belongs to
// one thread at a time. Rows and columns are counted from 0.

#include "row_set.h"

namespace velk::bulk {

// A value of the table on its way in: UTF-8, well-formed unless it has a flaw.
struct Value {
    const char* text;
    std::size_t bytes;
    bool is_null;
    std::int32_t flaw; // the code of what makes it unfit to be sent, 0 where nothing does
};

struct Error {
    std::int32_t row; // of the block or batch
    std::int32_t column;
    std::int32_t code; // the engine's, or one of this lane's

    bool operator==(const Error&) const = default;
};

// What became of a column's values; those with an error are counted nowhere here.
struct Counts {
    std::int64_t masked;
    std::int64_t nulls_kept;
    std::int64_t left_equal; // texts that came out as they were
    std::int64_t empty_kept; // empty values that stay empty, in which there is nothing to mask

    bool operator==(const Counts&) const = default;
};

inline void count_equal(Counts& counts, std::size_t bytes)
{
    ++(bytes == 0 ? counts.empty_kept : counts.left_equal);
}

struct Lane {
    std::int32_t provider = 0;
    SVCA* service = nullptr;
    std::size_t width = 0;               // columns of the table
    List<std::int32_t> service_column{}; // of each of them; -1: it goes round the engine
    List<std::int32_t> column_of{};      // of each column of the service
    RowSet rows{};
    bool replaced = false; // whether a value with an error becomes a text, not null
    List<char> replacement{};
    List<Error> errors{}; // of the block or batch, row by row
    List<Counts> counts{};
    std::size_t first_row = 0; // of the rows at hand, in the block or batch
    std::size_t row_count = 0; // of the rows at hand
    List<Error> refused{};     // what was not sent, in the order in which results are read
    std::size_t next_refused = 0;
    std::int32_t row_error = 0; // of the row whose results are being read
};

struct LaneDefinition {
    std::int32_t provider;
    SVCA* service;                      // the caller's: it outlives the lane
    const std::int32_t* service_column; // width of them: each column of the service once, the others -1
    std::size_t width;
    const BufferSizes* sizes; // of the service's columns
    std::size_t columns;
    const char* replacement; // UTF-8; null: errors become null
    std::size_t replacement_bytes;
};

// Rows of a batch: enough values to make a call count little, few enough to stay near the processor.
std::size_t batch_rows(std::size_t width);

// False: out of memory, or the columns contradict each other; nothing is held then.
bool open(Lane& lane, const LaneDefinition& definition);

// Wipes and frees everything.
void close(Lane& lane);

// Starts a block or batch: its errors and counts are empty.
void begin(Lane& lane);

// Leaves the rows at hand behind and starts the next ones.
void next_rows(Lane& lane);

// Adds a row of the table's width, or says why not. Without a flaw in it only the values that are sent are
// looked at. Nothing here holds on to the values.
Fit add_row(Lane& lane, const Value* values, bool any_flaw);

// The code of a row that was not added although there was room.
std::int32_t failure(Fit fit);

// Masks the rows at hand. 0, or the code of the failure: then no value is left in them.
std::int32_t mask(Lane& lane);

enum class ResultKind {
    kept, // it went round the engine
    null,
    text,
    error,
};

struct Result {
    ResultKind kind;
    const char16_t* text;
    std::size_t units;
    std::int32_t code;
};

// The results of the rows at hand are read once and in order: begin_results, then row by row, column by
// column.
void begin_results(Lane& lane);
void begin_row(Lane& lane, std::size_t row);
Result result(Lane& lane, std::size_t row, std::size_t column);

// The same for most values of a column that goes round the engine, without a call: it is kept, and nothing
// else.
inline bool is_kept(const Lane& lane, std::size_t column)
{
    return lane.service_column[column] < 0 && lane.row_error == 0 && lane.next_refused == lane.refused.size;
}

// False: out of memory.
bool note_error(Lane& lane, std::size_t row, std::size_t column, std::int32_t code);

} // namespace velk::bulk
