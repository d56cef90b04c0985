#pragma once

// What Field.toC and Field.toJava do for a text of type 6, with the same calls of JNI and of the trace
// facility, written in the straightforward way: the whole buffer is cleared, then text is copied and
// measured unit by unit.

#include <cstddef>
#include <jni.h>

namespace velk::bench {

jint plain_toC(JNIEnv* env, jobject self);
jint plain_toJava(JNIEnv* env, jobject self);
std::size_t plain_length(const char16_t* text, std::size_t limit);

} // namespace velk::bench
