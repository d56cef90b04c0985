#include "frame/call.h"

#include "frame/errors.h"

#include <cstdarg>
#include <cstdio>

namespace velk {

bool fail(Call& call, const char* format, ...)
{
    char message[256];
    const int prefix = std::snprintf(message, sizeof message, "%s: ", call.native);
    va_list values;
    va_start(values, format);
    std::vsnprintf(message + prefix, sizeof message - static_cast<std::size_t>(prefix), format, values);
    va_end(values);
    trace::return_code(call.scope, call.exit_line, -1);
    call.result = ThrowVELKException(call.env, message, -1);
    return false;
}

} // namespace velk
