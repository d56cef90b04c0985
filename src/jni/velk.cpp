// com.brel.sorn.velk.VELK: start-up, and the framework's life.

#include "engine/provider.h"
#include "frame/class_cache.h"
#include "frame/errors.h"
#include "frame/flags.h"
#include "frame/trace.h"
#include "marshal/record.h"

#include <jni.h>

using namespace velk;

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
        return ThrowVELKException(env, "VELK.initializeFramework0", -1);

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
