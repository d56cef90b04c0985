#include "parser/error_slot.h"

#include "text/records.h"
#include "text/unicode.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <new>

namespace velk::engine {

namespace {

using Sizes = std::array<std::uint32_t, 3>;
static_assert(sizeof(Sizes) <= sizeof(ECBD::reserved24));

constexpr Sizes largest{heading_bytes, detail_bytes, trailing_bytes};

// As many whole characters as fit.
std::string clipped(std::string_view text, std::size_t bytes)
{
    std::size_t end = 0;
    for (std::size_t position = 0; position < text.size() && position <= bytes; end = position) {
        next_code_point(text, position);
        if (position > bytes) break;
    }
    return std::string(text.substr(0, end));
}

Sizes sizes_of(const MessageText& text)
{
    return {static_cast<std::uint32_t>(text.heading.size()), static_cast<std::uint32_t>(text.detail.size()),
            static_cast<std::uint32_t>(text.trailing.size())};
}

} // namespace

// Never destroyed: threads may still be parsing while the process exits.
ErrorSlot& error_slot()
{
    alignas(ErrorSlot) static std::byte storage[sizeof(ErrorSlot)];
    static ErrorSlot& slot = *new (storage) ErrorSlot;
    return slot;
}

void put_error(ErrorSlot& slot, std::int32_t code, const MessageText& text)
{
    slot.error = ParserError{code,
                             {clipped(text.heading, heading_bytes), clipped(text.detail, detail_bytes),
                              clipped(text.trailing, trailing_bytes)}};
}

void write_details(const ParserError& error, ECBD& details)
{
    const Sizes sizes = sizes_of(error.text);
    details.errorCode = error.code;
    std::memcpy(details.reserved24, sizes.data(), sizeof sizes);
    const std::string text = error.text.heading + error.text.detail + error.text.trailing;
    std::memcpy(reinterpret_cast<char*>(&details) + sizeof(ECBD), text.data(), text.size());
}

MessageText read_details(const ECBD& details)
{
    Sizes sizes;
    std::memcpy(sizes.data(), details.reserved24, sizeof sizes);
    const bool filled = has_header(details, "ECBD") && details.errorCode != 0 && sizes[0] > 0;
    for (std::size_t i = 0; i < sizes.size(); ++i)
        if (!filled || sizes[i] > largest[i]) throw Failure{error_details_damaged};
    const char* text = reinterpret_cast<const char*>(&details) + sizeof(ECBD);
    const auto take = [&text](std::uint32_t size) {
        std::string part(text, size);
        text += size;
        return part;
    };
    MessageText parts;
    parts.heading = take(sizes[0]);
    parts.detail = take(sizes[1]);
    parts.trailing = take(sizes[2]);
    return parts;
}

} // namespace velk::engine
