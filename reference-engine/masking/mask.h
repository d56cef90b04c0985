#pragma once

// A rule made ready to mask one column of a row set at a time: values in, one result for each out, in order.
// The results' texts stand one behind the other, so that a column costs few allocations.

#include "text/error_codes.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

// Well-formed UTF-16.
using Values = std::span<const std::u16string_view>;

struct Batch {
    Values values;
    Values by{}; // what stands beside each value in the column that the rule names, if it names one; null is
                 // empty
};

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

// Holds no mutable state: a call keeps what it needs in the meantime to itself.
using Mask = std::function<void(const Batch&, Results&)>;

// For results of which each has as many units as its value, or so many.
inline void make_room(Results& results, Values values)
{
    std::size_t units = 0;
    for (const std::u16string_view value : values) units += value.size();
    results.text.reserve(results.text.size() + units);
    results.list.reserve(results.list.size() + values.size());
}
inline void make_room(Results& results, Values values, std::size_t units)
{
    results.text.reserve(results.text.size() + values.size() * units);
    results.list.reserve(results.list.size() + values.size());
}

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
