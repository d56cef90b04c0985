#pragma once

// Reading what the bridge hands over: headers, chains and texts of records.

#include "failure.h"
#include "records/definitions.h"

#include <cstddef>
#include <cstring>
#include <string>

namespace velk::engine {

// Longer chains are taken for damaged ones, so that a chain that bites its own tail ends somewhere.
inline constexpr std::size_t longest_chain = std::size_t{1} << 24;

template <typename Record> bool has_header(const Record& record, const char (&eye_catcher)[5])
{
    return std::memcmp(record.eyeCatcher, eye_catcher, 4) == 0 && record.version == record_version &&
           record.length == sizeof(Record);
}

template <typename Record> std::size_t chain_length(const Record* first)
{
    std::size_t length = 0;
    for (; first != nullptr && length <= longest_chain; first = first->next) ++length;
    return length;
}

// A count keeps only the low 16 bits of its chain's length.
template <typename Record> void require_count(const Record* first, std::uint16_t count, ErrorCode code)
{
    const std::size_t length = chain_length(first);
    if (length > longest_chain || static_cast<std::uint16_t>(length) != count)
        throw Failure{code, std::to_string(count) + " and " + std::to_string(length)};
}

// Text of a record, as UTF-8. Throws a Failure where it is damaged or ill-formed.
std::string name_of(const OPRA& operand);
std::string text_of(const OPRA& operand); // of a value that is text
std::string name_of(const FLDA& field);   // empty if there is none

inline bool is_text(const OPRA& operand)
{
    return operand.valueType == wide_value || operand.valueType == utf8_value;
}

} // namespace velk::engine
