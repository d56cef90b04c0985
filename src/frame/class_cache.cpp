#include "frame/class_cache.h"

#include <cstddef>

namespace velk {

ClassCache cache;

namespace {

enum class Kind { clazz, kept_class, field, method };

// One lookup. A member belongs to the class in the nearest class entry above it.
struct Entry {
    Kind kind;
    const char* name;
    const char* signature;
    union {
        jclass* clazz;
        jfieldID* field;
        jmethodID* method;
    } slot;
};

constexpr Entry clazz(const char* name, jclass* slot)
{
    return {Kind::clazz, name, nullptr, {.clazz = slot}};
}

// A class whose reference release leaves alone. RowSet and Row are kept so by contract.
constexpr Entry kept_class(const char* name, jclass* slot)
{
    return {Kind::kept_class, name, nullptr, {.clazz = slot}};
}

constexpr Entry field(const char* name, const char* signature, jfieldID* slot)
{
    return {Kind::field, name, signature, {.field = slot}};
}

constexpr Entry method(const char* name, const char* signature, jmethodID* slot)
{
    return {Kind::method, name, signature, {.method = slot}};
}

// In lookup order. Entries that no native reads are part of the contract with the Java classes too: a
// class set that lacks one of them must fail at start-up.
constinit const Entry entries[] = {
    clazz("java/lang/String", &cache.String.clazz),
    clazz("java/lang/Integer", &cache.Integer.clazz),
    clazz("java/util/ArrayList", &cache.ArrayList.clazz),
    method("<init>", "()V", &cache.ArrayList.init),
    method("add", "(Ljava/lang/Object;)Z", &cache.ArrayList.add),
    method("get", "(I)Ljava/lang/Object;", &cache.ArrayList.get),
    method("size", "()I", &cache.ArrayList.size),
    clazz("com/brel/sorn/velk/VELKException", &cache.VELKException.clazz),
    method("<init>", "(Ljava/lang/String;I)V", &cache.VELKException.init),
    clazz("com/brel/sorn/velk/VELK", &cache.VELK.clazz),
    field("debug", "Z", &cache.VELK.debug),
    clazz("com/brel/sorn/velk/NativeProvider", &cache.NativeProvider.clazz),
    clazz("com/brel/sorn/velk/internal/FrameworkDefinition", &cache.FrameworkDefinition.clazz),
    field("pointer", "J", &cache.FrameworkDefinition.pointer),
    field("initializationOperands", "Ljava/util/ArrayList;",
          &cache.FrameworkDefinition.initializationOperands),
    clazz("com/brel/sorn/velk/internal/ServiceDefinition", &cache.ServiceDefinition.clazz),
    field("pointer", "J", &cache.ServiceDefinition.pointer),
    field("copyToDestination", "Z", &cache.ServiceDefinition.copyToDestination),
    field("initializationOperands", "Ljava/util/ArrayList;", &cache.ServiceDefinition.initializationOperands),
    field("fieldDefinitions", "Ljava/util/ArrayList;", &cache.ServiceDefinition.fieldDefinitions),
    field("serviceId", "Ljava/lang/String;", &cache.ServiceDefinition.serviceId),
    clazz("com/brel/sorn/velk/internal/InitializationOperand", &cache.InitializationOperand.clazz),
    field("pointer", "J", &cache.InitializationOperand.pointer),
    field("parameterId", "I", &cache.InitializationOperand.parameterId),
    field("parameterName", "Ljava/lang/String;", &cache.InitializationOperand.parameterName),
    field("iValue", "I", &cache.InitializationOperand.iValue),
    field("sValue", "Ljava/lang/String;", &cache.InitializationOperand.sValue),
    method("<init>", "()V", &cache.InitializationOperand.init),
    clazz("com/brel/sorn/velk/internal/FieldDefinition", &cache.FieldDefinition.clazz),
    field("pointer", "J", &cache.FieldDefinition.pointer),
    field("id", "I", &cache.FieldDefinition.id),
    field("length", "I", &cache.FieldDefinition.length),
    field("precision", "I", &cache.FieldDefinition.precision),
    field("scale", "I", &cache.FieldDefinition.scale),
    field("columnName", "Ljava/lang/String;", &cache.FieldDefinition.columnName),
    method("<init>", "()V", &cache.FieldDefinition.init),
    kept_class("com/brel/sorn/velk/RowSet", &cache.RowSet.clazz),
    field("pointer", "J", &cache.RowSet.pointer),
    field("rows", "[Lcom/brel/sorn/velk/Row;", &cache.RowSet.rows),
    field("rowSetHasInfo", "Z", &cache.RowSet.rowSetHasInfo),
    kept_class("com/brel/sorn/velk/Row", &cache.Row.clazz),
    field("pointer", "J", &cache.Row.pointer),
    field("hasError", "Z", &cache.Row.hasError),
    field("fields", "[Lcom/brel/sorn/velk/Field;", &cache.Row.fields),
    clazz("com/brel/sorn/velk/Field", &cache.Field.clazz),
    field("pointer", "J", &cache.Field.pointer),
    field("id", "I", &cache.Field.id),
    field("sourceSize", "I", &cache.Field.sourceSize),
    field("source", "Ljava/lang/Object;", &cache.Field.source),
    field("destinationSize", "I", &cache.Field.destinationSize),
    field("destination", "Ljava/lang/Object;", &cache.Field.destination),
    field("errorCode", "I", &cache.Field.errorCode),
    field("errorMessage", "Ljava/lang/String;", &cache.Field.errorMessage),
};

// The JVM refuses a global reference without an exception: a start-up that failed must not look as if it
// went well, for every native would do nothing from then on.
void throw_out_of_memory(JNIEnv* env)
{
    if (env->ExceptionCheck()) return;
    if (const jclass clazz = env->FindClass("java/lang/OutOfMemoryError"))
        env->ThrowNew(clazz, "VELK.init0: no global reference");
}

jclass find_class(JNIEnv* env, const char* name)
{
    const jclass local = env->FindClass(name);
    if (local == nullptr) return nullptr;
    const auto global = static_cast<jclass>(env->NewGlobalRef(local));
    env->DeleteLocalRef(local);
    if (global == nullptr) throw_out_of_memory(env);
    return global;
}

// False: the lookup failed and left its slot null.
bool look_up(JNIEnv* env, const Entry& entry, jclass& owner)
{
    switch (entry.kind) {
    case Kind::clazz:
    case Kind::kept_class:
        owner = find_class(env, entry.name);
        *entry.slot.clazz = owner;
        return owner != nullptr;
    case Kind::field:
        *entry.slot.field = env->GetFieldID(owner, entry.name, entry.signature);
        return *entry.slot.field != nullptr;
    case Kind::method:
        *entry.slot.method = env->GetMethodID(owner, entry.name, entry.signature);
        return *entry.slot.method != nullptr;
    }
    return false;
}

// All members, those that were found too: a native that met one without another would use a null ID. And the
// classes behind the failed lookup: they may hold what release has deleted already.
void forget(const Entry& failed)
{
    for (const Entry& entry : entries) {
        if (entry.kind == Kind::field)
            *entry.slot.field = nullptr;
        else if (entry.kind == Kind::method)
            *entry.slot.method = nullptr;
        else if (&entry > &failed)
            *entry.slot.clazz = nullptr;
    }
}

} // namespace

namespace class_cache {

bool fill(JNIEnv* env)
{
    jclass owner = nullptr;
    cache.failed = false;
    for (const Entry& entry : entries) {
        if (look_up(env, entry, owner)) continue;
        forget(entry);
        cache.failed = true;
        return false;
    }
    return true;
}

void release(JNIEnv* env)
{
    for (std::size_t i = sizeof entries / sizeof entries[0]; i-- > 0;) {
        const Entry& entry = entries[i];
        if (entry.kind == Kind::clazz && *entry.slot.clazz != nullptr)
            env->DeleteGlobalRef(*entry.slot.clazz);
    }
}

} // namespace class_cache
} // namespace velk
