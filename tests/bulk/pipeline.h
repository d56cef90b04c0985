#pragma once

// Drives a lane over a whole text as whoever owns the threads and streams does: cuts it into blocks of whole
// rows, masks block by block, adds the blocks' places up.

#include "bulk/csv_block.h"
#include "bulk/engine.h"

namespace velk::bulk::test {

struct CsvResult {
    std::string output;
    CsvProblem problem{}; // its places counted from the start of the text
    std::vector<Error> errors{};
    std::vector<Counts> counts{};
    std::int64_t rows = 0;
    std::size_t blocks = 0;
    std::int32_t status = 0;
};

// block: bytes read at a time; a row that does not fit makes it grow.
CsvResult run_csv(Lane& lane, const std::string& text, std::size_t block = std::size_t{1} << 18,
                  const CsvFormat& format = {}, bool header = false);

// The texts that the blocks are cut into.
std::vector<std::string> cut(const std::string& text, std::size_t block, const CsvFormat& format = {});

// A batch by columns of rows of texts; what comes out of it, as texts again with the errors beside them.
std::vector<std::vector<Outcome>> run_columns(Lane& lane, const std::vector<std::vector<Text>>& rows);

} // namespace velk::bulk::test
