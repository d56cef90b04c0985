// com.brel.sorn.velk.internal.FieldDefinition and its FLDA record.

#include "frame/class_cache.h"
#include "marshal/record.h"
#include "marshal/text.h"
#include "records/definitions.h"

#include <cstdlib>
#include <jni.h>

using namespace velk;

namespace {

// Both natives report the definition alike: its scalars as the record holds them, and its name.
void trace_definition(const Call& call, std::uint32_t line, const FLDA* record, trace::Item name)
{
    trace::data(call.scope, line, trace::pointer("jPointer", record),
                trace::integer("pDpFieldDef->sDatatype", record->dataType),
                trace::integer("pDpFieldDef->iLength", record->fieldLength),
                trace::integer("pDpFieldDef->iPrecision", record->precision),
                trace::integer("pDpFieldDef->sScale", record->scale), name);
}

// The record with its name block, which has both slots: the way back looks at both.
FLDA* bind(Call& call)
{
    auto* record = record::bind<FLDA>(call, cache.FieldDefinition.pointer, "FLDA");
    if (record == nullptr || record->nameBlock != nullptr) return record;
    record->nameBlock = static_cast<NameBlock*>(record::allocate(sizeof(NameBlock)));
    if (record->nameBlock != nullptr) return record;
    record->nameSize = 0;
    fail(call, "out of memory for the name block");
    return nullptr;
}

// Room for the new name; the former one is gone. A UTF-8 name of the engine's stays in its slot, and free
// leaves it there from now on. The contract has it so.
bool replace_name(Call& call, FLDA* record, jsize length)
{
    std::free(record->nameBlock->wideName);
    record->nameBlock->wideName = nullptr;
    record->nameSize = text::wide_size(length);
    record->nameEncoding = wide_name;
    if (record->nameSize == 0) return fail(call, "columnName is too long");
    record->nameBlock->wideName =
        static_cast<char16_t*>(record::allocate(static_cast<std::size_t>(record->nameSize)));
    if (record->nameBlock->wideName != nullptr) return true;
    record->nameSize = 0;
    return fail(call, "out of memory for columnName");
}

void put_name(Call& call, FLDA* record)
{
    const auto name =
        static_cast<jstring>(call.env->GetObjectField(call.self, cache.FieldDefinition.columnName));
    if (name == nullptr) {
        fail(call, "columnName is null");
        return;
    }
    const jsize length = call.env->GetStringLength(name);
    if (!replace_name(call, record, length)) return;
    const jchar* chars = call.env->GetStringChars(name, nullptr);
    if (chars == nullptr) return;
    text::to_wide(record->nameBlock->wideName, chars, length);
    trace_definition(call, 1352, record,
                     trace::wide("jColumnNameChars", text::units(chars), static_cast<std::size_t>(length)));
    call.env->ReleaseStringChars(name, chars);
}

void refresh(Call& call)
{
    FLDA* record = bind(call);
    if (record == nullptr) return;
    JNIEnv* env = call.env;
    // 16 bits of the data type and the scale: the record has no room for more.
    record->dataType = static_cast<std::int16_t>(env->GetIntField(call.self, cache.FieldDefinition.id));
    record->fieldLength = env->GetIntField(call.self, cache.FieldDefinition.length);
    record->precision = env->GetIntField(call.self, cache.FieldDefinition.precision);
    record->scale = static_cast<std::int16_t>(env->GetIntField(call.self, cache.FieldDefinition.scale));
    put_name(call, record);
}

void give_name(Call& call, const FLDA* record)
{
    const NameBlock* block = record->nameBlock;
    if (record->nameSize <= 0 || block == nullptr) return;
    if (block->utf8Name == nullptr && block->wideName == nullptr) return;
    const bool utf8 = record->nameEncoding == utf8_name;
    const text::Source source = utf8 ? text::utf8_source(block->utf8Name, record->nameSize)
                                     : text::wide_source(block->wideName, record->nameSize);
    text::Buffer buffer;
    // A wide name always takes its area from the heap.
    if (!text::read(call, source, buffer, utf8 ? text::Memory::stack_or_heap : text::Memory::heap)) return;
    trace_definition(call, 1446, record, text::traced(call, "jColumnNameChars", buffer));
    text::hand_over(call, buffer, cache.FieldDefinition.columnName);
}

void copy_back(Call& call)
{
    const auto* record = record::of<FLDA>(call.env, call.self, cache.FieldDefinition.pointer);
    if (record == nullptr) return;
    JNIEnv* env = call.env;
    env->SetIntField(call.self, cache.FieldDefinition.id, record->dataType);
    env->SetIntField(call.self, cache.FieldDefinition.length, record->fieldLength);
    env->SetIntField(call.self, cache.FieldDefinition.precision, record->precision);
    env->SetIntField(call.self, cache.FieldDefinition.scale, record->scale);
    give_name(call, record);
}

// Frees the text that the encoding designates, and the block; the other slot belongs to whoever filled it.
void free_name(FLDA* record)
{
    NameBlock* block = record->nameBlock;
    if (block == nullptr) return;
    if (record->nameEncoding == utf8_name) {
        std::free(block->utf8Name);
    } else {
        std::free(block->wideName);
    }
    std::free(block);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_FieldDefinition_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "FieldDefinition.toC", .exit_line = 1361};
    if (const std::int32_t status = trace::open(call.scope, block, trace::FieldDefinition_toC)) return status;
    trace::entry(call.scope, 1311, trace::pointer("env", env));

    if (cache.FieldDefinition.pointer != nullptr) refresh(call);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_FieldDefinition_toJava(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "FieldDefinition.toJava", .exit_line = 1462};
    if (const std::int32_t status = trace::open(call.scope, block, trace::FieldDefinition_toJava))
        return status;
    trace::entry(call.scope, 1388, trace::pointer("env", env));

    if (cache.FieldDefinition.pointer != nullptr) copy_back(call);

    return close(call);
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_internal_FieldDefinition_free(JNIEnv* env, jobject self)
{
    auto* record = record::to_free<FLDA>(env, self, cache.FieldDefinition.pointer);
    if (record == nullptr) return;
    free_name(record);
    record::release(env, self, cache.FieldDefinition.pointer, record);
}

} // extern "C"
