// The operation that gives out the text of an error code.

#include "engine/provider.h"

#include "provider/last_failure.h"
#include "text/boundary.h"
#include "text/messages.h"

namespace velk {

namespace {

using namespace engine;

// What is known of the very case stands before what holds for every case.
std::string joined(std::string_view special, std::string_view general, char separator)
{
    std::string text(special);
    if (!text.empty()) text += separator;
    return text.append(general);
}

// The thread's last failure is the reason to ask for its own code only.
MessageText text_of(const Message& message)
{
    const LastFailure& last = last_failure();
    if (last.code != message.code)
        return {heading_of(message, {}), std::string(message.detail), std::string(message.trailing)};
    return {heading_of(message, last.subject.view()), joined(last.detail.view(), message.detail, '\n'),
            joined(last.advice.view(), message.trailing, ' ')};
}

} // namespace

// Its own failures are not remembered: they would replace the one that is asked about.
std::int32_t Provider_GetErrorMessage(EMSG* request)
{
    if (!is_message_request(request)) return message_request_damaged;
    const Message* message = find_message(request->errorCode);
    if (message == nullptr) return message_unknown;
    return code_of(failure_of([=] { write_message(text_of(*message), *request->buffers); }));
}

} // namespace velk
