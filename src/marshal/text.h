#pragma once

// Java strings to the 16-bit text of a record, and a record's text back to Java.

#include "frame/call.h"

#include <cstddef>
#include <cstdint>
#include <jni.h>

namespace velk::text {

inline const char16_t* units(const jchar* chars)
{
    return reinterpret_cast<const char16_t*>(chars);
}

// Bytes of a record's text: length units and a terminator. 0 where its 32-bit size cannot count them.
std::int32_t wide_size(jsize length);

// Writes Java characters into a zeroed text of length units and a terminator, by the wide-conversion flag.
void to_wide(char16_t* text, const jchar* chars, jsize length);

// A record's text, which is one of the two. Both pointers null: empty.
struct Source {
    const char16_t* wide = nullptr;
    const char* utf8 = nullptr;
    std::size_t units = 0; // 16-bit units of wide, or bytes of utf8
};

// The text of a record that gives its size in bytes. A missing text or a negative size reads as empty.
Source wide_source(const char16_t* text, std::int32_t bytes);
Source utf8_source(const char* text, std::int32_t bytes);

// A temporary text: on the stack up to 512 bytes, else from malloc.
struct Buffer {
    char16_t* units;
    std::size_t capacity; // units, without the terminator
    std::size_t length;   // units of the text
    char16_t stack[256];
};

enum class Memory { stack_or_heap, heap };

// Takes zeroed room for the units and a terminator. False after throwing: nothing is held then.
bool acquire(Call& call, Buffer& buffer, std::size_t units, Memory memory = Memory::stack_or_heap);

// Acquires the buffer and converts the text into it. False after throwing: nothing is held then.
bool read(Call& call, const Source& source, Buffer& buffer, Memory memory = Memory::stack_or_heap);

// The buffer's text up to its first zero unit, for a data record; not measured where none is wanted. A
// conversion that fills the buffer leaves it no terminator.
trace::Item traced(const Call& call, const char* label, const Buffer& buffer);

// Makes a Java string of the buffer's text, stores it in the object's field and lets go of the buffer. False
// with a Java exception pending.
bool hand_over(Call& call, Buffer& buffer, jfieldID field);

// Makes a Java string and stores it in the object's field. Returns the local reference, or null with a Java
// exception pending.
jstring store_string(JNIEnv* env, jobject object, jfieldID field, const char16_t* units, std::size_t length);

// The same, the reference deleted. False with a Java exception pending.
bool set_string(JNIEnv* env, jobject object, jfieldID field, const char16_t* units, std::size_t length);

} // namespace velk::text
