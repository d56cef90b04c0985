#include "parse/parse_error_text.h"

#include "engine/parser.h"
#include "frame/errors.h"
#include "frame/header.h"
#include "frame/trace.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace velk {

namespace {

// The parser's details of its last error, or null where it has none. Release them with free.
ECBD* request_details()
{
    std::int16_t count = 0;
    std::int32_t size = 0;
    if (Parser_GetErrorInfoSize(&count, &size) != 0 || count <= 0) return nullptr;
    // A block that ends before its error code would be read past its end.
    constexpr std::size_t least = offsetof(ECBD, errorCode) + sizeof(ECBD::errorCode);
    if (size < static_cast<std::int32_t>(least)) return nullptr;
    auto* details = static_cast<ECBD*>(std::malloc(static_cast<std::size_t>(size)));
    if (details == nullptr) return nullptr;
    std::memset(details, 0, static_cast<std::size_t>(size));
    set_header(*details, "ECBD");
    if (Parser_GetErrorInfo(details) == 0) return details;
    std::free(details);
    return nullptr;
}

// Whether error_text holds the parser's text now.
bool compose_details(std::int32_t result)
{
    ECBD* details = request_details();
    if (details == nullptr) return false;
    MessageRequest message;
    prepare(message, static_cast<std::uint32_t>(result));
    message.request.errorCode = static_cast<std::uint32_t>(details->errorCode);
    message.request.details = details;
    const bool formatted = Parser_FormatErrorText(&message.request) == 0;
    if (formatted) compose_error_text(message);
    std::free(details);
    return formatted;
}

} // namespace

void compose_parse_error_text(std::int32_t result)
{
    static trace::Block block;
    trace::Scope scope;
    if (trace::open(scope, block, trace::compose_parse_error_text) != 0) return;
    trace::entry(scope, 2045, trace::integer("errCode", result));

    if (compose_details(result))
        trace::data(scope, 2095, trace::wide("tempmsg", error_text));
    else
        GetErrorText(static_cast<std::uint32_t>(result));

    trace::close(scope, 2105);
}

} // namespace velk
