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
    auto* record = record::bind<RWST>(call, cache.RowSet.pointer, "RWST");
    if (record == nullptr) return;
    const chain::Children children{.name = "rows",
                                   .field = cache.RowSet.rows,
                                   .first = &record->firstRow,
                                   .native = "Row.toC",
                                   .pointer = cache.Row.pointer};
    chain::Container rows;
    if (!chain::read_array(call, children, rows)) return;
    trace::data(call.scope, 1545, trace::pointer("jPointer", record),
                trace::integer("jRowCount", rows.count));
    record->rowCount =
        rows.count; // Java's even where linking stops: an engine refuses a chain that is shorter
    chain::link_array(call, children, rows);
    call.env->DeleteLocalRef(rows.object);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_RowSet_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "RowSet.toC", .exit_line = 1568};
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
