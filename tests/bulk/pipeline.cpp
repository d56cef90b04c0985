#include "bulk/pipeline.h"

#include "bulk/columns.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace velk::bulk::test {

std::vector<std::string> cut(const std::string& text, std::size_t block, const CsvFormat& format)
{
    std::vector<std::string> blocks;
    for (std::size_t start = 0; start < text.size();) {
        CsvSplit found;
        // Each piece is a copy of its own size, so that reading on is noticed.
        for (std::size_t bytes = block; found.whole == 0; bytes *= 2) {
            const std::size_t end = std::min(text.size(), start + bytes);
            const std::vector<char> piece(text.begin() + static_cast<std::ptrdiff_t>(start),
                                          text.begin() + static_cast<std::ptrdiff_t>(end));
            split(found, format, piece.data(), piece.size(), end == text.size());
        }
        blocks.push_back(text.substr(start, found.whole));
        start += found.whole;
    }
    return blocks;
}

namespace {

LineEnd end_of(const std::string& text, LineEnd before)
{
    if (text.ends_with("\r\n")) return LineEnd::crlf;
    return text.ends_with("\n") ? LineEnd::lf : text.ends_with("\r") ? LineEnd::cr : before;
}

void add_up(CsvResult& result, const CsvBlock& block, const Lane& lane)
{
    for (std::size_t i = 0; i < lane.errors.size; ++i) {
        Error error = lane.errors[i];
        error.row += static_cast<std::int32_t>(result.rows);
        result.errors.push_back(error);
    }
    for (std::size_t i = 0; i < lane.width; ++i) {
        result.counts[i].masked += lane.counts[i].masked;
        result.counts[i].nulls_kept += lane.counts[i].nulls_kept;
        result.counts[i].left_equal += lane.counts[i].left_equal;
        result.counts[i].empty_kept += lane.counts[i].empty_kept;
    }
    result.rows += block.row_count;
}

void place_problem(CsvResult& result, CsvProblem problem, std::size_t bytes, std::int64_t lines)
{
    problem.byte += static_cast<std::int64_t>(bytes);
    problem.line += lines;
    problem.row_line += lines;
    problem.last_row_line += problem.last_row_line == 0 ? 0 : lines;
    result.problem = problem;
}

std::int32_t run_block(CsvBlock& block, Lane& lane)
{
    std::int32_t count = 0;
    while ((count = load(block, lane)) > 0) {
        if (const std::int32_t status = mask(lane)) return status;
        if (const std::int32_t status = write(block, lane)) return status;
    }
    return count;
}

} // namespace

CsvResult run_csv(Lane& lane, const std::string& text, std::size_t block_bytes, const CsvFormat& format,
                  bool header)
{
    CsvResult result;
    result.counts.resize(lane.width);
    CsvBlock block;
    Output output;
    LineEnd usual_end = LineEnd::lf;
    std::size_t bytes = 0;
    std::int64_t lines = 0;
    for (const std::string& piece : cut(text, block_bytes, format)) {
        const std::vector<char> copy(piece.begin(), piece.end());
        if (!begin(block, lane, format, copy.data(), copy.size(), usual_end, output)) throw std::bad_alloc();
        if (header && result.blocks == 0) result.status = copy_row(block, lane);
        if (result.status == 0) result.status = run_block(block, lane);
        add_up(result, block, lane);
        ++result.blocks;
        if (result.status != 0) break;
        if (block.problem.fault != CsvFault::none) {
            place_problem(result, block.problem, bytes, lines);
            break;
        }
        usual_end = end_of(piece, usual_end);
        bytes += piece.size();
        lines += block.reader.lines;
    }
    result.output.assign(output.memory.start, output.bytes);
    release(output.memory);
    close(block);
    return result;
}

namespace {

// One column as Arrow has it.
struct ArrowColumn {
    std::vector<std::uint8_t> validity;
    std::vector<std::int32_t> offsets{0};
    std::vector<char> bytes;

    void add(const Text& value)
    {
        const std::size_t row = offsets.size() - 1;
        if (row % 8 == 0) validity.push_back(0);
        if (value) validity.back() |= static_cast<std::uint8_t>(1 << row % 8);
        if (value) bytes.insert(bytes.end(), value->begin(), value->end());
        offsets.push_back(static_cast<std::int32_t>(bytes.size()));
    }
};

Outcome read(const ColumnOut& column, std::size_t row)
{
    if ((column.validity.start[row / 8] >> row % 8 & 1) == 0) return {};
    std::int32_t ends[2];
    std::memcpy(ends, column.offsets.start + row * sizeof(std::int32_t), sizeof ends);
    return {std::string(column.bytes.start + ends[0], column.bytes.start + ends[1]), 0};
}

} // namespace

std::vector<std::vector<Outcome>> run_columns(Lane& lane, const std::vector<std::vector<Text>>& rows)
{
    std::vector<ArrowColumn> arrow(lane.width);
    for (const std::vector<Text>& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i) arrow[i].add(row[i]);
    std::vector<ColumnIn> in;
    for (const ArrowColumn& column : arrow)
        in.push_back({column.validity.data(), column.offsets.data(), column.bytes.data()});
    Columns columns;
    EXPECT_EQ(begin(columns, lane, in.data(), rows.size()), 0);
    std::int32_t count = 0;
    while ((count = load(columns, lane)) > 0) {
        EXPECT_EQ(mask(lane), 0);
        EXPECT_EQ(store(columns, lane), 0);
    }
    EXPECT_EQ(count, 0);
    std::vector<std::vector<Outcome>> outcomes(rows.size());
    for (std::size_t row = 0; row < rows.size(); ++row)
        for (std::size_t i = 0; i < lane.width; ++i) outcomes[row].push_back(read(columns.out[i], row));
    for (std::size_t i = 0; i < lane.errors.size; ++i) {
        const Error& error = lane.errors[i];
        outcomes[static_cast<std::size_t>(error.row)][static_cast<std::size_t>(error.column)].error =
            error.code;
    }
    close(columns);
    return outcomes;
}

} // namespace velk::bulk::test
