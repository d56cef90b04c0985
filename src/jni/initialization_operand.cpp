// com.brel.sorn.velk.internal.InitializationOperand and its OPRA record.

#include "frame/class_cache.h"
#include "marshal/record.h"
#include "marshal/text.h"
#include "records/definitions.h"

#include <cstdlib>
#include <jni.h>

using namespace velk;

namespace {

// A string that goes into the record: where its size and block stand, and its trace point.
struct Target {
    const char* field;
    std::int32_t* size;
    TextBlock** block;
    std::uint32_t line;
    const char* label;
};

// The block's first slot. Only wide text is ever written, and only that slot is ours: a block of toC's has no
// other, so that none is touched as a whole.
char16_t*& first_slot(TextBlock* block)
{
    return *reinterpret_cast<char16_t**>(block);
}

// Room for the text and its terminator, hung into a new block. Without memory there is neither text nor size.
bool allocate_block(Call& call, const Target& target, jsize length)
{
    *target.block = nullptr;
    *target.size = 0;
    const std::int32_t size = text::wide_size(length);
    if (size == 0) return fail(call, "%s is too long", target.field);
    auto* block = static_cast<TextBlock*>(record::allocate(sizeof(char16_t*)));
    auto* units =
        block == nullptr ? nullptr : static_cast<char16_t*>(record::allocate(static_cast<std::size_t>(size)));
    if (units == nullptr) {
        std::free(block);
        return fail(call, "out of memory for %s", target.field);
    }
    first_slot(block) = units;
    *target.block = block;
    *target.size = size;
    return true;
}

// A text that the record already holds is neither released nor used again. The contract has it so.
bool put_text(Call& call, const Target& target, const jchar* chars, jsize length)
{
    if (!allocate_block(call, target, length)) return false;
    char16_t* text = first_slot(*target.block);
    text::to_wide(text, chars, length);
    trace::data(call.scope, target.line, trace::wide(target.label, text));
    return true;
}

// Without a name the record keeps the one it has.
bool put_name(Call& call, OPRA* record)
{
    const auto name =
        static_cast<jstring>(call.env->GetObjectField(call.self, cache.InitializationOperand.parameterName));
    if (name == nullptr) return true;
    const jsize length = call.env->GetStringLength(name);
    const jchar* chars = call.env->GetStringChars(name, nullptr);
    if (chars == nullptr) return false;
    record->nameType = wide_name;
    const bool put = put_text(call,
                              {.field = "parameterName",
                               .size = &record->nameSize,
                               .block = &record->PN.pWC,
                               .line = 1050,
                               .label = "pDpInitOpDef->PN.pWC->pParmName"},
                              chars, length);
    call.env->ReleaseStringChars(name, chars);
    return put;
}

void put_string_value(Call& call, OPRA* record, jstring value)
{
    const jsize length = call.env->GetStringLength(value);
    const jchar* chars = call.env->GetStringChars(value, nullptr);
    if (chars == nullptr) return;
    record->valueType = wide_value;
    put_text(call,
             {.field = "sValue",
              .size = &record->valueSize,
              .block = &record->PV.pWC,
              .line = 1070,
              .label = "pDpInitOpDef->PV.pWC->pParamVal"},
             chars, length);
    call.env->ReleaseStringChars(value, chars);
}

// A string wins over the integer, which is read only where there is no string.
void put_value(Call& call, OPRA* record)
{
    const auto value =
        static_cast<jstring>(call.env->GetObjectField(call.self, cache.InitializationOperand.sValue));
    if (value != nullptr) return put_string_value(call, record, value);
    const jint integer = call.env->GetIntField(call.self, cache.InitializationOperand.iValue);
    trace::data(call.scope, 1076, trace::integer("jIValue", integer));
    record->valueType = integer_value;
    record->PV.integer = integer;
}

void refresh(Call& call)
{
    auto* record = record::bind<OPRA>(call, cache.InitializationOperand.pointer, "OPRA");
    if (record == nullptr) return;
    const jint id = call.env->GetIntField(call.self, cache.InitializationOperand.parameterId);
    trace::data(call.scope, 1030, trace::pointer("jPointer", record), trace::integer("jParameterId", id));
    record->parameterId = static_cast<std::uint16_t>(id); // 16 bits: the record has no room for more
    if (put_name(call, record)) put_value(call, record);
}

bool give_text(Call& call, const text::Source& source, std::uint32_t line, const char* label, jfieldID field)
{
    text::Buffer buffer;
    if (!text::read(call, source, buffer)) return false;
    trace::data(call.scope, line, text::traced(call, label, buffer));
    return text::hand_over(call, buffer, field);
}

text::Source wide_source(TextBlock* block, std::int32_t size)
{
    return text::wide_source(block == nullptr ? nullptr : first_slot(block), size);
}

text::Source utf8_source(const TextBlock* block, std::int32_t size)
{
    return text::utf8_source(block == nullptr ? nullptr : block->utf8Text, size);
}

bool give_name(Call& call, const OPRA* record)
{
    if (record->nameSize <= 0 || record->PN.pWC == nullptr) return true;
    const text::Source source = record->nameType == wide_name ? wide_source(record->PN.pWC, record->nameSize)
                                                              : utf8_source(record->PN.pWC, record->nameSize);
    return give_text(call, source, 1162, "jParameterNameChars", cache.InitializationOperand.parameterName);
}

// The Java field of the other kind keeps what it holds.
void give_value(Call& call, const OPRA* record)
{
    switch (record->valueType) {
    case integer_value:
        trace::data(call.scope, 1180, trace::integer("jIValue", record->PV.integer));
        call.env->SetIntField(call.self, cache.InitializationOperand.iValue, record->PV.integer);
        break;
    case wide_value:
        give_text(call, wide_source(record->PV.pWC, record->valueSize), 1202, "jSValueChars",
                  cache.InitializationOperand.sValue);
        break;
    case utf8_value:
        give_text(call, utf8_source(record->PV.pWC, record->valueSize), 1225, "jSValueChars",
                  cache.InitializationOperand.sValue);
        break;
    default:
        break;
    }
}

void copy_back(Call& call)
{
    const auto* record = record::of<OPRA>(call.env, call.self, cache.InitializationOperand.pointer);
    if (record == nullptr) return;
    trace::data(call.scope, 1122, trace::pointer("jPointer", record),
                trace::integer("jParameterId", record->parameterId));
    call.env->SetIntField(call.self, cache.InitializationOperand.parameterId, record->parameterId);
    if (give_name(call, record)) give_value(call, record);
}

// Frees the block and the text in its first slot; one in the second slot belongs to whoever made it.
void free_block(TextBlock* block)
{
    if (block == nullptr) return;
    std::free(first_slot(block));
    std::free(block);
}

} // namespace

extern "C" {

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_InitializationOperand_toC(JNIEnv* env, jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "InitializationOperand.toC", .exit_line = 1082};
    if (const std::int32_t status = trace::open(call.scope, block, trace::InitializationOperand_toC))
        return status;
    trace::entry(call.scope, 1015, trace::pointer("env", env));

    if (cache.InitializationOperand.pointer != nullptr) refresh(call);

    return close(call);
}

JNIEXPORT jint JNICALL Java_com_brel_sorn_velk_internal_InitializationOperand_toJava(JNIEnv* env,
                                                                                     jobject self)
{
    static trace::Block block;
    Call call{.env = env, .self = self, .native = "InitializationOperand.toJava", .exit_line = 1243};
    if (const std::int32_t status = trace::open(call.scope, block, trace::InitializationOperand_toJava))
        return status;
    trace::entry(call.scope, 1108, trace::pointer("env", env));

    if (cache.InitializationOperand.pointer != nullptr) copy_back(call);

    return close(call);
}

JNIEXPORT void JNICALL Java_com_brel_sorn_velk_internal_InitializationOperand_free(JNIEnv* env, jobject self)
{
    auto* record = record::to_free<OPRA>(env, self, cache.InitializationOperand.pointer);
    if (record == nullptr) return;
    free_block(record->PN.pWC);
    if (record->valueType > integer_value) free_block(record->PV.pWC);
    record::release(env, self, cache.InitializationOperand.pointer, record);
}

} // extern "C"
