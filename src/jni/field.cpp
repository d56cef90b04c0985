// com.brel.sorn.velk.Field and its DATA record: the path of every value, into the engine and back.

#include "engine/datacnv.h"
#include "frame/class_cache.h"
#include "frame/errors.h"
#include "frame/flags.h"
#include "frame/text16.h"
#include "marshal/record.h"
#include "marshal/text.h"
#include "records/rowdata.h"

#include <algorithm>
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
bool size_buffer(Call& call, DATA& record, jint size)
{
    if (record.buffer != nullptr && record.bufferSize >= size && record.bufferSize >= 0) return true;
    std::free(record.buffer);
    record.buffer = nullptr;
    record.bufferSize = size;
    if (size <= 0) return true;
    record.buffer = std::malloc(static_cast<std::size_t>(size));
    if (record.buffer != nullptr) return true;
    record.bufferSize = 0;
    return fail(call, "out of memory for a value buffer of %d bytes", static_cast<int>(size));
}

// Clears the buffer from a byte on.
void clear(DATA& record, std::size_t from)
{
    if (record.buffer == nullptr) return;
    std::memset(static_cast<unsigned char*>(record.buffer) + from, 0,
                static_cast<std::size_t>(record.bufferSize) - from);
}

// Units of wide text that the buffer takes, less one that stays its terminator. bufferSize is 2 at least.
std::size_t wide_capacity(const DATA& record)
{
    return static_cast<std::size_t>(record.bufferSize) / sizeof(char16_t) - 1;
}

// Whether the buffer can take the string at all; it is cut to the buffer's size later.
bool has_room(Call& call, const DATA& record, jint id, jsize length)
{
    const bool refused =
        (is_wide(id) && record.bufferSize < 2 && length > 0) || (is_utf8(id) && record.bufferSize < 0);
    if (!refused) return true;
    return fail(call, "a value buffer of %d bytes has no room for a string of type %d",
                static_cast<int>(record.bufferSize), static_cast<int>(id));
}

// Copies the text up to its first zero unit. Returns the bytes that it takes.
std::size_t copy_wide(DATA& record, const char16_t* source, jsize length)
{
    const std::size_t limit = std::min(static_cast<std::size_t>(length), wide_capacity(record));
    return sizeof(char16_t) * text16::copy_text(static_cast<char16_t*>(record.buffer), source, limit);
}

// By the engine, into a cleared buffer: what it does not write stays zero, whatever it reports.
std::size_t convert(DATA& record, jint id, const char16_t* source, jsize length)
{
    clear(record, 0);
    std::int64_t output_length = 0;
    if (is_utf8(id)) {
        Cnv_Utf16ToUtf8(static_cast<char*>(record.buffer), record.bufferSize, source, length, &output_length);
    } else {
        Cnv_Utf16ToWide(source, length, static_cast<char16_t*>(record.buffer),
                        static_cast<std::int64_t>(wide_capacity(record)), &output_length);
    }
    return static_cast<std::size_t>(record.bufferSize);
}

// Puts the text into the buffer in the encoding of the data type, if it has one. Returns the bytes that must
// stay.
std::size_t put_text(DATA& record, jint id, const char16_t* source, jsize length)
{
    if (is_utf8(id)) return convert(record, id, source, length);
    if (!is_wide(id) || record.bufferSize < 2) return 0;
    return wide_conversion == 0 ? copy_wide(record, source, length) : convert(record, id, source, length);
}

bool put_string(Call& call, DATA& record, jint id, jstring string, std::size_t& put)
{
    const jsize length = call.env->GetStringLength(string);
    if (!has_room(call, record, id, length)) return false;
    const jchar* chars = call.env->GetStringChars(string, nullptr);
    if (chars == nullptr) return false;
    put = put_text(record, id, text::units(chars), length);
    call.env->ReleaseStringChars(string, chars);
    return true;
}

// Puts a String into the buffer: put is how many of its bytes must stay. Of any other object nothing is put.
bool put_source(Call& call, DATA& record, jint id, std::size_t& put)
{
    const jobject source = call.env->GetObjectField(call.self, cache.Field.source);
    record.isNull = source == nullptr;
    if (source == nullptr) return true;
    const bool done = !call.env->IsInstanceOf(source, cache.String.clazz) ||
                      put_string(call, record, id, static_cast<jstring>(source), put);
    call.env->DeleteLocalRef(source);
    return done;
}

// Whatever becomes of the value, nothing of an earlier one stays in the buffer.
bool put_value(Call& call, DATA& record, jint id)
{
    std::size_t put = 0;
    const bool done = put_source(call, record, id, put);
    clear(record, put);
    return done;
}

void refresh(Call& call)
{
    auto* record = record::bind<DATA>(call, cache.Field.pointer, "DATA");
    if (record == nullptr) return;
    trace::data(call.scope, 1772, trace::pointer("jPointer", record));
    const jint id = call.env->GetIntField(call.self, cache.Field.id);
    const jint size = call.env->GetIntField(call.self, cache.Field.sourceSize);
    trace::data(call.scope, 1778, trace::pointer("jPointer", record), trace::integer("jId", id),
                trace::integer("jSourceSize", size));
    if (!size_buffer(call, *record, size) || !put_value(call, *record, id)) return;
    record->auxBuffer = nullptr; // unfreed: the contract has it so
    record->errorCode = call.env->GetIntField(call.self, cache.Field.errorCode);
}

std::size_t whole_units(const DATA& record)
{
    return static_cast<std::size_t>(record.bufferSize) / sizeof(char16_t);
}

// Makes the buffer's last unit a terminator. Returns the units before the first one.
std::size_t terminate(DATA& record)
{
    const std::size_t units = whole_units(record);
    if (units == 0) return 0;
    auto* text = static_cast<char16_t*>(record.buffer);
    const std::size_t length = text16::length(text, units - 1); // a load behind the store would wait for it
    text[units - 1] = 0;
    return length;
}

bool give_text(Call& call, DATA& record, jint id)
{
    if (record.bufferSize < 0)
        return fail(call, "the record's buffer has the size %d", static_cast<int>(record.bufferSize));
    // Of the other wide types the whole buffer goes back, trailing zero units included.
    const std::size_t length = id == wide_text_type ? terminate(record) : whole_units(record);
    const auto* text = static_cast<const char16_t*>(record.buffer);
    if (wide_conversion == 0) return text::set_string(call.env, call.self, cache.Field.source, text, length);
    text::Buffer buffer;
    if (!text::acquire(call, buffer, length)) return false;
    std::int64_t output_length = 0;
    const auto units = static_cast<std::int64_t>(length);
    Cnv_WideToUtf16(text, units, buffer.units, units, &output_length);
    buffer.length = length; // the whole text, whatever the conversion reports
    return text::hand_over(call, buffer, cache.Field.source);
}

bool give_value(Call& call, DATA& record, jint id)
{
    if (record.isNull != 0) {
        call.env->SetObjectField(call.self, cache.Field.source, nullptr);
        return true;
    }
    // UTF-8 values go out but never come back: the Java side keeps what it sent.
    return record.buffer == nullptr || !is_wide(id) || give_text(call, record, id);
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
    // The reference goes when the native returns. The contract has it so.
    text::store_string(call.env, call.self, cache.Field.errorMessage, error_text, length);
}

void copy_back(Call& call)
{
    auto* record = record::of<DATA>(call.env, call.self, cache.Field.pointer);
    trace::data(call.scope, 1885, trace::pointer("jPointer", record));
    if (record == nullptr) return;
    const jint id = call.env->GetIntField(call.self, cache.Field.id); // the record holds no type
    call.env->SetIntField(call.self, cache.Field.errorCode, record->errorCode);
    if (give_value(call, *record, id) && record->errorCode != 0) give_error(call, record->errorCode);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Field_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "Field.toC", .exit_line = 1855};
    if (const std::int32_t status = trace::open(call.scope, block, trace::Field_toC)) return status;
    trace::entry(call.scope, 1759, trace::pointer("env", env));

    if (cache.Field.pointer != nullptr) refresh(call);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Field_toJava(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "Field.toJava", .exit_line = 1963};
    if (const std::int32_t status = trace::open(call.scope, block, trace::Field_toJava)) return status;
    trace::entry(call.scope, 1879, trace::pointer("env", env));

    if (cache.Field.pointer != nullptr) copy_back(call);

    return close(call);
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_Field_free(JNIEnv* env, jobject self)
{
    auto* record = record::to_free<DATA>(env, self, cache.Field.pointer);
    if (record == nullptr) return;
    std::free(record->buffer);
    std::free(record->auxBuffer);
    record::release(env, self, cache.Field.pointer, record);
}

} // extern "C"
