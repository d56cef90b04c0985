#include "parser/error_slot.h"

#include "text/records.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace velk::engine {

namespace {

using Sizes = decltype(ErrorSlot::sizes);
static_assert(sizeof(Sizes) <= sizeof(ECBD::reserved24));

constexpr Sizes largest{heading_bytes, detail_bytes, trailing_bytes};

// As many whole characters as fit.
std::string_view clipped(std::string_view text, std::size_t bytes)
{
    std::size_t end = 0;
    for (std::size_t position = 0; position < text.size(); end = position) {
        next_code_point(text, position);
        if (position > bytes) break;
    }
    return text.substr(0, end);
}

} // namespace

ErrorSlot& error_slot() noexcept
{
    static constinit thread_local ErrorSlot slot{};
    return slot;
}

void put_error(ErrorSlot& slot, std::int32_t code, std::string_view heading, std::string_view detail,
               std::string_view trailing) noexcept
{
    slot.code = code;
    const std::string_view texts[] = {heading, detail, trailing};
    char* end = slot.texts.data();
    for (std::size_t i = 0; i < std::size(texts); ++i) {
        const std::string_view text = clipped(texts[i], largest[i]);
        slot.sizes[i] = static_cast<std::uint32_t>(text.size());
        end = std::copy(text.begin(), text.end(), end);
    }
}

void write_details(const ErrorSlot& slot, ECBD& details) noexcept
{
    details.errorCode = slot.code;
    std::memcpy(details.reserved24, slot.sizes.data(), sizeof slot.sizes);
    std::memcpy(reinterpret_cast<char*>(&details) + sizeof(ECBD), slot.texts.data(),
                slot.sizes[0] + slot.sizes[1] + slot.sizes[2]);
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
