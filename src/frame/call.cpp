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
    call.result = report_and_throw(call.env, call.scope, call.exit_line, message, -1);
    return false;
}

} // namespace velk
