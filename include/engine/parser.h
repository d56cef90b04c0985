#pragma once

// Operations of the engine library VELKParser. Each returns 0 for success, else an engine error code.

#include "engine/linkage.h"
#include "records/requests.h"

namespace velk {

// Starts the parser, once per process.
VELK_ENGINE_OPERATION std::int32_t Parser_Init();

// Sizing pass: writes pairCount, keySize and valueSize. Extraction pass: fills the entries' buffers.
VELK_ENGINE_OPERATION std::int32_t Parser_ParseParameters(PRMA* request);

// Tells whether details of the last error exist (count > 0) and the bytes that ECBD needs for them.
VELK_ENGINE_OPERATION std::int32_t Parser_GetErrorInfoSize(std::int16_t* count, std::int32_t* size);

// Fills the block with the details of the last error.
VELK_ENGINE_OPERATION std::int32_t Parser_GetErrorInfo(ECBD* details);

// Writes the three texts of the request's details into its buffers.
VELK_ENGINE_OPERATION std::int32_t Parser_FormatErrorText(EMSG* request);

} // namespace velk
