#pragma once

// A batch of values in Arrow's variable-size binary layout, in and out: per column a bitmap of the values
// that are not null (the lowest bit of a byte first, or none at all), offsets of 32 bits, one more than there
// are values, and the bytes of the values. Begin, then load, mask the lane and store until no rows come any
// more.

#include "lane.h"

namespace velk::bulk {

struct ColumnIn {
    const std::uint8_t* validity; // null: no value is null
    const std::int32_t* offsets;
    const char* bytes;
};

// The memory is the batch's own; results stand in it until the next batch begins.
struct ColumnOut {
    Memory validity;
    Memory offsets;
    Memory bytes;
};

struct Columns {
    List<ColumnIn> in{};
    List<ColumnOut> out{};
    List<Value> values{}; // of one row
    std::size_t rows = 0;
    std::size_t next = 0;   // row to be loaded
    std::size_t stored = 0; // rows
};

// Wipes and frees everything.
void close(Columns& columns);

// Starts a batch of the lane's width, and the lane's counts and errors. What the addresses lead to outlives
// the batch. 0 or the code of a failure: misplaced where offsets are negative or fall.
std::int32_t begin(Columns& columns, Lane& lane, const ColumnIn* in, std::size_t rows);

// Takes rows into the lane. Their number, 0 at the end of the batch, or the code of a failure.
std::int32_t load(Columns& columns, Lane& lane);

// Appends the rows that the lane has masked to the results. 0 or the code of a failure.
std::int32_t store(Columns& columns, Lane& lane);

// Wipes the results; for a batch whose masking failed.
void wipe(Columns& columns);

} // namespace velk::bulk
