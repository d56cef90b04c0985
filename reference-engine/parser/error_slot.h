#pragma once

// The parser's last error, until it is read.

#include "parser/error_text.h"

#include <cstdint>
#include <mutex>
#include <optional>

namespace velk::engine {

struct ParserError {
    std::int32_t code;
    MessageText text;
};

struct ErrorSlot {
    std::mutex mutex; // held over each operation of the parser
    std::optional<ParserError> error;
};

ErrorSlot& error_slot();
void put_error(ErrorSlot& slot, std::int32_t code, const MessageText& text);

// The details of an error as they are given out: an ECBD record, and behind it the three texts in UTF-8,
// whose sizes stand in bytes of the record that are the parser's. The size is the same for every error, so
// that it still holds when another one comes between asking for it and asking for the details.
inline constexpr std::size_t details_size = sizeof(ECBD) + heading_bytes + detail_bytes + trailing_bytes;
void write_details(const ParserError& error, ECBD& details);

// Throws a Failure unless write_details has filled them.
MessageText read_details(const ECBD& details);

} // namespace velk::engine
