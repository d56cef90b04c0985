#include "plain_field.h"

#include "engine/provider.h"
#include "frame/class_cache.h"
#include "records/rowdata.h"

#include <cstring>

namespace velk::bench {

namespace {

std::int32_t open(TraceContext& context, TraceBlock& block, std::uint32_t function)
{
    context = {};
    if (block.state != trace_block_registered) Provider_TraceRegister(function, &block, 0);
    context.function = function;
    return Provider_TraceBegin(&context, &block);
}

DATA* record_of(JNIEnv* env, jobject self)
{
    return reinterpret_cast<DATA*>(static_cast<std::intptr_t>(env->GetLongField(self, cache.Field.pointer)));
}

std::size_t units_of(const DATA* record)
{
    return static_cast<std::size_t>(record->bufferSize) / sizeof(char16_t);
}

void put_text(const DATA* record, const jchar* source, jsize length)
{
    auto* text = static_cast<jchar*>(record->buffer);
    const std::size_t limit = units_of(record) - 1;
    for (std::size_t i = 0; i < static_cast<std::size_t>(length) && i < limit && source[i] != 0; ++i)
        text[i] = source[i];
}

void put_value(JNIEnv* env, jobject self, DATA* record)
{
    const jobject source = env->GetObjectField(self, cache.Field.source);
    record->isNull = source == nullptr;
    if (source == nullptr) return;
    if (env->IsInstanceOf(source, cache.String.clazz)) {
        const auto string = static_cast<jstring>(source);
        const jsize length = env->GetStringLength(string);
        const jchar* chars = env->GetStringChars(string, nullptr);
        put_text(record, chars, length);
        env->ReleaseStringChars(string, chars);
    }
    env->DeleteLocalRef(source);
}

} // namespace

std::size_t plain_length(const char16_t* text, std::size_t limit)
{
    std::size_t units = 0;
    while (units < limit && text[units] != 0) ++units;
    return units;
}

jint plain_toC(JNIEnv* env, jobject self)
{
    static TraceBlock block;
    TraceContext context;
    if (const std::int32_t status = open(context, block, 0xC081A)) return status;
    DATA* record = record_of(env, self);
    const jint id = env->GetIntField(self, cache.Field.id);
    const jint size = env->GetIntField(self, cache.Field.sourceSize);
    if (id != wide_text_type || record->bufferSize < size) return -1; // not the case that is measured
    std::memset(record->buffer, 0, static_cast<std::size_t>(record->bufferSize));
    put_value(env, self, record);
    record->auxBuffer = nullptr;
    record->errorCode = env->GetIntField(self, cache.Field.errorCode);
    Provider_TraceEnd(&context);
    return 0;
}

jint plain_toJava(JNIEnv* env, jobject self)
{
    static TraceBlock block;
    TraceContext context;
    if (const std::int32_t status = open(context, block, 0xC081B)) return status;
    const DATA* record = record_of(env, self);
    const jint id = env->GetIntField(self, cache.Field.id);
    if (id != wide_text_type || record->isNull != 0) return -1; // not the case that is measured
    env->SetIntField(self, cache.Field.errorCode, record->errorCode);
    auto* text = static_cast<char16_t*>(record->buffer);
    const std::size_t units = units_of(record);
    text[units - 1] = 0;
    const std::size_t length = plain_length(text, units);
    const jstring string = env->NewString(reinterpret_cast<const jchar*>(text), static_cast<jsize>(length));
    env->SetObjectField(self, cache.Field.source, string);
    env->DeleteLocalRef(string);
    Provider_TraceEnd(&context);
    return 0;
}

} // namespace velk::bench
