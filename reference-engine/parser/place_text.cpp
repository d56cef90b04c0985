#include "parser/place_text.h"

#include "text/characters.h"
#include "text/excerpt.h"
#include "text/unicode.h"

#include <algorithm>
#include <vector>

namespace velk::engine {

namespace {

constexpr std::size_t window_characters = 60;
constexpr std::size_t window_columns = 240; // four-byte characters and controls are shown by number
constexpr std::string_view cut_mark = "...";

// A line of the source, without its end.
struct Line {
    std::size_t number; // from 1
    std::size_t start;
    std::size_t end;
};

// One character as it is shown, or one secret.
struct Cell {
    std::string text;
    std::size_t columns;
    std::size_t end; // in the source
};

// A line ends with LF, CR or both.
Line line_of(std::string_view source, std::size_t position)
{
    Line line{1, std::min(text_start(source), position), source.size()};
    for (std::size_t i = line.start; i < position; ++i) {
        const bool inside_crlf = source[i] == '\r' && i + 1 < source.size() && source[i + 1] == '\n';
        if ((source[i] != '\n' && source[i] != '\r') || inside_crlf) continue;
        ++line.number;
        line.start = i + 1;
    }
    line.end = std::min(source.find_first_of("\r\n", line.start), source.size());
    return line;
}

std::size_t character_count(std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t position = 0; position < text.size(); ++count) next_code_point(text, position);
    return count;
}

Cell character_cell(std::string_view source, std::size_t position)
{
    std::size_t end = position;
    next_code_point(source, end);
    std::string text = shown(source.substr(position, end - position));
    const std::size_t columns = character_count(text);
    return {std::move(text), columns, end};
}

// The line in cells. A secret that goes on behind the line, or began before it, is one cell here too.
std::vector<Cell> cells_of(std::string_view source, const Line& line)
{
    std::vector<Cell> cells;
    const std::vector<Place> secrets = secret_places(source);
    auto secret = secrets.begin();
    for (std::size_t position = line.start; position < line.end; position = cells.back().end) {
        while (secret != secrets.end() && secret->start + secret->length <= position) ++secret;
        const bool hidden = secret != secrets.end() && secret->start <= position;
        cells.push_back(hidden ? Cell{"***", 3, std::min(secret->start + secret->length, line.end)}
                               : character_cell(source, position));
    }
    return cells;
}

// Cells [first, last) that are shown: some before the focus, the rest behind it.
struct Window {
    std::size_t first;
    std::size_t last;
};

Window window_at(const std::vector<Cell>& cells, std::size_t focus)
{
    Window window{focus, focus};
    std::size_t columns = 0;
    const auto takes = [&](std::size_t index) {
        const bool fits = window.last - window.first < window_characters &&
                          columns + cells[index].columns <= window_columns;
        if (fits) columns += cells[index].columns;
        return fits;
    };
    // A third before the focus first, then behind it, then whatever room is left before it again.
    while (window.first > 0 && focus - window.first < window_characters / 3 && columns < window_columns / 3 &&
           takes(window.first - 1))
        --window.first;
    while (window.last < cells.size() && takes(window.last)) ++window.last;
    while (window.first > 0 && takes(window.first - 1)) --window.first;
    return window;
}

std::string marks(std::size_t columns)
{
    return "^" + std::string(std::max<std::size_t>(columns, 1) - 1, '~');
}

} // namespace

std::string position_text(std::string_view source, std::size_t position)
{
    const Line line = line_of(source, position);
    const std::size_t column = character_count(source.substr(line.start, position - line.start)) + 1;
    return "line " + std::to_string(line.number) + ", column " + std::to_string(column) + " (byte " +
           std::to_string(position + 1) + ")";
}

std::string excerpt_text(std::string_view source, const Place& place)
{
    const std::vector<Cell> cells = cells_of(source, line_of(source, place.start));
    const auto focus = static_cast<std::size_t>(
        std::find_if(cells.begin(), cells.end(), [&](const Cell& cell) { return cell.end > place.start; }) -
        cells.begin());
    const Window window = window_at(cells, focus);
    std::string text(window.first > 0 ? cut_mark : "");
    std::size_t before = text.size();
    std::size_t marked = 0;
    for (std::size_t i = window.first; i < window.last; ++i) {
        text += cells[i].text;
        if (i < focus)
            before += cells[i].columns;
        else if (i == focus || cells[i - 1].end < place.start + place.length)
            marked += cells[i].columns;
    }
    if (window.last < cells.size()) text += cut_mark;
    return text + "\n" + std::string(before, ' ') + marks(marked);
}

} // namespace velk::engine
