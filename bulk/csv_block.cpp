#include "csv_block.h"

#include "blocks.h"
#include "text.h"

#include <cstring>

namespace velk::bulk {

namespace {

// One cell as it is being written.
struct Place {
    CsvBlock& block;
    const Cell& cell;

    std::size_t start() const { return cell.start - ((cell.flags & cell_quoted) != 0 ? 1 : 0); }
    std::size_t end() const { return cell.start + cell.bytes + ((cell.flags & cell_quoted) != 0 ? 1 : 0); }
};

// Bytes that a value may not hold unless it is quoted.
blocks::FourBytes marked_bytes(const CsvFormat& format)
{
    return {{format.delimiter, format.quote, '\n', '\r'}};
}

bool ensure(Output& output, std::size_t bytes)
{
    return grow(output.memory, output.bytes + bytes, output.bytes);
}

char* end_of(const Output& output)
{
    return output.memory.start + output.bytes;
}

// Writes the text as it stands, from where it was left up to a place.
bool write_through(CsvBlock& block, std::size_t to)
{
    const std::size_t bytes = to - block.written;
    if (bytes == 0) return true;
    if (!ensure(*block.output, bytes)) return false;
    std::memcpy(end_of(*block.output), block.reader.text + block.written, bytes);
    block.output->bytes += bytes;
    block.written = to;
    return true;
}

// Doubles the quotes of a text in place. Its new length; there is room for twice the bytes.
std::size_t escape(char* text, std::size_t bytes, char quote)
{
    std::size_t quotes = 0;
    for (std::size_t i = 0; i < bytes; ++i) quotes += text[i] == quote;
    char* target = text + bytes + quotes;
    for (std::size_t i = bytes; target != text + i;) {
        *--target = text[--i];
        if (text[i] == quote) *--target = quote;
    }
    return bytes + quotes;
}

// Makes a value of the text that stands behind the output's end and one byte more, as the cell was or as it
// must be. There is room for twice the text and two bytes.
void finish_value(const Place& place, std::size_t bytes)
{
    const CsvFormat& format = place.block.reader.format;
    Output& output = *place.block.output;
    char* target = end_of(output);
    const bool quoted = (place.cell.flags & cell_quoted) != 0 || bytes == 0 ||
                        blocks::has_any(target + 1, bytes, marked_bytes(format));
    if (!quoted) {
        std::memmove(target, target + 1, bytes);
        output.bytes += bytes;
        return;
    }
    const std::size_t escaped = escape(target + 1, bytes, format.quote);
    target[0] = format.quote;
    target[1 + escaped] = format.quote;
    output.bytes += escaped + 2;
}

// Writes everything in front of the cell and leaves the cell out.
bool write_around(const Place& place)
{
    if (!write_through(place.block, place.start())) return false;
    place.block.written = place.end();
    return true;
}

bool write_utf8(const Place& place, const char* text, std::size_t bytes)
{
    if (!write_around(place) || !ensure(*place.block.output, 2 * bytes + 2)) return false;
    if (bytes > 0) std::memcpy(end_of(*place.block.output) + 1, text, bytes);
    finish_value(place, bytes);
    return true;
}

bool write_kept(const Place& place)
{
    // Readers differ over a bare quote: it is written so that every one knows it.
    if ((place.cell.flags & cell_bare_quote) == 0) return true;
    return write_utf8(place, place.block.reader.text + place.cell.start, place.cell.bytes);
}

bool write_error(const Place& place, Lane& lane, std::size_t row, std::size_t column, std::int32_t code)
{
    if (!note_error(lane, row, column, code)) return false;
    if (!lane.replaced) return write_around(place);
    return write_utf8(place, lane.replacement.memory.start, lane.replacement.size);
}

CellText original(CsvBlock& block, const Cell& cell)
{
    if ((cell.flags & cell_escaped) != 0 && !grow(block.scratch, cell.bytes, 0)) return {nullptr, 0};
    return text_of(block.reader, cell, block.scratch.start);
}

enum class Masked { changed, equal, no_text, out_of_memory };

// Writes a text of the engine's; of one that is no UTF-16 nothing.
Masked write_text(const Place& place, const Result& result)
{
    const CellText before = original(place.block, place.cell);
    // Three bytes a unit, and as many again where they are quotes.
    if (before.start == nullptr || !write_through(place.block, place.start()) ||
        !ensure(*place.block.output, 6 * result.units + 2))
        return Masked::out_of_memory;
    char* target = end_of(*place.block.output) + 1;
    const text::Progress done = text::to_utf8(target, result.text, result.units);
    if (done.read < result.units) return Masked::no_text;
    place.block.written = place.end();
    const bool equal = !place.cell.is_null() && done.written == before.bytes &&
                       std::memcmp(target, before.start, done.written) == 0;
    finish_value(place, done.written);
    return equal ? Masked::equal : Masked::changed;
}

bool write_masked(const Place& place, Lane& lane, std::size_t row, std::size_t column, const Result& result)
{
    Counts& counts = lane.counts[column];
    switch (write_text(place, result)) {
    case Masked::changed:
        ++counts.masked;
        return true;
    case Masked::equal:
        count_equal(counts, place.cell.bytes);
        return true;
    case Masked::no_text:
        return write_error(place, lane, row, column, code::lone_surrogate);
    default:
        return false;
    }
}

bool write_cell(const Place& place, Lane& lane, std::size_t row, std::size_t column)
{
    Counts& counts = lane.counts[column];
    const Result result =
        is_kept(lane, column) ? Result{ResultKind::kept, nullptr, 0, 0} : bulk::result(lane, row, column);
    switch (result.kind) {
    case ResultKind::kept:
        if (place.cell.is_null())
            ++counts.nulls_kept;
        else
            count_equal(counts, place.cell.bytes);
        return write_kept(place);
    case ResultKind::null:
        ++(place.cell.is_null() ? counts.nulls_kept : counts.masked);
        return write_around(place);
    case ResultKind::text:
        return write_masked(place, lane, row, column, result);
    default:
        return write_error(place, lane, row, column, result.code);
    }
}

bool write_line_end(Output& output, LineEnd end)
{
    if (!ensure(output, 2)) return false;
    if (end != LineEnd::lf) output.memory.start[output.bytes++] = '\r';
    if (end != LineEnd::cr) output.memory.start[output.bytes++] = '\n';
    return true;
}

// Goes to the start of a row, past lines that are no rows.
bool start_row(CsvBlock& block, const CsvRow& row)
{
    if (row.start == block.row_end) return true;
    if (!write_through(block, block.row_end)) return false;
    block.written = row.start;
    return true;
}

template <typename WriteCell>
bool write_row(CsvBlock& block, const CsvRow& row, const Cell* cells, WriteCell write)
{
    const bool is_last = row.line_end == LineEnd::none;
    if (!start_row(block, row) || (is_last && !write_through(block, row.start))) return false;
    const std::size_t start = block.output->bytes;
    for (std::size_t column = 0; column < row.cells; ++column)
        if (!write(Place{block, cells[column]}, column)) return false;
    block.row_end = row.end;
    if (!is_last) {
        block.usual_end = row.line_end;
        return true;
    }
    if (!write_through(block, row.end)) return false;
    // Without a line end a last row of one null would be no row.
    return block.output->bytes > start || write_line_end(*block.output, block.usual_end);
}

CsvProblem width_problem(const CsvRow& row, const Cell* cells, std::int64_t last_row_line)
{
    const bool is_blank = row.cells == 1 && cells[0].is_null();
    return {is_blank ? CsvFault::blank_line : CsvFault::width,
            static_cast<std::int64_t>(row.start),
            row.line,
            row.line,
            last_row_line,
            static_cast<std::int64_t>(row.cells)};
}

// Reads the next row and stores its cells, or tells the block's problem.
ReadRow read(CsvBlock& block, std::size_t width, Cell* cells, CsvRow& row)
{
    const std::int64_t last_row_line = block.reader.last_row_line;
    const ReadRow read = read_row(block.reader, cells, width, row, block.problem);
    if (read != ReadRow::row || row.cells == width) return read;
    block.problem = width_problem(row, cells, last_row_line);
    return ReadRow::problem;
}

// One value of a row. Those with quotes inside stand in the scratch memory one behind the other.
void make_value(CsvBlock& block, const Cell& cell, std::size_t column, std::size_t& used)
{
    CellText text{block.reader.text + cell.start, cell.bytes};
    if ((cell.flags & cell_escaped) != 0) {
        text = text_of(block.reader, cell, block.scratch.start + used);
        used += text.bytes;
    }
    const bool zero = block.has_zero && text::find(text.start, text.bytes, 0) < text.bytes;
    block.values[column] = {text.start, text.bytes, cell.is_null(), zero ? code::zero_character : 0};
}

// The values of a row that are sent; where a zero character might be among them, all.
bool make_values(CsvBlock& block, const Lane& lane, const CsvRow& row, const Cell* cells)
{
    if (!grow(block.scratch, row.end - row.start, 0)) return false;
    std::size_t used = 0;
    if (block.has_zero) {
        for (std::size_t column = 0; column < lane.width; ++column)
            make_value(block, cells[column], column, used);
        return true;
    }
    for (std::size_t i = 0; i < lane.column_of.size; ++i) {
        const auto column = static_cast<std::size_t>(lane.column_of[i]);
        make_value(block, cells[column], column, used);
    }
    return true;
}

} // namespace

void close(CsvBlock& block)
{
    release(block.cells);
    release(block.rows);
    release(block.values);
    release(block.scratch);
    block = {};
}

bool begin(CsvBlock& block, Lane& lane, const CsvFormat& format, const char* text, std::size_t bytes,
           LineEnd usual_end, Output& output)
{
    bulk::begin(lane);
    const std::size_t rows = batch_rows(lane.width);
    open(block.reader, format, text, bytes);
    block.has_zero = text::find(text, bytes, 0) < bytes;
    block.usual_end = usual_end;
    block.row_count = 0;
    block.problem = {};
    block.output = &output;
    block.written = 0;
    block.row_end = 0;
    return resize(block.cells, rows * lane.width) && resize(block.rows, rows) &&
           resize(block.values, lane.width);
}

std::int32_t copy_row(CsvBlock& block, Lane& lane)
{
    CsvRow row;
    Cell* cells = block.cells.data();
    if (read(block, lane.width, cells, row) != ReadRow::row) return 0;
    const auto keep = [](const Place& place, std::size_t) { return write_kept(place); };
    return write_row(block, row, cells, keep) && write_through(block, row.end) ? 0 : code::out_of_memory;
}

std::int32_t load(CsvBlock& block, Lane& lane)
{
    next_rows(lane);
    while (block.problem.fault == CsvFault::none && lane.row_count < batch_rows(lane.width)) {
        const CellReader before = block.reader;
        CsvRow& row = block.rows[lane.row_count];
        const Cell* cells = &block.cells[lane.row_count * lane.width];
        if (read(block, lane.width, &block.cells[lane.row_count * lane.width], row) != ReadRow::row) break;
        if (!make_values(block, lane, row, cells)) return code::out_of_memory;
        const Fit fit = add_row(lane, block.values.data(), block.has_zero);
        if (fit == Fit::batch_is_full) block.reader = before;
        if (fit == Fit::batch_is_full) break;
        if (fit != Fit::fits) return failure(fit);
    }
    block.row_count += static_cast<std::int64_t>(lane.row_count);
    return static_cast<std::int32_t>(lane.row_count);
}

std::int32_t write(CsvBlock& block, Lane& lane)
{
    begin_results(lane);
    for (std::size_t row = 0; row < lane.row_count; ++row) {
        begin_row(lane, row);
        const auto write = [&](const Place& place, std::size_t column) {
            return write_cell(place, lane, row, column);
        };
        if (!write_row(block, block.rows[row], &block.cells[row * lane.width], write))
            return code::out_of_memory;
    }
    return write_through(block, block.row_end) ? 0 : code::out_of_memory;
}

} // namespace velk::bulk
