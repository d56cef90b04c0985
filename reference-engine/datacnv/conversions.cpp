// The five text conversions. Wide text is 16 bits a unit, so that converting between it and UTF-16 only
// repairs what is ill-formed.

#include "engine/datacnv.h"

#include "text/error_codes.h"
#include "text/unicode.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

namespace velk {

namespace {

using namespace engine;

// Bytes, because a buffer may stand at any address.
template <typename Unit> struct Target {
    char* bytes;
    std::size_t capacity;   // units
    std::size_t length = 0; // units written so far
};

template <typename Unit> void store(Target<Unit>& target, const Unit* units, std::size_t count)
{
    std::memcpy(target.bytes + target.length * sizeof(Unit), units, count * sizeof(Unit));
}

// False, and nothing is written, when the character does not fit.
template <typename Unit> bool put(Target<Unit>& target, char32_t code_point)
{
    Unit units[4];
    const std::size_t size = encode(code_point, units);
    if (size > target.capacity - target.length) return false;
    store(target, units, size);
    target.length += size;
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

// Text that grows as it is converted would overtake its own source where both share a buffer. What stands at
// an odd address is not read as units.
template <typename SourceUnit, typename Unit>
std::int32_t convert_apart(const SourceUnit* source, std::size_t length, Target<Unit>& target)
{
    const bool odd = reinterpret_cast<std::uintptr_t>(source) % alignof(SourceUnit) != 0;
    const std::size_t source_bytes = length * sizeof(SourceUnit);
    if (!odd && !overlap(source, source_bytes, target.bytes, target.capacity * sizeof(Unit)))
        return transcode(std::basic_string_view<SourceUnit>(source, length), target);
    std::basic_string<SourceUnit> copy(length, SourceUnit{});
    if (length > 0) std::memcpy(copy.data(), static_cast<const void*>(source), source_bytes);
    return transcode(std::basic_string_view<SourceUnit>(copy), target);
}

// No more than a result and its terminator can take, whatever the caller says there is room for: an end
// beyond all memory would be no end. A unit gives three at most.
std::size_t room(std::int64_t capacity, std::size_t source_length)
{
    return capacity < 0 ? 0 : std::min(static_cast<std::size_t>(capacity), source_length * 3 + 1);
}

template <typename SourceUnit, typename Unit>
std::int32_t convert(Unit* destination, std::int64_t capacity, const SourceUnit* source, std::int64_t length,
                     std::int64_t* output_length) noexcept
{
    constexpr Unit terminator = 0;
    const std::size_t source_length = length > 0 ? static_cast<std::size_t>(length) : 0;
    if (output_length != nullptr) *output_length = 0;
    Target<Unit> target{reinterpret_cast<char*>(destination),
                        destination == nullptr ? 0 : room(capacity, source_length)};
    if (source == nullptr && source_length > 0) {
        if (target.capacity > 0) store(target, &terminator, 1); // no earlier text may pass for the result
        return conversion_source_missing;
    }
    std::int32_t status;
    try {
        status = convert_apart(source, source_length, target);
    } catch (...) {
        status = out_of_memory;
    }
    if (target.length < target.capacity) store(target, &terminator, 1);
    if (output_length != nullptr) *output_length = static_cast<std::int64_t>(target.length);
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
