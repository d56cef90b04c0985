#pragma once

// Turning failures into what Java sees: a thrown VELKException. After a throw the native leaves at once.

#include "frame/trace.h"
#include "records/requests.h"

#include <cstddef>
#include <cstdint>
#include <jni.h>

namespace velk {

// The latest error text of the process: of the engine or the parser. It keeps its text until the next
// one is composed, is empty at load, and is shared by all threads unguarded. Zero-terminated. Three full
// texts with their separators and the terminator take 3,189 units.
inline constexpr std::size_t error_text_capacity = 3192; // units
extern char16_t error_text[error_text_capacity];

// Throws VELKException(message, code). message is zero-terminated UTF-8, handed to Java byte for byte.
// Returns the result of the JNI Throw, 0 when the exception is pending. Where Java cannot make the message's
// string, the exception has none; where it cannot make the exception, its own is left to surface and the
// result is 0.
jint ThrowVELKException(JNIEnv* env, const char* message, std::int32_t code);

// What is thrown where the class cache is not filled, for lack of a VELKException: IllegalStateException
// ("VELK.init0 has not run: <what> (<code>)"), or "has failed" where it did. Returns as above.
jint throw_cache_not_filled(JNIEnv* env, const char* what, std::int32_t code);

// How a native fails: reports the code at its trace line, then throws it. Returns as ThrowVELKException.
jint report_and_throw(JNIEnv* env, const trace::Scope& scope, std::uint32_t line, const char* message,
                      std::int32_t code);

// Composes the engine's three-part text of an error code in error_text. Returns error_text; null, with
// error_text unchanged, where the engine has no text; or, widened to a pointer, the trace facility's
// status where no scope could be opened: so a caller takes the result for text only if it is error_text.
const char16_t* GetErrorText(std::uint32_t code);

// A request for the three texts of an error, with the buffers that take them. Each has one unit more than
// the engine is told, so that a text that fills its capacity still ends. Not to be moved: its records point
// at its other members.
struct MessageRequest {
    EMSG request;
    MessageBuffers buffers;
    char16_t text1[message_capacity1 / sizeof(char16_t) + 1];
    char16_t text2[message_capacity2 / sizeof(char16_t) + 1];
    char16_t text3[message_capacity3 / sizeof(char16_t) + 1];
};

// Makes the request ready, its buffers empty.
void prepare(MessageRequest& message, std::uint32_t code);

// Composes error_text from the three texts, after it has cut the second one at the parser's mark for an
// unknown token.
void compose_error_text(MessageRequest& message);

// Converts error_text to UTF-8. The result is the process's one message buffer.
const char* error_message();

// Reports an engine failure at its trace line and throws it with the engine's text for it.
jint throw_engine_failure(JNIEnv* env, const trace::Scope& scope, std::uint32_t line, std::int32_t status);

} // namespace velk
