// An engine with tracing off: every scope opens, and nothing is ever wanted of it. The natives that are
// measured call no other operation.

#include "engine/adapter.h"
#include "engine/datacnv.h"
#include "engine/parser.h"
#include "engine/provider.h"

#include <cstdlib>

namespace velk {

std::int32_t Provider_TraceRegister(std::uint32_t, TraceBlock* block, std::uint64_t)
{
    block->state = trace_block_registered;
    return 0;
}

std::int32_t Provider_TraceBegin(TraceContext* context, TraceBlock*)
{
    context->handle = 1;
    context->mask = 0;
    return 0;
}

std::int32_t Provider_TraceEnd(TraceContext*)
{
    return 0;
}

std::int32_t Provider_TraceWrite(TraceRecord*)
{
    std::abort();
}

std::int32_t Provider_FrmwInit(FRPA*)
{
    std::abort();
}

std::int32_t Provider_FrmwTerm()
{
    std::abort();
}

std::int32_t Provider_Init(std::int32_t*, const char*, std::int32_t, SVCA*, std::uint8_t)
{
    std::abort();
}

std::int32_t Provider_Service(std::int32_t, std::uint16_t, SVCA*, RWST*)
{
    std::abort();
}

std::int32_t Provider_Term(std::int32_t)
{
    std::abort();
}

std::int32_t Provider_GetErrorMessage(EMSG*)
{
    std::abort();
}

std::int32_t Parser_Init()
{
    std::abort();
}

std::int32_t Parser_ParseParameters(PRMA*)
{
    std::abort();
}

std::int32_t Parser_GetErrorInfoSize(std::int16_t*, std::int32_t*)
{
    std::abort();
}

std::int32_t Parser_GetErrorInfo(ECBD*)
{
    std::abort();
}

std::int32_t Parser_FormatErrorText(EMSG*)
{
    std::abort();
}

std::int32_t Adapter_Init()
{
    std::abort();
}

std::int32_t Adapter_BuildServiceDefinition(PGDA*)
{
    std::abort();
}

std::int32_t Adapter_FreeServiceDefinition(SVCA*)
{
    std::abort();
}

std::int32_t Cnv_Utf16ToUtf8(char*, std::int64_t, const char16_t*, std::int64_t, std::int64_t*)
{
    std::abort();
}

std::int32_t Cnv_WideToUtf8(char*, std::int64_t, const char16_t*, std::int64_t, std::int64_t*)
{
    std::abort();
}

std::int32_t Cnv_Utf8ToUtf16(char16_t*, std::int64_t, const char*, std::int64_t, std::int64_t*)
{
    std::abort();
}

std::int32_t Cnv_Utf16ToWide(const char16_t*, std::int64_t, char16_t*, std::int64_t, std::int64_t*)
{
    std::abort();
}

std::int32_t Cnv_WideToUtf16(const char16_t*, std::int64_t, char16_t*, std::int64_t, std::int64_t*)
{
    std::abort();
}

} // namespace velk
