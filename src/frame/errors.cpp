#include "frame/errors.h"

#include "engine/datacnv.h"
#include "engine/provider.h"
#include "frame/class_cache.h"
#include "frame/flags.h"
#include "frame/header.h"
#include "frame/text16.h"

#include <cstdio>
#include <cstring>

namespace velk {

char16_t error_text[error_text_capacity];

namespace {

constexpr std::size_t message_capacity = 3184; // bytes

// One byte more than the conversion is told, so that a text that fills the capacity still ends.
char message_utf8[message_capacity + 1];

// Three full texts with their separators and the terminator fit error_text.
static_assert(sizeof(MessageRequest::text1) + sizeof(MessageRequest::text2) + sizeof(MessageRequest::text3) +
                  3 * sizeof(char16_t) <=
              sizeof error_text);

const char16_t* request_text(std::uint32_t code)
{
    MessageRequest message;
    prepare(message, code);
    if (Provider_GetErrorMessage(&message.request) != 0) return nullptr;
    compose_error_text(message);
    return error_text;
}

} // namespace

// A class that every Java has, instead of a null class and constructor, which would end the JVM.
jint throw_cache_not_filled(JNIEnv* env, const char* what, std::int32_t code)
{
    char reason[256];
    std::snprintf(reason, sizeof reason, "VELK.init0 has %s: %s (%d)", cache.failed ? "failed" : "not run",
                  what, static_cast<int>(code));
    const jclass clazz = env->FindClass("java/lang/IllegalStateException");
    return clazz == nullptr ? 0 : env->ThrowNew(clazz, reason);
}

jint ThrowVELKException(JNIEnv* env, const char* text, std::int32_t code)
{
    if (cache.VELKException.init == nullptr) return throw_cache_not_filled(env, text, code);
    // A string that cannot be made goes on as null: Java then sees the code without a text, which tells more
    // than an OutOfMemoryError.
    const jstring string = env->NewStringUTF(text);
    const auto exception = static_cast<jthrowable>(
        env->NewObject(cache.VELKException.clazz, cache.VELKException.init, string, static_cast<jint>(code)));
    env->DeleteLocalRef(string);
    // Throw(null) ends the virtual machine.
    return exception == nullptr ? 0 : env->Throw(exception);
}

jint report_and_throw(JNIEnv* env, const trace::Scope& scope, std::uint32_t line, const char* message,
                      std::int32_t code)
{
    trace::return_code(scope, line, code);
    return ThrowVELKException(env, message, code);
}

void prepare(MessageRequest& message, std::uint32_t code)
{
    message = {};
    set_header(message.request, "EMSG");
    message.request.errorCode = code;
    message.request.textEncoding = wide_message;
    message.request.buffers = &message.buffers;
    message.buffers.capacity1 = message_capacity1;
    message.buffers.capacity2 = message_capacity2;
    message.buffers.capacity3 = message_capacity3;
    message.buffers.text1 = message.text1;
    message.buffers.text2 = message.text2;
    message.buffers.text3 = message.text3;
}

void compose_error_text(MessageRequest& message)
{
    if (char16_t* mark = text16::find(message.text2, u" Input [UNKNOWN TOKEN]")) *mark = 0;
    error_text[0] = 0;
    text16::append(error_text, message.text1);
    text16::append(error_text, u":\n");
    text16::append(error_text, message.text2);
    text16::append(error_text, u"\n");
    text16::append(error_text, message.text3);
}

const char16_t* GetErrorText(std::uint32_t code)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::GetErrorText))
        return reinterpret_cast<const char16_t*>(static_cast<std::intptr_t>(status));
    trace::entry(scope, 1980, trace::integer("errCode", static_cast<std::int32_t>(code)));

    const char16_t* text = request_text(code);

    trace::message(scope, 2016,
                   text == nullptr ? trace::narrow("msg", "Could not get error message")
                                   : trace::wide("retmsg", text));
    trace::close(scope, 2025);
    return text;
}

const char* error_message()
{
    std::memset(message_utf8, 0, sizeof message_utf8);
    const auto convert = wide_conversion != 0 ? Cnv_WideToUtf8 : Cnv_Utf16ToUtf8;
    convert(message_utf8, message_capacity, error_text, static_cast<std::int64_t>(text16::length(error_text)),
            nullptr);
    return message_utf8;
}

jint throw_engine_failure(JNIEnv* env, const trace::Scope& scope, std::uint32_t line, std::int32_t status)
{
    // error_text is thrown as it stands: where the engine has no text for the status, that of the failure
    // before it goes along with the code. The contract has it so.
    GetErrorText(static_cast<std::uint32_t>(status));
    return report_and_throw(env, scope, line, error_message(), status);
}

} // namespace velk
