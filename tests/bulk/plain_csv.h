#pragma once

// What a CSV file is, once more and byte by byte, to compare with.

#include "bulk/pipeline.h"

namespace velk::bulk::test {

struct PlainCell {
    std::string text;
    bool quoted;
};

struct PlainRow {
    std::vector<PlainCell> cells;
    std::string end;
    std::int64_t line;
    std::size_t start;
};

struct PlainCsv {
    std::vector<PlainRow> rows; // up to the fault
    CsvFault fault = CsvFault::none;
    std::int64_t line = 0; // of the faulty row, of an ill-formed byte
    std::size_t byte = 0;  // of the fault
};

// Bytes in front of the first ill-formed sequence.
std::size_t plain_well_formed(const std::string& text);

// Width 0: rows of any width.
PlainCsv read_plain(const std::string& text, std::size_t width, const CsvFormat& format = {});

// What a lane has to write: the values of each row in the place of its cells. A value with an error becomes
// the replacement.
std::string write_plain(const PlainCsv& csv, const std::vector<std::vector<Outcome>>& values,
                        const Text& replacement, const CsvFormat& format = {});

} // namespace velk::bulk::test
