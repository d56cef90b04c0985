#include "error_text.h"

#include "engine/provider.h"
#include "text.h"

#include <cstring>

namespace velk::bulk {

namespace {

// One unit more than the engine is told, so that a text that fills its capacity still ends.
template <std::uint32_t capacity> struct Part {
    char16_t text[capacity / sizeof(char16_t) + 1];

    std::size_t length() const { return text::find_zero(text, capacity / sizeof(char16_t)); }
};

struct Parts {
    Part<message_capacity1> heading;
    Part<message_capacity2> detail;
    Part<message_capacity3> trailing;
};

std::size_t add(char16_t* text, std::size_t length, const char16_t* part, std::size_t units)
{
    std::memcpy(text + length, part, units * sizeof(char16_t));
    return length + units;
}

// The detail ends in front of a mark that tells nothing, as in the bridge's messages.
std::size_t told(const char16_t* detail, std::size_t units)
{
    constexpr char16_t mark[] = u" Input [UNKNOWN TOKEN]";
    constexpr std::size_t length = sizeof mark / sizeof *mark - 1;
    for (std::size_t i = 0; i + length <= units; ++i)
        if (std::memcmp(detail + i, mark, length * sizeof *mark) == 0) return i;
    return units;
}

} // namespace

std::size_t error_text(std::int32_t code, char16_t (&text)[error_text_units])
{
    Parts parts = {};
    MessageBuffers buffers{message_capacity1,  message_capacity2, message_capacity3,  {},
                           parts.heading.text, parts.detail.text, parts.trailing.text};
    EMSG request{{'E', 'M', 'S', 'G'},
                 record_version,
                 sizeof(EMSG),
                 static_cast<std::uint32_t>(code),
                 {},
                 nullptr,
                 wide_message,
                 {},
                 &buffers};
    if (Provider_GetErrorMessage(&request) != 0) return 0;
    std::size_t length = add(text, 0, parts.heading.text, parts.heading.length());
    length = add(text, length, u":\n", 2);
    length = add(text, length, parts.detail.text, told(parts.detail.text, parts.detail.length()));
    length = add(text, length, u"\n", 1);
    return add(text, length, parts.trailing.text, parts.trailing.length());
}

} // namespace velk::bulk
