#pragma once

// What can be said of a service as a whole, beside its key.

#include <cstddef>
#include <string>
#include <string_view>

namespace velk::engine {

inline constexpr std::size_t longest_service_id = 9;

// ASCII letters, digits, _ and -, at least one.
bool is_service_id(std::string_view id);

// What a value in error leaves in its field, beside the error code.
enum class OnError : unsigned char {
    clear, // an empty buffer: unless something else is said
    null,
    fixed,
    stop, // the whole row set is cleared and the call fails
};

struct ErrorWay {
    OnError way = OnError::clear;
    std::u16string text{}; // of OnError::fixed
};

// `null`, `stop` or `fixed('...')`; `keep` or `mask`. Throw a Failure for anything else.
ErrorWay parse_on_error(std::string_view text);
bool masks_null(std::string_view text);

// Whether it is one of the service's operands: key, on_error, on_null. Anything else is refused.
bool is_service_operand(std::string_view name);
void require_service_operand(std::string_view name);

} // namespace velk::engine
