// The adapter's operations. This build reads no masking strings, and says so.

#include "engine/adapter.h"

#include "error_codes.h"

namespace velk {

std::int32_t Adapter_Init()
{
    return engine::masking_strings_unavailable;
}

std::int32_t Adapter_BuildServiceDefinition(PGDA*)
{
    return engine::masking_strings_unavailable;
}

std::int32_t Adapter_FreeServiceDefinition(SVCA*)
{
    return engine::masking_strings_unavailable;
}

} // namespace velk
