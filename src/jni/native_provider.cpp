// com.brel.sorn.velk.NativeProvider: a masking provider, from its start over its row sets to its end.

#include "engine/datacnv.h"
#include "engine/provider.h"
#include "frame/call.h"
#include "frame/class_cache.h"
#include "frame/errors.h"
#include "marshal/record.h"
#include "marshal/text.h"

#include <jni.h>

using namespace velk;

namespace {

struct ServiceId {
    jsize units;        // 16-bit units of the Java string
    char utf8[256 + 1]; // zero-terminated, even where the text fills the 256 bytes
};

template <class Record> Record* record_of(JNIEnv* env, jobject object, jfieldID pointer)
{
    return object == nullptr ? nullptr : record::of<Record>(env, object, pointer);
}

bool read_service_id(Call& call, jstring string, ServiceId& id)
{
    if (string == nullptr) return fail(call, "serviceId is null");
    id = {call.env->GetStringLength(string), {}};
    const jchar* chars = call.env->GetStringChars(string, nullptr);
    if (chars == nullptr) return false;
    std::int64_t output_length = 0;
    Cnv_Utf16ToUtf8(id.utf8, 256, text::units(chars), id.units, &output_length);
    call.env->ReleaseStringChars(string, chars);
    return true;
}

// The new provider's handle, or 0.
std::int32_t start_provider(Call& call, jstring service_id, jobject service, jboolean flag)
{
    ServiceId id;
    if (!read_service_id(call, service_id, id)) return 0;
    auto* record = record_of<SVCA>(call.env, service, cache.ServiceDefinition.pointer);
    trace::data(call.scope, 523, trace::integer("jServiceIdLength", id.units),
                trace::narrow("serviceId", id.utf8), trace::pointer("jServiceDefinitionPointer", record));

    // The length is that of the Java string, not the number of UTF-8 bytes: the engine expects it so.
    std::int32_t handle = 0;
    const std::int32_t status = Provider_Init(&handle, id.utf8, id.units, record, flag);
    if (status == 0) return handle;
    throw_engine_failure(call.env, call.scope, 541, status);
    return 0;
}

void mask_rows(JNIEnv* env, const trace::Scope& scope, jint handle, jobject service, jobject row_set)
{
    auto* service_record = record_of<SVCA>(env, service, cache.ServiceDefinition.pointer);
    auto* rows = record_of<RWST>(env, row_set, cache.RowSet.pointer);
    if (rows == nullptr) {
        report_and_throw(env, scope, 584, "pDpRowSetDef is NULL", -1);
        return;
    }
    if (rows->firstRow == nullptr) {
        report_and_throw(env, scope, 593, "pDpRowDefine is NULL", -1);
        return;
    }
    for (ROWD* row = rows->firstRow; row != nullptr; row = row->next) row->reserved16 = 0;

    const std::int32_t status = Provider_Service(handle, provider_service_request, service_record, rows);
    if (status != 0) throw_engine_failure(env, scope, 613, status);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_NativeProvider_initializeProvider0(JNIEnv* env, jobject self,
                                                                                  jstring service_id,
                                                                                  jobject service,
                                                                                  jboolean flag)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "NativeProvider.initializeProvider0", .exit_line = 547};
    if (const std::int32_t status = trace::open(call.scope, block, trace::NativeProvider_initializeProvider0))
        return status;
    trace::entry(call.scope, 507, trace::pointer("env", env));

    if (cache.ServiceDefinition.pointer != nullptr)
        call.result = start_provider(call, service_id, service, flag);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_NativeProvider_serviceProvider0(JNIEnv* env, jobject,
                                                                               jint handle, jobject service,
                                                                               jobject row_set)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::NativeProvider_serviceProvider0))
        return status;
    trace::entry(scope, 570, trace::pointer("env", env));

    if (cache.ServiceDefinition.pointer != nullptr) mask_rows(env, scope, handle, service, row_set);

    trace::close(scope, 618);
    return 0;
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_NativeProvider_terminateProvider0(JNIEnv* env, jobject,
                                                                                 jint handle)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::NativeProvider_terminateProvider0))
        return status;
    trace::entry(scope, 635, trace::pointer("env", env));

    const std::int32_t status = Provider_Term(handle);
    if (status != 0) report_and_throw(env, scope, 643, "Provider_Term failed", status);

    trace::close(scope, 648);
    return 0;
}

} // extern "C"
