// com.brel.sorn.velk.internal.FrameworkDefinition and its FRPA record.

#include "frame/class_cache.h"
#include "marshal/chain.h"
#include "marshal/record.h"
#include "records/definitions.h"

#include <jni.h>

using namespace velk;

namespace {

void refresh(Call& call)
{
    auto* record = record::bind<FRPA>(call, cache.FrameworkDefinition.pointer, "FRPA");
    if (record == nullptr) return;
    const chain::Children children{.name = "initializationOperands",
                                   .field = cache.FrameworkDefinition.initializationOperands,
                                   .first = &record->firstOperand,
                                   .native = "InitializationOperand.toC",
                                   .pointer = cache.InitializationOperand.pointer};
    chain::Container operands;
    if (!chain::read_list(call, children, operands)) return;
    // 16 bits of the count, though every operand is chained: the record has no room for more.
    record->operandCount = static_cast<std::uint16_t>(operands.count);
    trace::data(call.scope, 689, trace::pointer("jPointer", record),
                trace::integer("jInitializationOperandsSize", operands.count));
    chain::link_list(call, children, operands);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_FrameworkDefinition_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "FrameworkDefinition.toC", .exit_line = 709};
    if (const std::int32_t status = trace::open(call.scope, block, trace::FrameworkDefinition_toC))
        return status;
    trace::entry(call.scope, 672, trace::pointer("env", env));

    if (cache.FrameworkDefinition.pointer != nullptr) refresh(call);

    return close(call);
}

// The record has no output fields: nothing is copied back.
JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_FrameworkDefinition_toJava(JNIEnv* env, jobject)
{
    static trace::Block block;
    trace::Scope scope;
    if (const std::int32_t status = trace::open(scope, block, trace::FrameworkDefinition_toJava))
        return status;
    trace::entry(scope, 724, trace::pointer("env", env));
    trace::close(scope, 731);
    return 0;
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_internal_FrameworkDefinition_free(JNIEnv* env, jobject self)
{
    record::release(env, self, cache.FrameworkDefinition.pointer);
}

} // extern "C"
