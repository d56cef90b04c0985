#pragma once

// Where the rows of a CSV file end, so that it can be cut into blocks of whole rows. A value is quoted where
// a quote is its first character; inside of quotes two quotes are one. A line ends with LF, CRLF or CR.
// Lengths are in bytes.

#include <cstddef>
#include <cstdint>

namespace velk::bulk {

struct CsvFormat {
    char delimiter = ',';
    char quote = '"';
    bool skip_blank_lines = false; // a line without a character is then no row, and is not written
};

// A delimiter and a quote that can be told apart from each other and from line ends, both of ASCII.
bool is_sound(const CsvFormat& format);

// Bytes of a row that is longer than any that the limits of its values allow, whatever it holds.
inline constexpr std::size_t longest_raw_row = std::size_t{32} << 20;

// How far a text that starts with a row has been looked through. It is kept while the text grows.
struct CsvSplit {
    enum State : std::int32_t {
        outside,
        quoted,
        closing, // behind a quote inside of quotes: it ends them, unless another one follows
    };
    std::size_t scanned = 0;
    std::size_t whole = 0; // bytes of the whole rows found
    std::size_t run = 0;   // where the text outside of quotes began
    State state = outside;
    bool ended =
        false; // whoever reads the rows finds out what is wrong: all of the text is to be handed to him
};

// Looks on through the text, which has grown to so many bytes. Where it is the last, all of it is whole rows.
// A line end that may be the first half of one ends no row yet.
void split(CsvSplit& split, const CsvFormat& format, const char* text, std::size_t bytes, bool last);

} // namespace velk::bulk
