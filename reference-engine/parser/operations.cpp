// The parser's operations. This build reads no masking strings, and says so.

#include "engine/parser.h"

#include "error_codes.h"

namespace velk {

std::int32_t Parser_Init()
{
    return engine::masking_strings_unavailable;
}

std::int32_t Parser_ParseParameters(PRMA*)
{
    return engine::masking_strings_unavailable;
}

std::int32_t Parser_GetErrorInfoSize(std::int16_t* count, std::int32_t* size)
{
    if (count != nullptr) *count = 0;
    if (size != nullptr) *size = 0;
    return 0;
}

std::int32_t Parser_GetErrorInfo(ECBD*)
{
    return engine::masking_strings_unavailable;
}

std::int32_t Parser_FormatErrorText(EMSG*)
{
    return engine::masking_strings_unavailable;
}

} // namespace velk
