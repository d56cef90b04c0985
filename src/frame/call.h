#pragma once

// One call of a traced native, from its trace scope to its result.

#include "frame/printf_like.h"
#include "frame/trace.h"

#include <cstdint>
#include <jni.h>

namespace velk {

struct Call {
    JNIEnv* env;
    jobject self;
    const char* native;      // "<Class>.<native>", for messages
    std::uint32_t exit_line; // trace line of the native's exit
    jint result = 0;         // what the native returns: its value, or what a failed Throw returned
    trace::Scope scope{};
};

// The exit step of a native that reported its failures already. Returns what the native returns.
inline jint close(Call& call)
{
    trace::close(call.scope, call.exit_line);
    return call.result;
}

// Stops a native that cannot go on: reports -1 at its exit line and throws VELKException("<native>:
// <what is wrong>", -1), what is wrong given as for printf. Returns false.
VELK_PRINTF_LIKE(2, 3) bool fail(Call& call, const char* format, ...);

} // namespace velk
