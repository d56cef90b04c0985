#pragma once

// The cells of a block of whole rows. Places are in bytes from the block's start, lines are counted from 1
// there.

#include "csv_split.h"

#include <cstddef>
#include <cstdint>

namespace velk::bulk {

// In UTF-16 units, as the messages tell them.
inline constexpr std::size_t longest_value = std::size_t{1} << 22;
inline constexpr std::size_t longest_row = 2 * longest_value; // all values of a row together

enum CellFlag : std::uint32_t {
    cell_quoted = 1,
    cell_escaped = 2,    // there are two quotes for one inside of it
    cell_bare_quote = 4, // it holds a quote, and is not quoted itself
};

struct Cell {
    std::uint32_t start; // behind the quote that opens it
    std::uint32_t bytes; // up to the quote that closes it
    std::uint32_t flags;

    bool is_null() const { return bytes == 0 && (flags & cell_quoted) == 0; }
};

enum class LineEnd : std::int32_t { none, lf, cr, crlf };

struct CsvRow {
    std::size_t start;
    std::size_t end; // behind the line end
    std::int64_t line;
    std::size_t cells;
    LineEnd line_end;
};

// What ends the reading of a block before its end. Java knows these numbers.
enum class CsvFault : std::int32_t {
    none = 0,
    ill_formed = 1,     // at byte: the text is not UTF-8
    width = 2,          // the row that starts at byte has so many values
    blank_line = 3,     // the row that starts at byte has no character
    unclosed_quote = 4, // the quote at byte is never closed
    behind_quote = 5,   // the character at byte stands behind a closing quote
    value_too_long = 6, // the value at byte
    row_too_long = 7,   // the row that starts at byte
};

struct CsvProblem {
    CsvFault fault = CsvFault::none;
    std::int64_t byte = 0;
    std::int64_t line = 0;          // of that byte
    std::int64_t row_line = 0;      // where its row starts
    std::int64_t last_row_line = 0; // where the row before that starts; 0: it is not in this block
    std::int64_t values = 0;        // of a row of another width
};

// The marked bytes of a text, 64 bytes at a time: delimiters, quotes and line ends.
struct Marks {
    std::size_t window = 0; // where the 64 bytes start
    std::uint64_t left = 0; // those not passed yet
};

struct CellReader {
    CsvFormat format{};
    const char* text = nullptr;
    std::size_t bytes = 0;   // up to the first ill-formed sequence, if there is one
    bool ill_formed = false; // there is, behind those bytes
    std::size_t position = 0;
    std::int64_t lines = 0; // line ends passed
    std::int64_t last_row_line = 0;
    Marks marks{};
};

// Starts at the start of a row. The text outlives the reader.
void open(CellReader& reader, const CsvFormat& format, const char* text, std::size_t bytes);

enum class ReadRow { row, end, problem };

// Reads the next row and stores its first cells, up to so many; it counts the others.
ReadRow read_row(CellReader& reader, Cell* cells, std::size_t width, CsvRow& row, CsvProblem& problem);

// What a cell stands for, in UTF-8; an escaped one's quotes halved into the target, which has room for its
// bytes.
struct CellText {
    const char* start;
    std::size_t bytes;
};
CellText text_of(const CellReader& reader, const Cell& cell, char* target);

} // namespace velk::bulk
