#include "bulk/plain_csv.h"

namespace velk::bulk::test {

namespace {

// The length of the well-formed character at a place, 0 for none: by the table of the Unicode standard.
std::size_t plain_character(const std::string& text, std::size_t i)
{
    const struct {
        unsigned first_low, first_high, second_low, second_high;
        std::size_t length;
    } table[] = {{0x00, 0x7F, 0, 0, 1},       {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
                 {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
                 {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
    const auto byte = [&](std::size_t k) -> unsigned {
        return k < text.size() ? static_cast<unsigned char>(text[k]) : 0;
    };
    for (const auto& row : table) {
        if (byte(i) < row.first_low || byte(i) > row.first_high) continue;
        if (row.length == 1) return 1;
        if (byte(i + 1) < row.second_low || byte(i + 1) > row.second_high) return 0;
        for (std::size_t k = 2; k < row.length; ++k)
            if (byte(i + k) < 0x80 || byte(i + k) > 0xBF) return 0;
        return row.length;
    }
    return 0;
}

class Reader {
public:
    Reader(const std::string& text, std::size_t width, const CsvFormat& format)
        : text(text), width(width), format(format)
    {
        good = plain_well_formed(text);
    }

    PlainCsv read()
    {
        while (csv.fault == CsvFault::none && i < text.size()) read_row();
        return csv;
    }

private:
    bool at_end() const { return i >= good; }

    void fail(CsvFault fault, std::int64_t line, std::size_t byte)
    {
        csv.fault = fault;
        csv.line = line;
        csv.byte = byte;
    }

    // The text ends here, or ill-formed bytes begin.
    bool ill_formed()
    {
        if (good == text.size()) return false;
        fail(CsvFault::ill_formed, line, good);
        return true;
    }

    std::string take_line_end()
    {
        const std::size_t length = text[i] == '\r' && i + 1 < good && text[i + 1] == '\n' ? 2 : 1;
        i += length;
        ++line;
        return text.substr(i - length, length);
    }

    void read_quoted(PlainRow& row)
    {
        std::string value;
        const std::size_t start = i++;
        for (;;) {
            if (at_end()) {
                if (!ill_formed()) fail(CsvFault::unclosed_quote, row.line, start);
                return;
            }
            if (text[i] == format.quote && i + 1 < good && text[i + 1] == format.quote) {
                value += format.quote;
                i += 2;
            } else if (text[i] == format.quote) {
                ++i;
                break;
            } else if (text[i] == '\r' || text[i] == '\n') {
                value += take_line_end();
            } else {
                value += text[i++];
            }
        }
        row.cells.push_back({value, true});
        if (!at_end() && text[i] != format.delimiter && text[i] != '\r' && text[i] != '\n')
            fail(CsvFault::behind_quote, row.line, i);
    }

    void read_cell(PlainRow& row)
    {
        if (!at_end() && text[i] == format.quote) return read_quoted(row);
        std::string value;
        while (!at_end() && text[i] != format.delimiter && text[i] != '\r' && text[i] != '\n')
            value += text[i++];
        row.cells.push_back({value, false});
    }

    void read_row()
    {
        if (at_end()) {
            ill_formed();
            return;
        }
        PlainRow row{{}, "", line, i};
        for (;;) {
            read_cell(row);
            if (csv.fault != CsvFault::none) return;
            if (at_end() && ill_formed()) return;
            if (at_end()) break;
            if (text[i] != format.delimiter) {
                row.end = take_line_end();
                break;
            }
            ++i;
        }
        const bool blank = row.cells.size() == 1 && row.cells[0].text.empty() && !row.cells[0].quoted;
        if (blank && format.skip_blank_lines) return;
        if (width != 0 && row.cells.size() != width)
            return fail(blank ? CsvFault::blank_line : CsvFault::width, row.line, row.start);
        csv.rows.push_back(row);
    }

    const std::string& text;
    std::size_t width;
    const CsvFormat& format;
    std::size_t good = 0; // bytes that are well-formed
    std::size_t i = 0;
    std::int64_t line = 1;
    PlainCsv csv;
};

std::string written(const PlainCell& cell, const Text& value, const CsvFormat& format)
{
    if (!value) return "";
    const std::string marked{format.delimiter, format.quote, '\r', '\n'};
    if (!cell.quoted && !value->empty() && value->find_first_of(marked) == std::string::npos) return *value;
    std::string text(1, format.quote);
    for (const char byte : *value) text.append(byte == format.quote ? 2 : 1, byte);
    return text + format.quote;
}

} // namespace

std::size_t plain_well_formed(const std::string& text)
{
    std::size_t good = 0;
    while (good < text.size()) {
        const std::size_t length = plain_character(text, good);
        if (length == 0) break;
        good += length;
    }
    return good;
}

PlainCsv read_plain(const std::string& text, std::size_t width, const CsvFormat& format)
{
    return Reader(text, width, format).read();
}

std::string write_plain(const PlainCsv& csv, const std::vector<std::vector<Outcome>>& values,
                        const Text& replacement, const CsvFormat& format)
{
    std::string text;
    std::string usual_end = "\n";
    for (std::size_t row = 0; row < csv.rows.size(); ++row) {
        const PlainRow& read = csv.rows[row];
        std::string line;
        for (std::size_t i = 0; i < read.cells.size(); ++i) {
            const Outcome& value = values[row][i];
            if (i > 0) line += format.delimiter;
            line += written(read.cells[i], value.error != 0 ? replacement : value.text, format);
        }
        text += line + (line.empty() && read.end.empty() ? usual_end : read.end);
        if (!read.end.empty()) usual_end = read.end;
    }
    return text;
}

} // namespace velk::bulk::test
