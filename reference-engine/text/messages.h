#pragma once

// The texts of the error codes. Each has three parts: a heading that says what failed, a detail that says
// more or where, and a trailing part that says what to do.

#include "records/requests.h"
#include "text/error_codes.h"

#include <span>
#include <string>
#include <string_view>

namespace velk::engine {

struct Message {
    ErrorCode code;
    std::string_view heading;
    std::string_view detail;
    std::string_view trailing;
};

std::span<const Message> messages();
const Message* find_message(std::uint32_t code); // null: no such code

// The three parts as they are given out for one case.
struct MessageText {
    std::string heading;
    std::string detail;
    std::string trailing;
};

// What each part is cut to, in UTF-8. Together below 3,000 bytes, so that the whole text fits wherever it
// is converted to.
inline constexpr std::size_t heading_bytes = 500;
inline constexpr std::size_t detail_bytes = 1000;
inline constexpr std::size_t trailing_bytes = 1400;

// "7301 unknown function "emial""
std::string heading_of(const Message& message, std::string_view subject);

// Whether this is a request for 16-bit text that has buffers.
bool is_message_request(const EMSG* request);
void write_message(const MessageText& text, const MessageBuffers& buffers);

} // namespace velk::engine
