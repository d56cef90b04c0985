#include "csv_cells.h"

#include "blocks.h"
#include "text.h"

#include <bit>
#include <cstring>

namespace velk::bulk {

namespace {

enum class End { delimiter, line, text, fault };

// One row as it is being read.
struct Reading {
    CellReader& reader;
    CsvRow& row;
    CsvProblem& problem;
    std::size_t bytes = 0; // of the values so far
};

void mark_window(CellReader& reader)
{
    const std::size_t left = reader.bytes - reader.marks.window;
    const char* start = reader.text + reader.marks.window;
    const blocks::FourBytes wanted{{reader.format.delimiter, reader.format.quote, '\n', '\r'}};
    reader.marks.left = left >= 64 ? blocks::mark(start, wanted) : blocks::mark(start, left, wanted);
}

// The place of the next marked byte, which is passed; the end of the text where there is none.
std::size_t next_mark(CellReader& reader)
{
    Marks& marks = reader.marks;
    while (marks.left == 0) {
        if (reader.bytes - marks.window <= 64) return reader.bytes;
        marks.window += 64;
        mark_window(reader);
    }
    const auto bit = static_cast<std::size_t>(std::countr_zero(marks.left));
    marks.left &= marks.left - 1;
    return marks.window + bit;
}

End fail(Reading& reading, CsvFault fault, std::size_t byte, std::int64_t line)
{
    const CellReader& reader = reading.reader;
    reading.problem = {fault,
                       static_cast<std::int64_t>(byte),
                       line,
                       reading.row.line,
                       reader.last_row_line,
                       static_cast<std::int64_t>(reading.row.cells)};
    return End::fault;
}

End fail_ill_formed(Reading& reading)
{
    return fail(reading, CsvFault::ill_formed, reading.reader.bytes, reading.reader.lines + 1);
}

// Units of a cell in UTF-16.
std::size_t units_of(const CellReader& reader, std::size_t start, std::size_t bytes, bool escaped)
{
    std::size_t units = text::utf16_length(reader.text + start, bytes);
    if (!escaped) return units;
    std::size_t quotes = 0;
    for (std::size_t i = start; i < start + bytes; ++i) quotes += reader.text[i] == reader.format.quote;
    return units - quotes / 2;
}

bool is_too_long(const CellReader& reader, const Cell& cell)
{
    return cell.bytes > longest_value &&
           units_of(reader, cell.start, cell.bytes, (cell.flags & cell_escaped) != 0) > longest_value;
}

End end_line(Reading& reading, std::size_t i)
{
    CellReader& reader = reading.reader;
    const bool is_cr = reader.text[i] == '\r';
    const bool is_pair = is_cr && i + 1 < reader.bytes && reader.text[i + 1] == '\n';
    if (is_pair) next_mark(reader);
    ++reader.lines;
    reader.position = i + (is_pair ? 2 : 1);
    reading.row.line_end = is_pair ? LineEnd::crlf : is_cr ? LineEnd::cr : LineEnd::lf;
    return End::line;
}

// Behind a cell, whose end is marked or the text's.
End end_cell(Reading& reading, std::size_t i)
{
    CellReader& reader = reading.reader;
    if (i == reader.bytes) {
        reader.position = i;
        return reader.ill_formed ? fail_ill_formed(reading) : End::text;
    }
    if (reader.text[i] != reader.format.delimiter) return end_line(reading, i);
    reader.position = i + 1;
    return End::delimiter;
}

End unclosed(Reading& reading, const Cell& cell, std::int64_t line)
{
    if (is_too_long(reading.reader, cell)) return fail(reading, CsvFault::value_too_long, cell.start, line);
    if (reading.reader.ill_formed) return fail_ill_formed(reading);
    return fail(reading, CsvFault::unclosed_quote, cell.start - 1, line);
}

void count_line(CellReader& reader, const Cell& cell, std::size_t i)
{
    const bool second_half = reader.text[i] == '\n' && i > cell.start && reader.text[i - 1] == '\r';
    reader.lines += second_half ? 0 : 1;
}

// Passes what stands in quotes. The place of the closing quote, or the end of the text.
std::size_t pass_quoted(CellReader& reader, Cell& cell)
{
    for (;;) {
        const std::size_t i = next_mark(reader);
        if (i == reader.bytes) return i;
        const char byte = reader.text[i];
        if (byte == reader.format.quote) {
            if (i + 1 == reader.bytes || reader.text[i + 1] != byte) return i;
            next_mark(reader);
            cell.flags |= cell_escaped;
        } else if (byte != reader.format.delimiter) {
            count_line(reader, cell, i);
        }
    }
}

End read_quoted(Reading& reading, Cell& cell)
{
    CellReader& reader = reading.reader;
    const std::int64_t line = reader.lines + 1;
    cell = {cell.start + 1, 0, cell_quoted};
    const std::size_t i = pass_quoted(reader, cell);
    cell.bytes = static_cast<std::uint32_t>(i) - cell.start;
    if (i == reader.bytes) return unclosed(reading, cell, line);
    if (is_too_long(reader, cell)) return fail(reading, CsvFault::value_too_long, cell.start, line);
    if (i + 1 == reader.bytes) return end_cell(reading, i + 1);
    const char byte = reader.text[i + 1];
    if (byte != reader.format.delimiter && byte != '\n' && byte != '\r')
        return fail(reading, CsvFault::behind_quote, i + 1, reader.lines + 1);
    return end_cell(reading, next_mark(reader));
}

End read_cell(Reading& reading, Cell& cell)
{
    CellReader& reader = reading.reader;
    std::size_t i = next_mark(reader);
    cell = {static_cast<std::uint32_t>(reader.position), 0, 0};
    const auto is_quote = [&] { return i < reader.bytes && reader.text[i] == reader.format.quote; };
    if (i == reader.position && is_quote()) return read_quoted(reading, cell);
    for (; is_quote(); i = next_mark(reader)) cell.flags = cell_bare_quote;
    cell.bytes = static_cast<std::uint32_t>(i) - cell.start;
    if (is_too_long(reader, cell))
        return fail(reading, CsvFault::value_too_long, cell.start, reader.lines + 1);
    return end_cell(reading, i);
}

// Counted exactly only in a row that might be too long: of each value by its own bytes.
std::size_t units_of_row(CellReader reader, CsvRow row)
{
    reader.position = row.start;
    reader.marks.window = row.start;
    mark_window(reader);
    CsvProblem problem;
    Reading reading{reader, row, problem};
    std::size_t units = 0;
    for (End end = End::delimiter; end == End::delimiter;) {
        Cell cell;
        end = read_cell(reading, cell);
        if (end == End::fault) break;
        units += units_of(reader, cell.start, cell.bytes, (cell.flags & cell_escaped) != 0);
    }
    return units;
}

bool is_blank(const CellReader& reader)
{
    const char byte = reader.text[reader.position];
    return byte == '\n' || byte == '\r';
}

void skip_blank_lines(Reading& reading)
{
    CellReader& reader = reading.reader;
    while (reader.position < reader.bytes && is_blank(reader)) end_line(reading, next_mark(reader));
}

ReadRow begin_row(Reading& reading)
{
    CellReader& reader = reading.reader;
    if (reader.format.skip_blank_lines) skip_blank_lines(reading);
    reading.row = {reader.position, 0, reader.lines + 1, 0, LineEnd::none};
    if (reader.position < reader.bytes) return ReadRow::row;
    if (!reader.ill_formed) return ReadRow::end;
    fail_ill_formed(reading);
    return ReadRow::problem;
}

End read_cells(Reading& reading, Cell* cells, std::size_t width)
{
    for (;;) {
        Cell other;
        Cell& cell = reading.row.cells < width ? cells[reading.row.cells] : other;
        const End end = read_cell(reading, cell);
        reading.bytes += cell.bytes;
        if (end != End::fault) ++reading.row.cells;
        if (end != End::delimiter) return end;
    }
}

} // namespace

void open(CellReader& reader, const CsvFormat& format, const char* text, std::size_t bytes)
{
    reader = {};
    reader.format = format;
    reader.text = text;
    reader.bytes = text::well_formed(text, bytes);
    reader.ill_formed = reader.bytes < bytes;
    mark_window(reader);
}

ReadRow read_row(CellReader& reader, Cell* cells, std::size_t width, CsvRow& row, CsvProblem& problem)
{
    Reading reading{reader, row, problem};
    if (const ReadRow begun = begin_row(reading); begun != ReadRow::row) return begun;
    const End end = read_cells(reading, cells, width);
    if (reading.bytes > longest_row && units_of_row(reader, row) > longest_row) {
        fail(reading, CsvFault::row_too_long, row.start, row.line);
        return ReadRow::problem;
    }
    if (end == End::fault) return ReadRow::problem;
    row.end = reader.position;
    reader.last_row_line = row.line;
    return ReadRow::row;
}

CellText text_of(const CellReader& reader, const Cell& cell, char* target)
{
    const char* source = reader.text + cell.start;
    if ((cell.flags & cell_escaped) == 0) return {source, cell.bytes};
    std::size_t written = 0;
    for (std::size_t i = 0; i < cell.bytes;) {
        // Up to a quote and with it, then the other one is left out.
        const std::size_t run = text::find(source + i, cell.bytes - i, reader.format.quote);
        const std::size_t copied = i + run < cell.bytes ? run + 1 : run;
        std::memcpy(target + written, source + i, copied);
        written += copied;
        i += run + 2;
    }
    return {target, written};
}

} // namespace velk::bulk
