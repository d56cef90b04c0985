// The five text conversions. Wide text is 16 bits a unit, so that converting between it and UTF-16 only
// repairs what is ill-formed.

#include "engine/datacnv.h"

#include "text/error_codes.h"
#include "text/unicode.h"

#include <functional>
#include <string>

namespace velk {

namespace {

using namespace engine;

template <typename Unit> struct Target {
    Unit* units;
    std::int64_t capacity; // units
    std::int64_t length;   // units written so far
};

// False, and nothing is written, when the character does not fit.
template <typename Unit> bool put(Target<Unit>& target, char32_t code_point)
{
    Unit units[4];
    const auto size = static_cast<std::int64_t>(encode(code_point, units));
    if (size > target.capacity - target.length) return false;
    for (std::int64_t i = 0; i < size; ++i) target.units[target.length++] = units[i];
    return true;
}

template <typename Text, typename Unit> std::int32_t transcode(Text source, Target<Unit>& target)
{
    std::int32_t status = 0;
    for (std::size_t position = 0; position < source.size();) {
        char32_t code_point = next_code_point(source, position);
        const bool replaced = code_point == ill_formed;
        if (replaced) code_point = replacement_character;
        if (!put(target, code_point)) return conversion_truncated;
        if (replaced) status = conversion_replaced;
    }
    return status;
}

bool overlap(const void* a, std::size_t a_bytes, const void* b, std::size_t b_bytes)
{
    const auto* first = static_cast<const char*>(a);
    const auto* second = static_cast<const char*>(b);
    const std::less<> before;
    return before(first, second + b_bytes) && before(second, first + a_bytes);
}

// Text that grows as it is converted would overtake its own source where both share a buffer.
template <typename SourceUnit, typename Unit>
std::int32_t convert_apart(std::basic_string_view<SourceUnit> source, Target<Unit>& target)
{
    const auto target_bytes = static_cast<std::size_t>(target.capacity) * sizeof(Unit);
    if (!overlap(source.data(), source.size() * sizeof(SourceUnit), target.units, target_bytes))
        return transcode(source, target);
    const std::basic_string<SourceUnit> copy(source);
    return transcode(std::basic_string_view<SourceUnit>(copy), target);
}

template <typename SourceUnit, typename Unit>
std::int32_t convert(Unit* destination, std::int64_t capacity, const SourceUnit* source, std::int64_t length,
                     std::int64_t* output_length) noexcept
{
    if (output_length != nullptr) *output_length = 0;
    Target<Unit> target{destination, destination == nullptr || capacity < 0 ? 0 : capacity, 0};
    if (source == nullptr && length > 0) {
        if (target.capacity > 0) target.units[0] = 0; // no earlier text may pass for the result
        return conversion_source_missing;
    }
    const std::basic_string_view<SourceUnit> text(source, length > 0 ? static_cast<std::size_t>(length) : 0);
    std::int32_t status;
    try {
        status = convert_apart(text, target);
    } catch (...) {
        status = out_of_memory;
    }
    if (target.length < target.capacity) target.units[target.length] = 0;
    if (output_length != nullptr) *output_length = target.length;
    return status;
}

} // namespace

std::int32_t Cnv_Utf16ToUtf8(char* destination, std::int64_t capacity, const char16_t* source,
                             std::int64_t length, std::int64_t* output_length)
{
    return convert(destination, capacity, source, length, output_length);
}

std::int32_t Cnv_WideToUtf8(char* destination, std::int64_t capacity, const char16_t* source,
                            std::int64_t length, std::int64_t* output_length)
{
    return convert(destination, capacity, source, length, output_length);
}

std::int32_t Cnv_Utf8ToUtf16(char16_t* destination, std::int64_t capacity, const char* source,
                             std::int64_t length, std::int64_t* output_length)
{
    return convert(destination, capacity, source, length, output_length);
}

std::int32_t Cnv_Utf16ToWide(const char16_t* source, std::int64_t length, char16_t* destination,
                             std::int64_t capacity, std::int64_t* output_length)
{
    return convert(destination, capacity, source, length, output_length);
}

std::int32_t Cnv_WideToUtf16(const char16_t* source, std::int64_t length, char16_t* destination,
                             std::int64_t capacity, std::int64_t* output_length)
{
    return convert(destination, capacity, source, length, output_length);
}

} // namespace velk
