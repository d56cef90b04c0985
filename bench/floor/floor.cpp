// The natives of a field that make the calls of JNI which the bridge's make for a text of type 6, in the same
// order, and take and free the memory of a record and its buffer: what a value costs at least.

#include "frame/class_cache.h"
#include "records/rowdata.h"

#include <cstdint>
#include <cstdlib>
#include <jni.h>
#include <string>

using namespace velk;

namespace {

std::basic_string<jchar> text; // that every value comes back as

DATA* record_of(JNIEnv* env, jobject self)
{
    return reinterpret_cast<DATA*>(static_cast<std::intptr_t>(env->GetLongField(self, cache.Field.pointer)));
}

void set_record(JNIEnv* env, jobject self, const DATA* record)
{
    env->SetLongField(self, cache.Field.pointer, static_cast<jlong>(reinterpret_cast<std::intptr_t>(record)));
}

DATA* make_record(JNIEnv* env, jobject self)
{
    auto* record = static_cast<DATA*>(std::malloc(sizeof(DATA)));
    record->buffer = nullptr;
    set_record(env, self, record);
    return record;
}

} // namespace

extern "C" {

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_Floor_setText(JNIEnv* env, jclass, jstring string)
{
    text.resize(static_cast<std::size_t>(env->GetStringLength(string)));
    env->GetStringRegion(string, 0, static_cast<jsize>(text.size()), text.data());
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Field_floorToC(JNIEnv* env, jobject self)
{
    DATA* record = record_of(env, self);
    if (record == nullptr) record = make_record(env, self);
    jint sum = env->GetIntField(self, cache.Field.id);
    const auto size = static_cast<std::size_t>(env->GetIntField(self, cache.Field.sourceSize));
    if (record->buffer == nullptr) record->buffer = std::malloc(size);
    const auto source = static_cast<jstring>(env->GetObjectField(self, cache.Field.source));
    if (env->IsInstanceOf(source, cache.String.clazz)) {
        sum += env->GetStringLength(source);
        env->ReleaseStringChars(source, env->GetStringChars(source, nullptr));
    }
    env->DeleteLocalRef(source);
    return sum + env->GetIntField(self, cache.Field.errorCode);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Field_floorToJava(JNIEnv* env, jobject self)
{
    if (record_of(env, self) == nullptr) return 0;
    const jint id = env->GetIntField(self, cache.Field.id);
    env->SetIntField(self, cache.Field.errorCode, 0);
    const jstring string = env->NewString(text.data(), static_cast<jsize>(text.size()));
    env->SetObjectField(self, cache.Field.source, string);
    env->DeleteLocalRef(string);
    return id;
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_Field_floorFree(JNIEnv* env, jobject self)
{
    DATA* record = record_of(env, self);
    if (record == nullptr) return;
    std::free(record->buffer);
    std::free(record);
    set_record(env, self, nullptr);
}

} // extern "C"
