// The operations that run providers.

#include "engine/provider.h"

#include "provider/service.h"
#include "provider/state.h"

#include <cstring>

namespace velk {

namespace {

using namespace engine;

// The id's length comes in UTF-16 units, which for the characters allowed here are bytes as well.
void require_service_id(const char* id, std::int32_t length)
{
    if (id == nullptr) throw Failure{service_id_invalid};
    const std::size_t size = ::strnlen(id, longest_service_id + 1);
    if (size != static_cast<std::size_t>(length) || !is_service_id({id, size}))
        throw Failure{service_id_invalid};
}

Provider& provider_of(std::int32_t handle)
{
    const auto found = state().providers.find(handle);
    if (found == state().providers.end()) throw Failure{provider_unknown, std::to_string(handle)};
    return found->second;
}

// The definition may be another record than the provider was started with, but not one of other columns.
void require_same_width(const SVCA* service, const Provider& provider)
{
    require_service(service);
    if (service->fieldCount != static_cast<std::uint16_t>(provider.columns.size()))
        throw Failure{service_differs, std::to_string(service->fieldCount) + " and " +
                                           std::to_string(provider.columns.size())};
    require_rules(*service);
}

} // namespace

// The flag is not used: this engine has one way to run.
std::int32_t Provider_Init(std::int32_t* handle, const char* service_id, std::int32_t service_id_length,
                           SVCA* service, std::uint8_t)
{
    return guarded([=] {
        if (handle == nullptr) throw Failure{handle_address_missing};
        *handle = 0;
        require_framework();
        require_service_id(service_id, service_id_length);
        const std::int32_t next = state().next_handle;
        state().providers.emplace(next, make_provider(service));
        ++state().next_handle;
        *handle = next;
    });
}

std::int32_t Provider_Service(std::int32_t handle, std::uint16_t request, SVCA* service, RWST* rows)
{
    const std::int32_t code = guarded([=] {
        require_framework();
        const Provider& provider = provider_of(handle);
        if (request != provider_service_request) throw Failure{request_unknown, std::to_string(request)};
        require_same_width(service, provider);
        mask_row_set(provider, rows);
    });
    // Whatever failed, nothing may come back as it was sent, nor masked by half.
    if (code != 0) clear_row_set(rows, code);
    return code;
}

std::int32_t Provider_Term(std::int32_t handle)
{
    return guarded([=] {
        require_framework();
        provider_of(handle);
        state().providers.erase(handle);
    });
}

} // namespace velk
