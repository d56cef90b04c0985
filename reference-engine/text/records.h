#pragma once

// Reading what the bridge hands over: headers, chains and texts of records.

#include "records/definitions.h"
#include "text/failure.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace velk::engine {

template <typename Record> bool has_header(const Record& record, const char (&eye_catcher)[5])
{
    return std::memcmp(record.eyeCatcher, eye_catcher, 4) == 0 && record.version == record_version &&
           record.length == sizeof(Record);
}

// Visits every record of a chain. False for one that bites its own tail: a mark is left at a record, each
// time twice as many steps on, until the chain comes back to it. Such records may be visited repeatedly.
template <typename Record, typename Visit> bool visit_chain(Record* first, Visit visit)
{
    const Record* mark = first;
    std::size_t steps = 0;
    std::size_t next_mark = 1;
    for (Record* record = first; record != nullptr;) {
        visit(*record);
        record = record->next;
        if (record != nullptr && record == mark) return false;
        if (++steps != next_mark) continue;
        mark = record;
        next_mark *= 2;
    }
    return true;
}

// Nothing: the chain has no end.
template <typename Record> std::optional<std::size_t> chain_length(const Record* first)
{
    std::size_t length = 0;
    const bool ends = visit_chain(first, [&length](const Record&) { ++length; });
    return ends ? std::optional(length) : std::nullopt;
}

inline std::string shown_length(std::optional<std::size_t> length)
{
    return length ? std::to_string(*length) : "a chain without an end";
}

// A count keeps only the low 16 bits of its chain's length.
template <typename Record> void require_count(const Record* first, std::uint16_t count, ErrorCode code)
{
    const std::optional<std::size_t> length = chain_length(first);
    if (!length || static_cast<std::uint16_t>(*length) != count)
        throw Failure{code, std::to_string(count) + " and " + shown_length(length)};
}

// 16-bit text: every column is exchanged as it, whatever the declared type.
inline constexpr std::int16_t exchanged_type = 6;

// The operands of a column beside its rule.
inline constexpr std::string_view type_attribute = "type";
inline constexpr std::string_view unique_attribute = "unique";
inline constexpr std::array<std::string_view, 2> column_attributes{type_attribute, unique_attribute};

// Text of a record, as UTF-8. Throws a Failure where it is damaged or ill-formed.
std::string name_of(const OPRA& operand);
std::string text_of(const OPRA& operand); // of a value that is text
std::string name_of(const FLDA& field);   // empty if there is none

inline bool is_text(const OPRA& operand)
{
    return operand.valueType == wide_value || operand.valueType == utf8_value;
}

} // namespace velk::engine
