#pragma once

// A block of whole rows on its way through a lane: begin, then load, mask the lane and write until no rows
// come any more. What is kept comes out byte by byte as it stood; nothing is written of rows whose masking
// failed.

#include "csv_cells.h"
#include "lane.h"

namespace velk::bulk {

// Text that is written: it grows as it must.
struct Output {
    Memory memory{};
    std::size_t bytes = 0;
};

struct CsvBlock {
    CellReader reader{};
    List<Cell> cells{}; // of the rows at hand, as many to a row as the lane is wide
    List<CsvRow> rows{};
    List<Value> values{}; // of one row
    Memory scratch{};
    bool has_zero = false;
    LineEnd usual_end = LineEnd::lf; // for a row that cannot do without one
    std::int64_t row_count = 0;
    CsvProblem problem{};
    Output* output = nullptr;
    std::size_t written = 0; // of the block's text, or left out of it
    std::size_t row_end = 0; // of the row written last
};

void close(CsvBlock& block);

// Starts a block, and the lane's counts and errors. The text and the output outlive it. The usual end is that
// of the row before, LF where there is none. False: out of memory.
bool begin(CsvBlock& block, Lane& lane, const CsvFormat& format, const char* text, std::size_t bytes,
           LineEnd usual_end, Output& output);

// Writes the next row as it is, neither masked nor counted. 0 or the code of a failure; a row of another
// width or none is the block's problem.
std::int32_t copy_row(CsvBlock& block, Lane& lane);

// Takes rows into the lane. Their number, 0 at the end of the block or in front of its problem, or the code
// of a failure.
std::int32_t load(CsvBlock& block, Lane& lane);

// Writes the rows that the lane has masked. 0 or the code of a failure.
std::int32_t write(CsvBlock& block, Lane& lane);

} // namespace velk::bulk
