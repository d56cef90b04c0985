#pragma once

// Operations of the engine library VELKProvider. Each returns 0 for success, else an engine error code.

#include "engine/linkage.h"
#include "records/definitions.h"
#include "records/requests.h"
#include "records/rowdata.h"
#include "records/trace.h"

namespace velk {

// Starts the framework, once per process. definition may be null.
VELK_ENGINE_OPERATION std::int32_t Provider_FrmwInit(FRPA* definition);

// Starts a provider for a service and stores its handle. service_id is UTF-8 text; its length is
// given in UTF-16 code units, whatever the number of its bytes. flag is a Java boolean, 1 or 0.
VELK_ENGINE_OPERATION std::int32_t Provider_Init(std::int32_t* handle, const char* service_id,
                                                 std::int32_t service_id_length, SVCA* service,
                                                 std::uint8_t flag);

// The only request code of Provider_Service.
inline constexpr std::uint16_t provider_service_request = 0x1408;

// Masks one row set in place.
VELK_ENGINE_OPERATION std::int32_t Provider_Service(std::int32_t handle, std::uint16_t request, SVCA* service,
                                                    RWST* rows);

// Ends a provider.
VELK_ENGINE_OPERATION std::int32_t Provider_Term(std::int32_t handle);

// Ends the framework, and with it the trace facility.
VELK_ENGINE_OPERATION std::int32_t Provider_FrmwTerm();

// Writes the three texts of an error code into the request's buffers.
VELK_ENGINE_OPERATION std::int32_t Provider_GetErrorMessage(EMSG* request);

// Opens a trace scope: fills the context. Not 0: the scope is not open.
VELK_ENGINE_OPERATION std::int32_t Provider_TraceBegin(TraceContext* context, TraceBlock* block);

// Closes a trace scope.
VELK_ENGINE_OPERATION std::int32_t Provider_TraceEnd(TraceContext* context);

// Takes one filled record, which is the caller's again when this returns.
VELK_ENGINE_OPERATION std::int32_t Provider_TraceWrite(TraceRecord* record);

// Registers a traced operation's control block. reserved is 0.
VELK_ENGINE_OPERATION std::int32_t Provider_TraceRegister(std::uint32_t function, TraceBlock* block,
                                                          std::uint64_t reserved);

} // namespace velk
