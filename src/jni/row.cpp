// com.brel.sorn.velk.Row and its ROWD record.

#include "frame/class_cache.h"
#include "marshal/chain.h"
#include "marshal/record.h"
#include "records/rowdata.h"

#include <jni.h>

using namespace velk;

namespace {

void refresh(Call& call)
{
    auto* record = record::bind<ROWD>(call, cache.Row.pointer, "ROWD");
    if (record == nullptr) return;
    record->hasError = call.env->GetBooleanField(call.self, cache.Row.hasError);
    const chain::Children children{.name = "fields",
                                   .field = cache.Row.fields,
                                   .first = &record->firstField,
                                   .native = "Field.toC",
                                   .pointer = cache.Field.pointer};
    chain::Container fields;
    if (!chain::read_array(call, children, fields)) return;
    trace::data(call.scope, 1656, trace::pointer("jPointer", record),
                trace::integer("jFieldCount", fields.count));
    // 16 bits of the count, though every field is chained: the record has no room for more. Where linking
    // stops the count stays Java's, so that an engine refuses the record for a chain that is shorter.
    record->fieldCount = static_cast<std::uint16_t>(fields.count);
    chain::link_array(call, children, fields);
    call.env->DeleteLocalRef(fields.object);
}

void copy_back(Call& call)
{
    const auto* record = record::of<ROWD>(call.env, call.self, cache.Row.pointer);
    trace::data(call.scope, 1702, trace::pointer("jPointer", record));
    // A Java boolean is 0 or 1, an engine's byte anything.
    if (record != nullptr) call.env->SetBooleanField(call.self, cache.Row.hasError, record->hasError != 0);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Row_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "Row.toC", .exit_line = 1678};
    if (const std::int32_t status = trace::open(call.scope, block, trace::Row_toC)) return status;
    trace::entry(call.scope, 1638, trace::pointer("env", env));

    if (cache.Row.pointer != nullptr) refresh(call);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_Row_toJava(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "Row.toJava", .exit_line = 1710};
    if (const std::int32_t status = trace::open(call.scope, block, trace::Row_toJava)) return status;
    trace::entry(call.scope, 1696, trace::pointer("env", env));

    if (cache.Row.pointer != nullptr) copy_back(call);

    return close(call);
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_Row_free(JNIEnv* env, jobject self)
{
    record::release(env, self, cache.Row.pointer);
}

} // extern "C"
