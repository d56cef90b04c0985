#pragma once

// What a masking function makes of one column of a row set: one result for each value, in order. The
// texts stand one behind the other, so that a column costs few allocations.

#include "error_codes.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// Well-formed UTF-16.
using Values = std::span<const std::u16string_view>;

struct Result {
    std::size_t offset = 0; // of the result's text, in units
    std::size_t length = 0;
    bool is_null = false;
    ErrorCode error{}; // 0: none; else the value could not be masked
};

struct Results {
    std::u16string text;
    std::vector<Result> list;
};

inline void add_result(Results& results, std::u16string_view text)
{
    results.list.push_back({results.text.size(), text.size()});
    results.text += text;
}

// Ends a result whose text was appended to results.text from offset on.
inline void close_result(Results& results, std::size_t offset)
{
    results.list.push_back({offset, results.text.size() - offset});
}

inline void add_null(Results& results)
{
    results.list.push_back({results.text.size(), 0, true});
}

inline void add_error(Results& results, ErrorCode error)
{
    results.list.push_back({results.text.size(), 0, false, error});
}

inline std::u16string_view text_of(const Results& results, const Result& result)
{
    return std::u16string_view(results.text).substr(result.offset, result.length);
}

} // namespace velk::engine
