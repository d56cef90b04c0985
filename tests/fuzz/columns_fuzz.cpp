// Arbitrary bytes as a batch of two columns, one of which goes through the engine: offsets that are none are
// refused, and every value comes back as it was, or as an error where it is not UTF-8 or holds U+0000.

#include "bulk/columns.h"
#include "bulk/plain_csv.h"
#include "bulk/service.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using namespace velk::bulk;
using namespace velk::bulk::test;

void require(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

struct Input {
    std::size_t rows;
    std::vector<std::uint8_t> validity; // just as long as it must be, as all of these
    std::vector<std::int32_t> offsets;
    std::vector<char> bytes;
};

// The first byte counts the rows; bitmap and offsets follow, then the values' bytes. Offsets stay inside of
// these, for whoever hands over addresses answers for them; they may fall and be negative.
bool read(const std::uint8_t* data, std::size_t size, Input& input)
{
    if (size == 0) return false;
    input.rows = data[0] % 20;
    const std::size_t bitmap = (input.rows + 7) / 8;
    const std::size_t head = 1 + bitmap + input.rows + 1;
    if (size < head) return false;
    input.validity.assign(data + 1, data + 1 + bitmap);
    input.bytes.assign(data + head, data + size);
    for (std::size_t i = 0; i <= input.rows; ++i) {
        const auto offset = static_cast<std::int8_t>(data[1 + bitmap + i]);
        input.offsets.push_back(
            std::min<std::int32_t>(offset, static_cast<std::int32_t>(input.bytes.size())));
    }
    return true;
}

bool offsets_rise(const Input& input)
{
    for (std::size_t i = 0; i < input.rows; ++i)
        if (input.offsets[i + 1] < input.offsets[i]) return false;
    return input.offsets[0] >= 0;
}

std::int32_t flaw_of(const std::string& text)
{
    if (plain_well_formed(text) < text.size()) return code::ill_formed;
    return text.find('\0') != std::string::npos ? code::zero_character : 0;
}

std::string value_of(const Input& input, std::size_t row)
{
    return {input.bytes.data() + input.offsets[row], input.bytes.data() + input.offsets[row + 1]};
}

void compare(const Input& input, const Columns& columns, const Lane& lane)
{
    std::size_t errors = 0;
    for (std::size_t row = 0; row < input.rows; ++row) {
        const bool null = (input.validity[row / 8] >> row % 8 & 1) == 0;
        const std::int32_t flaw = null ? 0 : flaw_of(value_of(input, row));
        for (std::size_t column = 0; column < 2; ++column) {
            const ColumnOut& out = columns.out[column];
            const bool null_out = (out.validity.start[row / 8] >> row % 8 & 1) == 0;
            require(null_out == (null || flaw != 0), "what is null is null");
            std::int32_t ends[2];
            std::memcpy(ends, out.offsets.start + row * sizeof(std::int32_t), sizeof ends);
            const std::string value(out.bytes.start + ends[0], out.bytes.start + ends[1]);
            require(value == (null_out ? "" : value_of(input, row)), "a kept value is kept");
            if (flaw == 0) continue;
            const Error expected{static_cast<std::int32_t>(row), static_cast<std::int32_t>(column), flaw};
            require(errors < lane.errors.size && lane.errors[errors] == expected, "an error is told");
            ++errors;
        }
    }
    require(errors == lane.errors.size, "no other error is told");
}

// A lane of two columns, of which one goes through the engine, opened once.
Lane& opened_lane()
{
    static Service service("service=s a=keep");
    static Lane lane;
    if (lane.width != 0) return lane;
    const std::int32_t order[] = {0, -1};
    const LaneDefinition definition{
        service.handle, &service.record, order, 2, service.sizes.data(), 1, nullptr, 0};
    require(open(lane, definition), "a lane opens");
    return lane;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input;
    if (!read(data, size, input)) return -1;
    Lane& lane = opened_lane();
    const ColumnIn column{input.validity.data(), input.offsets.data(), input.bytes.data()};
    const ColumnIn in[] = {column, column};
    Columns columns;
    const std::int32_t begun = begin(columns, lane, in, input.rows);
    require((begun == 0) == offsets_rise(input), "offsets are refused where they fall");
    std::int32_t count = 0;
    while ((count = load(columns, lane)) > 0)
        require(mask(lane) == 0 && store(columns, lane) == 0, "a batch is masked");
    require(count == 0, "a batch is loaded");
    if (begun == 0) compare(input, columns, lane);
    close(columns);
    return 0;
}
