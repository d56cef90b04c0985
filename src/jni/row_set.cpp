// com.brel.sorn.velk.RowSet and its RWST record.

#include "frame/class_cache.h"
#include "marshal/chain.h"
#include "marshal/record.h"
#include "records/rowdata.h"

#include <jni.h>

using namespace velk;

namespace {

void refresh(Call& call)
{
    auto* record = static_cast<RWST*>(record::bind(call, cache.RowSet.pointer, {"RWST", 0, sizeof(RWST)}));
    if (record == nullptr) return;
    chain::Children rows{"rows", &record->firstRow, "Row.toC", cache.Row.pointer};
    if (!chain::read_array(call, cache.RowSet.rows, rows)) return;
    if (trace::wants_data(call.scope)) {
        trace::data(call.scope, 1545,
                    {trace::pointer("jPointer", record), trace::integer("jRowCount", rows.count)});
    }
    record->rowCount =
        rows.count; // Java's even where linking stops: an engine refuses a chain that is shorter
    chain::link_array(call, rows);
    call.env->DeleteLocalRef(rows.container);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_RowSet_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{env, self, "RowSet.toC", 1568, 0, {}};
    if (const std::int32_t status = trace::open(call.scope, block, trace::RowSet_toC)) return status;
    trace::entry(call.scope, 1529, trace::pointer("env", env));

    if (cache.RowSet.pointer != nullptr) refresh(call);

    return close(call);
}

// Nothing is copied back: the results stand in the rows and their fields.
JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_RowSet_toJava(JNIEnv* env, jobject)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::RowSet_toJava)) return status;
    trace::entry(scope, 1584, trace::pointer("env", env));
    trace::close(scope, 1589);
    return 0;
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_RowSet_free(JNIEnv* env, jobject self)
{
    record::release(env, self, cache.RowSet.pointer);
}

} // extern "C"
