#pragma once

// The native record of a mirror object: its address stands in the object's long field `pointer`, 0 while
// there is none. The object owns the record; records chained from it belong to their own objects.

#include "frame/call.h"
#include "frame/header.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <jni.h>

namespace velk::record {

// Zeroed memory, or null. Release it with free.
inline void* allocate(std::size_t bytes)
{
    void* memory = std::malloc(bytes);
    if (memory != nullptr) std::memset(memory, 0, bytes);
    return memory;
}

// A record with nothing but its header, or null. Release it with free.
template <class Record> Record* make(const char (&eye_catcher)[5])
{
    auto* record = static_cast<Record*>(std::malloc(sizeof(Record)));
    if (record == nullptr) return nullptr;
    *record = {}; // not memset: a compiler makes one calloc of malloc and that, which takes longer
    set_header(*record, eye_catcher);
    return record;
}

// The object's record, or null.
template <class Record> Record* of(JNIEnv* env, jobject object, jfieldID pointer)
{
    return reinterpret_cast<Record*>(static_cast<std::intptr_t>(env->GetLongField(object, pointer)));
}

// Makes a record, or null, the object's. The former one is not freed.
inline void set(JNIEnv* env, jobject object, jfieldID pointer, const void* record)
{
    env->SetLongField(object, pointer, static_cast<jlong>(reinterpret_cast<std::intptr_t>(record)));
}

// The object's record, made on first use and kept as it stands later. Null after throwing.
template <class Record> Record* bind(Call& call, jfieldID pointer, const char (&eye_catcher)[5])
{
    if (auto* bound = of<Record>(call.env, call.self, pointer)) return bound;
    auto* record = make<Record>(eye_catcher);
    if (record == nullptr)
        fail(call, "out of memory for the %s record", eye_catcher);
    else
        set(call.env, call.self, pointer, record);
    return record;
}

// What a free native releases: the object's record; null where there is none or the cache is not filled.
template <class Record> Record* to_free(JNIEnv* env, jobject object, jfieldID pointer)
{
    return pointer == nullptr ? nullptr : of<Record>(env, object, pointer);
}

// Frees the record and sets the object's pointer to 0. Null: nothing.
inline void release(JNIEnv* env, jobject object, jfieldID pointer, void* record)
{
    if (record == nullptr) return;
    std::free(record);
    set(env, object, pointer, nullptr);
}

// The free native of a class whose record owns nothing else.
inline void release(JNIEnv* env, jobject object, jfieldID pointer)
{
    release(env, object, pointer, to_free<void>(env, object, pointer));
}

} // namespace velk::record
