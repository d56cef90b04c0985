// The operation that gives out the text of an error code.

#include "engine/provider.h"

#include "provider/state.h"
#include "text/messages.h"

namespace velk {

namespace {

using namespace engine;

// The last failure is the reason to ask for its own code only.
const Failure* failure_with(std::uint32_t code)
{
    const std::optional<Failure>& last = state().last_failure;
    return last && static_cast<std::uint32_t>(last->code) == code ? &*last : nullptr;
}

// What is known of the very case stands before what holds for every case.
std::string joined(const std::string& special, std::string_view general, char separator)
{
    return special.empty() ? std::string(general) : special + separator + std::string(general);
}

MessageText text_of(const Message& message, const Failure* failure)
{
    static const Failure nothing{};
    const Failure& special = failure != nullptr ? *failure : nothing;
    return {heading_of(message, special.subject), joined(special.detail, message.detail, '\n'),
            joined(special.advice, message.trailing, ' ')};
}

} // namespace

// Its own failures are not remembered: they would replace the one that is asked about.
std::int32_t Provider_GetErrorMessage(EMSG* request)
{
    if (!is_message_request(request)) return message_request_damaged;
    const Message* message = find_message(request->errorCode);
    if (message == nullptr) return message_unknown;
    try {
        const std::lock_guard lock(state().mutex);
        write_message(text_of(*message, failure_with(request->errorCode)), *request->buffers);
        return 0;
    } catch (...) {
        return out_of_memory;
    }
}

} // namespace velk
