// com.brel.sorn.velk.Field and its DATA record: the path of every value, into the engine and back.

#include "engine/datacnv.h"
#include "frame/class_cache.h"
#include "frame/errors.h"
#include "frame/flags.h"
#include "frame/text16.h"
#include "marshal/record.h"
#include "marshal/text.h"
#include "records/rowdata.h"

#include <cstdlib>
#include <cstring>
#include <jni.h>

using namespace velk;

namespace {

bool is_utf8(jint id)
{
    return id >= first_utf8_type && id <= last_utf8_type;
}

bool is_wide(jint id)
{
    return id >= first_wide_type && id <= last_wide_type;
}

// A buffer that is large enough is kept, with its size. A new one is not cleared yet.
bool size_buffer(Call& call, DATA* record, jint size)
{
    if (record->buffer != nullptr && record->bufferSize >= size && record->bufferSize >= 0) return true;
    std::free(record->buffer);
    record->buffer = nullptr;
    record->bufferSize = size;
    if (size <= 0) return true;
    record->buffer = std::malloc(static_cast<std::size_t>(size));
    if (record->buffer != nullptr) return true;
    record->bufferSize = 0;
    return fail(call, "out of memory for a value buffer of %d bytes", static_cast<int>(size));
}

void clear_buffer(const DATA* record)
{
    if (record->buffer != nullptr)
        std::memset(record->buffer, 0, static_cast<std::size_t>(record->bufferSize));
}

// Units of wide text that the buffer takes, less one that stays its terminator. bufferSize is 2 at least.
std::size_t wide_capacity(const DATA* record)
{
    return static_cast<std::size_t>(record->bufferSize) / sizeof(char16_t) - 1;
}

// Copies up to the first zero unit and clears what the text does not cover.
void copy_wide(const DATA* record, const char16_t* source, std::size_t length)
{
    const std::size_t capacity = wide_capacity(record);
    const std::size_t bytes =
        text16::length(source, length < capacity ? length : capacity) * sizeof(char16_t);
    auto* buffer = static_cast<unsigned char*>(record->buffer);
    std::memcpy(buffer, source, bytes);
    std::memset(buffer + bytes, 0, static_cast<std::size_t>(record->bufferSize) - bytes);
}

// Leaves the buffer with the text in the encoding of the data type, zeroed behind it.
void convert(const DATA* record, jint id, const char16_t* source, jsize length)
{
    if (is_wide(id) && record->bufferSize >= 2 && wide_conversion == 0) {
        copy_wide(record, source, static_cast<std::size_t>(length));
        return;
    }
    clear_buffer(record);
    std::int64_t output_length = 0;
    if (is_utf8(id)) {
        Cnv_Utf16ToUtf8(static_cast<char*>(record->buffer), record->bufferSize, source, length,
                        &output_length);
    } else if (is_wide(id) && record->bufferSize >= 2) {
        Cnv_Utf16ToWide(source, length, static_cast<char16_t*>(record->buffer),
                        static_cast<std::int64_t>(wide_capacity(record)), &output_length);
    }
}

// Whether the buffer can take the string at all; it is cut to the buffer's size later.
bool has_room(Call& call, const DATA* record, jint id, jsize length)
{
    const bool refused =
        (is_wide(id) && record->bufferSize < 2 && length > 0) || (is_utf8(id) && record->bufferSize < 0);
    if (!refused) return true;
    return fail(call, "a value buffer of %d bytes has no room for a string of type %d",
                static_cast<int>(record->bufferSize), static_cast<int>(id));
}

// Nothing of an earlier value stays in the buffer.
bool give_up(const DATA* record)
{
    clear_buffer(record);
    return false;
}

bool put_string(Call& call, const DATA* record, jint id, jstring string)
{
    const jsize length = call.env->GetStringLength(string);
    if (!has_room(call, record, id, length)) return give_up(record);
    const jchar* chars = call.env->GetStringChars(string, nullptr);
    if (chars == nullptr) return give_up(record);
    convert(record, id, text::units(chars), length);
    call.env->ReleaseStringChars(string, chars);
    return true;
}

// Only a String is converted: any other object leaves the buffer cleared.
bool put_value(Call& call, DATA* record, jint id)
{
    const jobject source = call.env->GetObjectField(call.self, cache.Field.source);
    record->isNull = source == nullptr;
    if (source == nullptr) {
        clear_buffer(record);
        return true;
    }
    bool put = true;
    if (call.env->IsInstanceOf(source, cache.String.clazz)) {
        put = put_string(call, record, id, static_cast<jstring>(source));
    } else {
        clear_buffer(record);
    }
    call.env->DeleteLocalRef(source);
    return put;
}

void refresh(Call& call)
{
    auto* record = static_cast<DATA*>(
        record::bind(call, cache.Field.pointer, {"DATA", offsetof(DATA, eyeCatcher), sizeof(DATA)}));
    if (record == nullptr) return;
    if (trace::wants_data(call.scope)) trace::data(call.scope, 1772, {trace::pointer("jPointer", record)});
    const jint id = call.env->GetIntField(call.self, cache.Field.id);
    const jint size = call.env->GetIntField(call.self, cache.Field.sourceSize);
    if (trace::wants_data(call.scope)) {
        trace::data(call.scope, 1778,
                    {trace::pointer("jPointer", record), trace::integer("jId", id),
                     trace::integer("jSourceSize", size)});
    }
    if (!size_buffer(call, record, size) || !put_value(call, record, id)) return;
    record->auxBuffer = nullptr; // not freed: it belongs to whoever hung it there
    record->errorCode = call.env->GetIntField(call.self, cache.Field.errorCode);
}

// Units of the text that goes back: the whole buffer, trailing zero units included, or for type 6 the text
// up to its first zero unit, which the buffer's last unit is made to be.
std::size_t returned_units(const DATA* record, jint id)
{
    const std::size_t units = static_cast<std::size_t>(record->bufferSize) / sizeof(char16_t);
    if (id != wide_text_type || units == 0) return units;
    auto* text = static_cast<char16_t*>(record->buffer);
    const std::size_t length =
        text16::length(text, units - 1); // before the store: a load behind it would wait
    text[units - 1] = 0;
    return length;
}

bool give_text(Call& call, const DATA* record, jint id)
{
    if (record->bufferSize < 0)
        return fail(call, "the record's buffer has the size %d", static_cast<int>(record->bufferSize));
    const std::size_t length = returned_units(record, id);
    const auto* text = static_cast<const char16_t*>(record->buffer);
    if (wide_conversion == 0) return text::set_string(call, cache.Field.source, text, length);
    text::Buffer buffer;
    if (!text::acquire(call, buffer, length)) return false;
    std::int64_t output_length = 0;
    const auto units = static_cast<std::int64_t>(length);
    Cnv_WideToUtf16(text, units, buffer.units, units, &output_length);
    buffer.length = length; // the whole text, whatever the conversion reports
    return text::hand_over(call, buffer, cache.Field.source);
}

bool give_value(Call& call, const DATA* record, jint id)
{
    if (record->isNull != 0) {
        call.env->SetObjectField(call.self, cache.Field.source, nullptr);
        return true;
    }
    // UTF-8 values go out but never come back: the Java side keeps what it sent.
    return record->buffer == nullptr || !is_wide(id) || give_text(call, record, id);
}

// Without a text for the code the Java side keeps the message it has.
void give_error(Call& call, std::int32_t code)
{
    if (GetErrorText(static_cast<std::uint32_t>(code)) != error_text) return;
    const std::size_t length = text16::length(error_text);
    if (wide_conversion != 0) {
        std::int64_t output_length = 0;
        const auto units = static_cast<std::int64_t>(length);
        Cnv_WideToUtf16(error_text, units, error_text, units, &output_length);
    }
    const jstring message =
        call.env->NewString(reinterpret_cast<const jchar*>(error_text), static_cast<jsize>(length));
    if (message != nullptr) call.env->SetObjectField(call.self, cache.Field.errorMessage, message);
}

void copy_back(Call& call)
{
    const auto* record = static_cast<DATA*>(record::address(call.env, call.self, cache.Field.pointer));
    if (trace::wants_data(call.scope)) trace::data(call.scope, 1885, {trace::pointer("jPointer", record)});
    if (record == nullptr) return;
    const jint id = call.env->GetIntField(call.self, cache.Field.id); // the record holds no type
    call.env->SetIntField(call.self, cache.Field.errorCode, record->errorCode);
    if (give_value(call, record, id) && record->errorCode != 0) give_error(call, record->errorCode);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Field_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{env, self, "Field.toC", 1855, 0, {}};
    if (const std::int32_t status = trace::open(call.scope, block, trace::Field_toC)) return status;
    trace::entry(call.scope, 1759, trace::pointer("env", env));

    if (cache.Field.pointer != nullptr) refresh(call);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Field_toJava(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{env, self, "Field.toJava", 1963, 0, {}};
    if (const std::int32_t status = trace::open(call.scope, block, trace::Field_toJava)) return status;
    trace::entry(call.scope, 1879, trace::pointer("env", env));

    if (cache.Field.pointer != nullptr) copy_back(call);

    return close(call);
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_Field_free(JNIEnv* env, jobject self)
{
    const jfieldID pointer = cache.Field.pointer;
    if (pointer == nullptr) return;
    auto* record = static_cast<DATA*>(record::address(env, self, pointer));
    if (record == nullptr) return;
    std::free(record->buffer);
    std::free(record->auxBuffer);
    record::release(env, self, pointer, record);
}

} // extern "C"
