#pragma once

// The native record of a mirror object: its address stands in the object's long field `pointer`, 0 while
// there is none. The object owns the record; records chained from it belong to their own objects.

#include "frame/call.h"

#include <cstddef>
#include <jni.h>

namespace velk::record {

struct Layout {
    const char* eyeCatcher;
    std::size_t header; // bytes before the eye-catcher: 8 in a link of a chain, else 0
    std::size_t size;   // bytes
};

// Zeroed memory, or null. Release it with free.
void* allocate(std::size_t bytes);

// Writes the eye-catcher, the version and the size.
void set_header(void* record, const Layout& layout);

// The object's record, or null.
void* address(JNIEnv* env, jobject object, jfieldID pointer);

// The object's record, made on first use and kept as it stands later. Null after throwing.
void* bind(Call& call, jfieldID pointer, const Layout& layout);

// Frees the record and sets the object's pointer to 0.
void release(JNIEnv* env, jobject object, jfieldID pointer, void* record);

// The free native of a class whose record owns nothing else.
void release(JNIEnv* env, jobject object, jfieldID pointer);

} // namespace velk::record
