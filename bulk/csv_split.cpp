#include "csv_split.h"

#include "blocks.h"
#include "text.h"

namespace velk::bulk {

namespace {

constexpr std::size_t longest_character = 4; // bytes

struct Text {
    const CsvFormat& format;
    const char* start;
    std::size_t bytes;
    bool last;
};

bool ends_value(const Text& text, std::size_t i)
{
    const char byte = text.start[i];
    return byte == text.format.delimiter || byte == '\n' || byte == '\r';
}

bool starts_value(const Text& text, std::size_t i)
{
    return i == 0 || ends_value(text, i - 1);
}

// The last line end of a run outside of quotes ends the last whole row.
void find_row_end(CsvSplit& split, const Text& text, std::size_t end)
{
    // Behind a CR at the end an LF may follow.
    const bool waits = end == text.bytes && !text.last && end > split.run && text.start[end - 1] == '\r';
    const std::size_t bytes = end - split.run - (waits ? 1 : 0);
    const std::size_t found = blocks::behind_last(text.start + split.run, bytes, '\n', '\r');
    if (found > 0) split.whole = split.run + found;
}

void scan_outside(CsvSplit& split, const Text& text)
{
    for (;;) {
        const std::size_t i = split.scanned + text::find(text.start + split.scanned,
                                                         text.bytes - split.scanned, text.format.quote);
        split.scanned = i < text.bytes ? i + 1 : i;
        if (i == text.bytes) return find_row_end(split, text, i);
        if (!starts_value(text, i)) continue; // a character of its value like any other
        find_row_end(split, text, i);
        split.state = CsvSplit::quoted;
        return;
    }
}

void scan_quoted(CsvSplit& split, const Text& text)
{
    split.scanned += text::find(text.start + split.scanned, text.bytes - split.scanned, text.format.quote);
    if (split.scanned == text.bytes) return;
    ++split.scanned;
    split.state = CsvSplit::closing;
}

// Whether the character behind a closing quote is there as a whole, for it will be told from one that is no
// UTF-8.
bool is_complete(const Text& text, std::size_t i)
{
    return text.last || text.bytes - i >= longest_character;
}

// False: the text has to grow before anything can be said.
bool scan_closing(CsvSplit& split, const Text& text)
{
    if (text.start[split.scanned] == text.format.quote) {
        ++split.scanned;
        split.state = CsvSplit::quoted;
        return true;
    }
    const bool is_end = ends_value(text, split.scanned);
    if (!is_end && !is_complete(text, split.scanned)) return false;
    split.ended = !is_end;
    split.run = split.scanned;
    split.state = CsvSplit::outside;
    return true;
}

// False where it has to wait.
bool scan(CsvSplit& split, const Text& text)
{
    switch (split.state) {
    case CsvSplit::outside:
        scan_outside(split, text);
        return true;
    case CsvSplit::quoted:
        scan_quoted(split, text);
        return true;
    default:
        return scan_closing(split, text);
    }
}

} // namespace

bool is_sound(const CsvFormat& format)
{
    const auto plain = [](char byte) { return byte > 0 && byte != '\n' && byte != '\r'; };
    return plain(format.delimiter) && plain(format.quote) && format.delimiter != format.quote;
}

void split(CsvSplit& split, const CsvFormat& format, const char* start, std::size_t bytes, bool last)
{
    const Text text{format, start, bytes, last};
    while (split.scanned < bytes && !split.ended && scan(split, text)) {
    }
    if (split.whole == 0 && bytes > longest_raw_row) split.ended = true;
    if (last) split.whole = bytes;
    // No character is cut, or it would be told instead of what is wrong.
    else if (split.ended)
        split.whole = text::whole_characters(start, bytes);
}

} // namespace velk::bulk
