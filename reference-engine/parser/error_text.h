#pragma once

// The text of a failure, with its place in the masking string that it is about.

#include "text/failure.h"
#include "text/messages.h"

#include <string_view>

namespace velk::engine {

// The detail says the place, where there is one, and then what the failure itself has to say of it.
MessageText error_text(const Failure& failure, std::string_view source);

} // namespace velk::engine
