#pragma once

// Operations of the engine library VELKAdapter. Each returns 0 for success, else an engine error code.

#include "engine/linkage.h"
#include "records/requests.h"

namespace velk {

// Starts the adapter, once per process.
VELK_ENGINE_OPERATION std::int32_t Adapter_Init();

// Fills the request's service definition and service id from its key/value pairs.
VELK_ENGINE_OPERATION std::int32_t Adapter_BuildServiceDefinition(PGDA* request);

// Releases what a failed build left in the record.
VELK_ENGINE_OPERATION std::int32_t Adapter_FreeServiceDefinition(SVCA* service);

} // namespace velk
