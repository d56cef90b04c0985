#include "marshal/text.h"

#include "engine/datacnv.h"
#include "frame/flags.h"
#include "frame/text16.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace velk::text {

std::int32_t wide_size(jsize length)
{
    if (length > INT32_MAX / 2 - 1) return 0;
    return (length + 1) * static_cast<std::int32_t>(sizeof(char16_t));
}

void to_wide(char16_t* text, const jchar* chars, jsize length)
{
    if (wide_conversion != 0) {
        std::int64_t output_length = 0;
        Cnv_Utf16ToWide(units(chars), length, text, length, &output_length);
    } else {
        text16::copy(text, units(chars), static_cast<std::size_t>(length));
    }
}

Source wide_source(const char16_t* text, std::int32_t bytes)
{
    if (text == nullptr || bytes < 0) return {};
    return {.wide = text, .units = static_cast<std::size_t>(bytes) / sizeof(char16_t)};
}

Source utf8_source(const char* text, std::int32_t bytes)
{
    if (text == nullptr || bytes < 0) return {};
    return {.utf8 = text, .units = static_cast<std::size_t>(bytes)};
}

static void release(const Buffer& buffer)
{
    if (buffer.units != buffer.stack) std::free(buffer.units);
}

bool acquire(Call& call, Buffer& buffer, std::size_t units, Memory memory)
{
    const std::size_t bytes = (units + 1) * sizeof(char16_t);
    const bool on_stack = memory == Memory::stack_or_heap && bytes <= sizeof buffer.stack;
    buffer.units = on_stack ? buffer.stack : static_cast<char16_t*>(std::malloc(bytes));
    if (buffer.units == nullptr)
        return fail(call, "out of memory for a text of %llu bytes", static_cast<unsigned long long>(bytes));
    std::memset(buffer.units, 0, bytes);
    buffer.capacity = units;
    return true;
}

// The engine's conversion tells the length; it is taken at its word within the buffer, its terminator
// included.
static bool accept(Call& call, Buffer& buffer, std::int64_t length, std::int64_t capacity)
{
    const std::int64_t area = std::min<std::int64_t>(capacity + 1, INT32_MAX); // what a Java string can hold
    buffer.length = static_cast<std::size_t>(length);
    if (length >= 0 && length <= area) return true;
    release(buffer);
    return fail(call, "the engine's conversion reported %lld units for an area of %lld",
                static_cast<long long>(length), static_cast<long long>(area));
}

bool read(Call& call, const Source& source, Buffer& buffer, Memory memory)
{
    if (!acquire(call, buffer, source.units, memory)) return false;
    const auto capacity = static_cast<std::int64_t>(source.units);
    std::int64_t length = 0;
    if (source.utf8 != nullptr) {
        Cnv_Utf8ToUtf16(buffer.units, capacity, source.utf8, capacity, &length);
    } else if (source.wide != nullptr && wide_conversion != 0) {
        Cnv_WideToUtf16(source.wide, capacity, buffer.units, capacity, &length);
    } else if (source.wide != nullptr) {
        text16::copy(buffer.units, source.wide, source.units);
        length = static_cast<std::int64_t>(text16::length(buffer.units));
    }
    return accept(call, buffer, length, capacity);
}

trace::Item traced(const Call& call, const char* label, const Buffer& buffer)
{
    const bool wanted = trace::wants(call.scope, trace_mask_data);
    return trace::wide(label, buffer.units, wanted ? text16::length(buffer.units, buffer.capacity + 1) : 0);
}

bool hand_over(Call& call, Buffer& buffer, jfieldID field)
{
    const bool stored = set_string(call.env, call.self, field, buffer.units, buffer.length);
    release(buffer);
    return stored;
}

jstring store_string(JNIEnv* env, jobject object, jfieldID field, const char16_t* units, std::size_t length)
{
    const jstring string = env->NewString(reinterpret_cast<const jchar*>(units), static_cast<jsize>(length));
    if (string != nullptr) env->SetObjectField(object, field, string);
    return string;
}

bool set_string(JNIEnv* env, jobject object, jfieldID field, const char16_t* units, std::size_t length)
{
    const jstring string = store_string(env, object, field, units, length);
    if (string == nullptr) return false;
    env->DeleteLocalRef(string);
    return true;
}

} // namespace velk::text
