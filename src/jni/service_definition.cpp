// com.brel.sorn.velk.internal.ServiceDefinition and its SVCA record.

#include "frame/class_cache.h"
#include "frame/errors.h"
#include "marshal/chain.h"
#include "marshal/record.h"
#include "records/definitions.h"

#include <jni.h>

using namespace velk;

namespace {

bool refresh_operands(Call& call, SVCA* record, jint& count)
{
    const chain::Children children{.name = "initializationOperands",
                                   .field = cache.ServiceDefinition.initializationOperands,
                                   .first = &record->firstOperand,
                                   .native = "InitializationOperand.toC",
                                   .pointer = cache.InitializationOperand.pointer};
    chain::Container operands;
    if (!chain::read_list(call, children, operands)) return false;
    count = operands.count;
    trace::data(call.scope, 804, trace::pointer("jPointer", record),
                trace::integer("jInitializationOperandsSize", count));
    // 16 bits of the count, though every operand is chained: the record has no room for more. Where linking
    // stops the count stays Java's, so that an engine refuses the record for a chain that is shorter.
    record->operandCount = static_cast<std::uint16_t>(count);
    return chain::link_list(call, children, operands);
}

bool refresh_fields(Call& call, SVCA* record, jint operand_count)
{
    const chain::Children children{.name = "fieldDefinitions",
                                   .field = cache.ServiceDefinition.fieldDefinitions,
                                   .first = &record->firstField,
                                   .native = "FieldDefinition.toC",
                                   .pointer = cache.FieldDefinition.pointer};
    chain::Container fields;
    if (!chain::read_list(call, children, fields)) return false;
    trace::data(call.scope, 827, trace::pointer("jPointer", record),
                trace::integer("jInitializationOperandsSize", operand_count),
                trace::integer("jFieldDefinitionsSize", fields.count));
    record->fieldCount = static_cast<std::uint16_t>(fields.count); // Java's, in 16 bits, as above
    return chain::link_list(call, children, fields);
}

void refresh(Call& call)
{
    auto* record = record::bind<SVCA>(call, cache.ServiceDefinition.pointer, "SVCA");
    if (record == nullptr) return;
    record->copyToDestination =
        call.env->GetBooleanField(call.self, cache.ServiceDefinition.copyToDestination);
    jint operand_count = 0;
    if (refresh_operands(call, record, operand_count)) refresh_fields(call, record, operand_count);
}

// The mirror class of a chain's records, and what is thrown, from which trace line, when one cannot be made.
struct Mirror {
    jclass clazz;
    jmethodID init;
    jfieldID pointer;
    std::uint32_t constructor_line;
    const char* constructor_message;
    std::uint32_t add_line;
    const char* add_message;
};

// The result stays 0, whatever Throw returns: the contract has it so.
bool mirror_failed(Call& call, std::uint32_t line, const char* message)
{
    call.env->ExceptionClear();
    report_and_throw(call.env, call.scope, line, message, -1);
    return false;
}

bool add_mirror(Call& call, jobject list, const Mirror& mirror, const void* record)
{
    const jobject object = call.env->NewObject(mirror.clazz, mirror.init);
    if (object == nullptr) return mirror_failed(call, mirror.constructor_line, mirror.constructor_message);
    record::set(call.env, object, mirror.pointer, record);
    const jboolean added = call.env->CallBooleanMethod(list, cache.ArrayList.add, object);
    if (call.env->ExceptionCheck() || !added) return mirror_failed(call, mirror.add_line, mirror.add_message);
    call.env->DeleteLocalRef(object);
    return true;
}

// Appends to whatever the list holds, so that a second call appends a second set. The contract has it so.
bool add_operands(Call& call, jobject list, const SVCA* record)
{
    const Mirror mirror{.clazz = cache.InitializationOperand.clazz,
                        .init = cache.InitializationOperand.init,
                        .pointer = cache.InitializationOperand.pointer,
                        .constructor_line = 906,
                        .constructor_message = "InitializationOperand constructor failed",
                        .add_line = 917,
                        .add_message = "ServiceDefinition - add to InitializationOperand list failed"};
    for (const OPRA* operand = record->firstOperand; operand != nullptr; operand = operand->next)
        if (!add_mirror(call, list, mirror, operand)) return false;
    return true;
}

bool add_fields(Call& call, jobject list, const SVCA* record)
{
    const Mirror mirror{.clazz = cache.FieldDefinition.clazz,
                        .init = cache.FieldDefinition.init,
                        .pointer = cache.FieldDefinition.pointer,
                        .constructor_line = 943,
                        .constructor_message = "FieldDefinition constructor failed",
                        .add_line = 954,
                        .add_message = "ServiceDefinition - add to FieldDefinition list failed"};
    for (const FLDA* field = record->firstField; field != nullptr; field = field->next)
        if (!add_mirror(call, list, mirror, field)) return false;
    return true;
}

void copy_back(Call& call)
{
    const auto* record = record::of<SVCA>(call.env, call.self, cache.ServiceDefinition.pointer);
    if (record == nullptr) return;
    // A Java boolean is 0 or 1, an engine's byte anything.
    call.env->SetBooleanField(call.self, cache.ServiceDefinition.copyToDestination,
                              record->copyToDestination != 0);

    chain::Container operands;
    if (!chain::read_list(
            call, {.name = "initializationOperands", .field = cache.ServiceDefinition.initializationOperands},
            operands))
        return;
    if (!add_operands(call, operands.object, record)) return;
    chain::Container fields;
    if (!chain::read_list(
            call, {.name = "fieldDefinitions", .field = cache.ServiceDefinition.fieldDefinitions}, fields))
        return;
    trace::data(call.scope, 933, trace::pointer("jPointer", record),
                trace::integer("jInitializationOperandsSize", operands.count),
                trace::integer("jFieldDefinitionsSize", fields.count));
    // Unlike the operands, fields go into an empty list only.
    if (fields.count == 0) add_fields(call, fields.object, record);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_ServiceDefinition_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "ServiceDefinition.toC", .exit_line = 849};
    if (const std::int32_t status = trace::open(call.scope, block, trace::ServiceDefinition_toC))
        return status;
    trace::entry(call.scope, 785, trace::pointer("env", env));

    if (cache.ServiceDefinition.pointer != nullptr) refresh(call);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_ServiceDefinition_toJava(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "ServiceDefinition.toJava", .exit_line = 964};
    if (const std::int32_t status = trace::open(call.scope, block, trace::ServiceDefinition_toJava))
        return status;
    trace::entry(call.scope, 878, trace::pointer("env", env));

    if (cache.ServiceDefinition.pointer != nullptr) copy_back(call);

    return close(call);
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_internal_ServiceDefinition_free(JNIEnv* env, jobject self)
{
    record::release(env, self, cache.ServiceDefinition.pointer);
}

} // extern "C"
