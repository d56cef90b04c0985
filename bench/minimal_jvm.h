#pragma once

// A JVM that costs next to nothing: one Field object with a String, and the JNI functions that its natives
// call. Strings lend their own characters, and NewString only remembers what it was given.

#include <jni.h>
#include <string>

namespace velk::bench {

struct String {
    const char16_t* units;
    jsize length;
};

struct Field {
    jlong pointer = 0;
    jint id = 0, sourceSize = 0, errorCode = 0;
    String* source = nullptr;
};

inline jobject object(Field& field)
{
    return reinterpret_cast<jobject>(&field);
}

JNIEnv* env();

// The text that NewString was given last.
std::u16string last_string();

} // namespace velk::bench
