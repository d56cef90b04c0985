// The operations that run providers.

#include "engine/provider.h"

#include "provider/state.h"
#include "provider/threads.h"

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

std::int32_t open_provider(Provider provider)
{
    auto open = std::make_shared<OpenProvider>(std::move(provider));
    const std::lock_guard lock(state().mutex);
    state().providers.emplace(state().next_handle, std::move(open));
    return state().next_handle++;
}

std::shared_ptr<OpenProvider> provider_of(std::int32_t handle)
{
    const std::lock_guard lock(state().mutex);
    const auto found = state().providers.find(handle);
    if (found == state().providers.end()) throw Failure{provider_unknown, std::to_string(handle)};
    return found->second;
}

// What is left of it goes with the last call that uses it.
void close_provider(std::int32_t handle)
{
    std::unique_lock lock(state().mutex);
    const auto closed = state().providers.extract(handle);
    lock.unlock();
    if (closed.empty()) throw Failure{provider_unknown, std::to_string(handle)};
}

} // namespace

// The flag is not used: this engine has one way to run.
std::int32_t Provider_Init(std::int32_t* handle, const char* service_id, std::int32_t service_id_length,
                           SVCA* service, std::uint8_t)
{
    return guarded([=] {
        if (handle == nullptr) throw Failure{handle_address_missing};
        *handle = 0;
        const FrameworkCall call;
        require_service_id(service_id, service_id_length);
        *handle = open_provider(make_provider(service));
    });
}

std::int32_t Provider_Service(std::int32_t handle, std::uint16_t request, SVCA* service, RWST* rows)
{
    const std::int32_t code = guarded([=] {
        const FrameworkCall call;
        const std::shared_ptr<OpenProvider> open = provider_of(handle);
        if (request != provider_service_request) throw Failure{request_unknown, std::to_string(request)};
        const std::lock_guard turn(open->mutex);
        require_service(service);
        require_same(open->provider.definition, *service);
        mask_row_set(open->provider, rows, open->scratch);
    });
    // Whatever failed, nothing may come back as it was sent, nor masked by half.
    if (code != 0) clear_row_set(rows, code);
    return code;
}

std::int32_t Provider_Term(std::int32_t handle)
{
    return guarded([=] {
        const FrameworkCall call;
        close_provider(handle);
    });
}

std::int32_t Provider_AllowsThreads()
{
    return 1;
}

} // namespace velk
