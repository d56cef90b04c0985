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

constexpr std::int32_t service_id_capacity = 10; // bytes, as the parser's side is told

// The masking string as UTF-8, zero-terminated: on the stack up to 512 bytes, else from malloc.
struct MaskingString {
    char* utf8; // null: there is no string
    char stack[512];
};

void release(const MaskingString& text)
{
    if (text.utf8 != text.stack) std::free(text.utf8);
}

void trace_masking_string(const Call& call, const char* utf8)
{
    if (trace::wants_data(call.scope))
        trace::data(call.scope, 327, {trace::narrow("velkMaskingString", utf8)});
}

// A missing string is left to the driver to refuse. False with an exception pending: nothing is held then.
bool read_masking_string(Call& call, jstring string, MaskingString& text)
{
    text.utf8 = nullptr;
    if (string == nullptr) {
        trace_masking_string(call, nullptr);
        return true;
    }
    const jsize length = call.env->GetStringLength(string);
    const std::size_t capacity = 4 * static_cast<std::size_t>(length);
    text.utf8 = capacity + 1 > sizeof text.stack ? static_cast<char*>(std::malloc(capacity + 1)) : text.stack;
    if (text.utf8 == nullptr) {
        trace::return_code(call.scope, call.exit_line, -1);
        ThrowVELKException(call.env, "parseVELKSyntaxString malloc failed", -1);
        return false;
    }
    std::memset(text.utf8, 0, capacity + 1);
    const jchar* chars = call.env->GetStringChars(string, nullptr);
    if (chars == nullptr) {
        release(text);
        return false;
    }
    std::int64_t output_length = 0;
    Cnv_Utf16ToUtf8(text.utf8, static_cast<std::int64_t>(capacity), text::units(chars), length,
                    &output_length);
    trace_masking_string(call, text.utf8);
    call.env->ReleaseStringChars(string, chars);
    return true;
}

// The engine's adapter fills it; until then it has a header and nothing else.
SVCA* new_service_record()
{
    auto* record = static_cast<SVCA*>(record::allocate(sizeof(SVCA)));
    if (record != nullptr) record::set_header(record, {"SVCA", 0, sizeof(SVCA)});
    return record;
}

// Hangs the record on the object in place of its former one, and sets the service id. Of the former record
// only the block itself is freed: its lists belong to the objects that mirror them.
void adopt(Call& call, jobject target, SVCA* record, const char* service_id)
{
    std::free(record::address(call.env, target, cache.ServiceDefinition.pointer));
    call.env->SetLongField(target, cache.ServiceDefinition.pointer,
                           static_cast<jlong>(reinterpret_cast<std::intptr_t>(record)));
    const auto bytes = static_cast<std::int64_t>(std::strlen(service_id));
    char16_t units[service_id_capacity + 1] = {};
    std::int64_t output_length = 0;
    Cnv_Utf8ToUtf16(units, bytes, service_id, bytes, &output_length);
    // As many units as the id has bytes, whatever the conversion reports: an id is ASCII.
    const jstring string =
        call.env->NewString(reinterpret_cast<const jchar*>(units), static_cast<jsize>(bytes));
    if (string == nullptr) return;
    call.env->SetObjectField(target, cache.ServiceDefinition.serviceId, string);
    call.env->DeleteLocalRef(string);
}

// Releases the text as soon as the driver is done with it.
void parse_into(Call& call, const MaskingString& text, jobject target)
{
    const std::size_t bytes = text.utf8 == nullptr ? 0 : std::strlen(text.utf8);
    if (bytes > INT32_MAX) {
        release(text);
        fail(call, "the masking string is too long");
        return;
    }
    SVCA* record = new_service_record();
    char service_id[service_id_capacity + 1] = {};
    const std::int32_t status = parse_parameters({text.utf8, static_cast<std::int32_t>(bytes), code_page_utf8,
                                                  dbms_type_none, record, service_id, service_id_capacity});
    release(text);
    if (status == 0) {
        // Only here: a wrong string is told of whatever the target. The record is neither stored nor freed.
        if (target == nullptr)
            fail(call, "the service definition is null");
        else
            adopt(call, target, record, service_id);
        return;
    }
    // The record stays allocated: after a failed build the adapter may still hold it.
    const char* message = error_message();
    trace::return_code(call.scope, 351, status);
    ThrowVELKException(call.env, message, status);
}

void parse(Call& call, jstring masking_string, jobject target)
{
    MaskingString text;
    if (read_masking_string(call, masking_string, text)) parse_into(call, text, target);
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

    void* record =
        definition == nullptr ? nullptr : record::address(env, definition, cache.FrameworkDefinition.pointer);
    if (const std::int32_t status = Provider_FrmwInit(static_cast<FRPA*>(record)))
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
    Call call{env, self, "VELK.parseVELKSyntaxString", 382, 0, {}};
    if (const std::int32_t status = trace::open(call.scope, block, trace::VELK_parseVELKSyntaxString))
        return status;
    trace::entry(call.scope, 305, trace::pointer("env", env));

    if (cache.ServiceDefinition.pointer != nullptr) parse(call, masking_string, target);

    close(call);
    return 0;
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_VELK_terminateFramework0(JNIEnv* env, jobject)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::VELK_terminateFramework0)) return status;
    if (trace::wants(scope, trace_mask_entry)) {
        trace::entry(scope, 437,
                     {trace::pointer("env", env),
                      trace::narrow("msg", "No STD Exit because VELK framework will be gone at exit time")});
    }

    // The scope is never closed, nor an exit reported: the trace facility ends with the framework.
    const std::int32_t status = Provider_FrmwTerm();
    if (status == 0) return 0;
    trace::return_code(scope, 447, status);
    return ThrowVELKException(env, "Provider_FrmwTerm failed", status);
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
