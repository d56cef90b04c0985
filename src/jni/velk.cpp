// com.brel.sorn.velk.VELK: start-up, the framework's life, and services from masking strings.

#include "engine/datacnv.h"
#include "engine/provider.h"
#include "frame/call.h"
#include "frame/class_cache.h"
#include "frame/errors.h"
#include "frame/flags.h"
#include "frame/trace.h"
#include "marshal/record.h"
#include "marshal/text.h"
#include "parse/parameter_parse.h"

#include <cstdlib>
#include <cstring>
#include <jni.h>

using namespace velk;

namespace {

constexpr std::int32_t service_id_capacity = 10; // bytes, as the driver is told

// The masking string as UTF-8, zero-terminated: on the stack up to 512 bytes, else from malloc.
struct MaskingString {
    char* utf8 = nullptr; // null: there is no string
    std::int32_t bytes = 0;
    char stack[512];
};

void release(const MaskingString& text)
{
    if (text.utf8 != text.stack) std::free(text.utf8);
}

void trace_masking_string(const Call& call, const char* utf8)
{
    trace::data(call.scope, 327, trace::narrow("velkMaskingString", utf8));
}

// Converts the string into the text's room of capacity bytes and a terminator. False after throwing, or with
// a Java exception pending.
bool convert(Call& call, jstring string, jsize length, std::size_t capacity, MaskingString& text)
{
    std::memset(text.utf8, 0, capacity + 1);
    const jchar* chars = call.env->GetStringChars(string, nullptr);
    if (chars == nullptr) return false;
    std::int64_t output_length = 0;
    Cnv_Utf16ToUtf8(text.utf8, static_cast<std::int64_t>(capacity), text::units(chars), length,
                    &output_length);
    trace_masking_string(call, text.utf8);
    call.env->ReleaseStringChars(string, chars);
    const std::size_t bytes = std::strlen(text.utf8);
    if (bytes > INT32_MAX) return fail(call, "the masking string is too long");
    text.bytes = static_cast<std::int32_t>(bytes);
    return true;
}

// A missing string is left to the driver to refuse. False with an exception pending: nothing is held then.
bool read_masking_string(Call& call, jstring string, MaskingString& text)
{
    if (string == nullptr) {
        trace_masking_string(call, nullptr);
        return true;
    }
    const jsize length = call.env->GetStringLength(string);
    const std::size_t capacity = 4 * static_cast<std::size_t>(length);
    text.utf8 = capacity + 1 > sizeof text.stack ? static_cast<char*>(std::malloc(capacity + 1)) : text.stack;
    if (text.utf8 == nullptr) {
        report_and_throw(call.env, call.scope, call.exit_line, "parseVELKSyntaxString malloc failed", -1);
        return false;
    }
    if (convert(call, string, length, capacity, text)) return true;
    release(text);
    return false;
}

// What the driver makes of a masking string.
struct Service {
    SVCA* record; // until the engine's adapter fills it, it has a header and nothing else
    char id[service_id_capacity + 1];
};

std::int32_t drive(const MaskingString& text, Service& service)
{
    service = {.record = record::make<SVCA>("SVCA"), .id = {}};
    return parse_parameters({.pParamString = text.utf8,
                             .iParmStrBytes = text.bytes,
                             .iCodePage = code_page_utf8,
                             .cDBMSType = dbms_type,
                             .pSvcDef = service.record,
                             .pSvcId = service.id,
                             .iSvcIdBytes = service_id_capacity});
}

// Hangs the record on the object in place of its former one, and sets the service id. Of the former record
// only the block itself is freed: its lists belong to the objects that mirror them.
void adopt(JNIEnv* env, jobject target, const Service& service)
{
    std::free(record::of<SVCA>(env, target, cache.ServiceDefinition.pointer));
    record::set(env, target, cache.ServiceDefinition.pointer, service.record);
    const std::size_t bytes = std::strlen(service.id);
    const auto capacity = static_cast<std::int64_t>(bytes);
    char16_t units[service_id_capacity + 1] = {};
    std::int64_t output_length = 0;
    Cnv_Utf8ToUtf16(units, capacity, service.id, capacity, &output_length);
    // As many units as the id has bytes, whatever the conversion reports. The contract has it so.
    text::set_string(env, target, cache.ServiceDefinition.serviceId, units, bytes);
}

// On every failure the driver's record is neither stored nor freed. The contract has it so.
void parse(Call& call, jstring masking_string, jobject target)
{
    MaskingString text;
    if (!read_masking_string(call, masking_string, text)) return;
    Service service;
    const std::int32_t status = drive(text, service);
    release(text);
    if (status != 0)
        report_and_throw(call.env, call.scope, 351, error_message(), status);
    else if (target == nullptr) // only here: a wrong string is told of whatever the target
        fail(call, "the service definition is null");
    else
        adopt(call.env, target, service);
}

} // namespace

extern "C" {

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_VELK_init0(JNIEnv* env, jobject self)
{
    // No trace: the facility comes up with the framework.
    if (class_cache::fill(env)) debug = env->GetBooleanField(self, cache.VELK.debug);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_VELK_initializeFramework0(JNIEnv* env, jobject,
                                                                         jobject definition)
{
    static trace::Block block;
    trace::Scope scope;
    if (definition != nullptr && cache.FrameworkDefinition.pointer == nullptr)
        return throw_cache_not_filled(env, "VELK.initializeFramework0", -1);

    auto* record = definition == nullptr
                       ? nullptr
                       : record::of<FRPA>(env, definition, cache.FrameworkDefinition.pointer);
    if (const std::int32_t status = Provider_FrmwInit(record))
        return ThrowVELKException(env, "Provider_FrmwInit failed", status);

    // The trace facility exists from here on only.
    if (const std::int32_t status = trace::open(scope, block, trace::VELK_initializeFramework0))
        return status;
    trace::entry(scope, 418);
    trace::close(scope, 421);
    return 0;
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_VELK_parseVELKSyntaxString(JNIEnv* env, jobject self,
                                                                          jstring masking_string,
                                                                          jobject target)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "VELK.parseVELKSyntaxString", .exit_line = 382};
    if (const std::int32_t status = trace::open(call.scope, block, trace::VELK_parseVELKSyntaxString))
        return status;
    trace::entry(call.scope, 305, trace::pointer("env", env));

    if (cache.ServiceDefinition.pointer != nullptr) parse(call, masking_string, target);

    trace::close(call.scope, call.exit_line);
    return 0; // after a failure too, whatever Throw returned: the contract has it so
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_VELK_terminateFramework0(JNIEnv* env, jobject)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::VELK_terminateFramework0)) return status;
    trace::entry(scope, 437, trace::pointer("env", env),
                 trace::narrow("msg", "No STD Exit because VELK framework will be gone at exit time"));

    // The scope is never closed, nor an exit reported: the trace facility ends with the framework.
    const std::int32_t status = Provider_FrmwTerm();
    return status == 0 ? 0 : report_and_throw(env, scope, 447, "Provider_FrmwTerm failed", status);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_VELK_destroy0(JNIEnv* env, jobject)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::VELK_destroy0)) return status;
    trace::entry(scope, 466, trace::pointer("env", env));

    class_cache::release(env);

    trace::close(scope, 483);
    return 0;
}

} // extern "C"
