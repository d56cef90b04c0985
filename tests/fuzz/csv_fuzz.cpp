// Arbitrary bytes as a CSV file, cut into blocks of arbitrary size: what is kept, what is refused and where
// must be what a simple reader says. The first two bytes choose the width, the format and the size of the
// blocks.

#include "bulk/pipeline.h"
#include "bulk/plain_csv.h"

#include <cstdio>
#include <cstdlib>

namespace {

using namespace velk::bulk;
using namespace velk::bulk::test;

void require(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

Outcome kept_value(const PlainCell& cell)
{
    if (cell.text.find('\0') != std::string::npos) return {{}, code::zero_character};
    return !cell.quoted && cell.text.empty() ? Outcome{} : Outcome{cell.text, 0};
}

std::vector<std::vector<Outcome>> kept_values(const PlainCsv& csv)
{
    std::vector<std::vector<Outcome>> values;
    for (const PlainRow& row : csv.rows) {
        std::vector<Outcome>& kept = values.emplace_back();
        for (const PlainCell& cell : row.cells) kept.push_back(kept_value(cell));
    }
    return values;
}

void compare(const CsvResult& result, const PlainCsv& expected, const CsvFormat& format)
{
    require(result.status == 0, "nothing fails");
    require(result.output == write_plain(expected, kept_values(expected), "*", format),
            "the output is right");
    require(result.rows == static_cast<std::int64_t>(expected.rows.size()), "the rows are counted");
    require(result.problem.fault == expected.fault, "the fault is found");
    if (expected.fault == CsvFault::none) return;
    require(result.problem.byte == static_cast<std::int64_t>(expected.byte), "the fault's byte is right");
    const bool of_byte = expected.fault == CsvFault::ill_formed;
    require((of_byte ? result.problem.line : result.problem.row_line) == expected.line, "its line is right");
}

// A lane for each width, opened once.
Lane& lane_of(std::size_t width)
{
    static Lane lanes[4];
    Lane& lane = lanes[width - 1];
    if (lane.width != 0) return lane;
    const std::vector<std::int32_t> columns(width, -1);
    require(open(lane, {0, nullptr, columns.data(), width, nullptr, 0, "*", 1}), "a lane opens");
    return lane;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return -1;
    const CsvFormat format{(data[0] & 4) != 0 ? ';' : ',', (data[0] & 8) != 0 ? '\'' : '"',
                           (data[0] & 16) != 0};
    const std::size_t width = 1U + (data[0] & 3);
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    compare(run_csv(lane_of(width), text, 1U + data[1], format), read_plain(text, width, format), format);
    return 0;
}
