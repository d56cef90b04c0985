#pragma once

// The last error of each thread's parser, until it is read.

#include "text/failure.h"
#include "text/messages.h"

#include <array>
#include <cstdint>

namespace velk::engine {

// Bytes alone, with nothing to make or to destroy: threads that know nothing of the parser come and go. The
// texts stand one behind the other, in UTF-8, without terminators.
struct ErrorSlot {
    std::int32_t code; // 0: there is no error
    std::array<std::uint32_t, 3> sizes;
    std::array<char, heading_bytes + detail_bytes + trailing_bytes> texts;
};

// The calling thread's.
ErrorSlot& error_slot() noexcept;

// Texts are cut to what the slot holds of each.
void put_error(ErrorSlot& slot, std::int32_t code, std::string_view heading, std::string_view detail,
               std::string_view trailing) noexcept;

// The details of an error as they are given out: an ECBD record, and behind it the three texts, whose sizes
// stand in bytes of the record that are the parser's. The size is the same for every error.
inline constexpr std::size_t details_size = sizeof(ECBD) + sizeof(ErrorSlot::texts);
void write_details(const ErrorSlot& slot, ECBD& details) noexcept;

// Throws a Failure unless write_details has filled them.
MessageText read_details(const ECBD& details);

} // namespace velk::engine
