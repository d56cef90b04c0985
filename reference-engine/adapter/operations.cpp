// The adapter's operations.

#include "engine/adapter.h"

#include "adapter/definition.h"
#include "adapter/records.h"
#include "parser/error_text.h"
#include "parser/report.h"
#include "text/boundary.h"
#include "text/records.h"

#include <algorithm>

namespace velk {

namespace {

using namespace engine;

void require_request(const PGDA* request)
{
    if (request == nullptr || !has_header(*request, "PGDA") || request->parameters == nullptr ||
        !has_header(*request->parameters, "PRMA") || request->pSvcDef == nullptr ||
        request->pSvcId == nullptr)
        throw Failure{build_request_damaged};
    const PRMA& parameters = *request->parameters;
    if (parameters.input == nullptr || parameters.input->pParamString == nullptr ||
        parameters.iParmStrBytes < 0)
        throw Failure{build_request_damaged};
}

std::string_view source_of(const PGDA& request)
{
    const PRMA& parameters = *request.parameters;
    return {parameters.input->pParamString, static_cast<std::size_t>(parameters.iParmStrBytes)};
}

void write_id(const std::string& id, const PGDA& request)
{
    if (request.iSvcIdBytes < 0 || static_cast<std::size_t>(request.iSvcIdBytes) <= id.size())
        throw Failure{service_id_buffer_too_small, std::to_string(request.iSvcIdBytes)};
    std::copy_n(id.c_str(), id.size() + 1, request.pSvcId);
}

void build(const PGDA& request, std::string_view source)
{
    const ServiceDefinition definition = define_service(read_entries(*request.parameters, source), source);
    write_id(definition.id, request);
    build_records(definition, *request.pSvcDef);
}

void report(const Failure& failure, std::string_view source)
{
    const MessageText text = error_text(failure, source);
    Parser_ReportError(failure.code, text.heading.c_str(), text.detail.c_str(), text.trailing.c_str());
}

} // namespace

// Nothing has to be prepared.
std::int32_t Adapter_Init()
{
    return 0;
}

std::int32_t Adapter_BuildServiceDefinition(PGDA* request)
{
    std::string_view source;
    std::optional<Failure> failure = failure_of([&] {
        require_request(request);
        source = source_of(*request);
        build(*request, source);
    });
    if (is_told(failure))
        if (std::optional<Failure> untold = failure_of([&] { report(*failure, source); })) failure = untold;
    return code_of(failure);
}

// The record's header may be gone: a build that failed early has not written it yet.
std::int32_t Adapter_FreeServiceDefinition(SVCA* service)
{
    if (service == nullptr) return service_record_damaged;
    free_records(*service);
    return 0;
}

} // namespace velk
