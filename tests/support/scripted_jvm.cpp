#include "support/scripted_jvm.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) ((void)(address), (void)(size))
#endif

namespace velk::test {

namespace {

struct Object;

struct Class {
    std::string name;
    Object* mirror;
    bool hidden = false;

    std::string short_name() const { return name.substr(name.rfind('/') + 1); }
};

struct Member {
    Class* owner;
    std::string name;
    std::string signature;
    bool hidden = false;

    bool is_method() const { return signature.front() == '('; }
    std::string path() const { return owner->short_name() + "." + name; }
};

struct Value {
    jlong number = 0;
    Object* object = nullptr;
};

struct Object {
    Class* type;
    std::string name;
    std::map<const Member*, Value> fields;
    std::u16string text;           // of a string
    std::string bytes;             // of a string made from bytes
    std::vector<Object*> elements; // of a list or an array
    Class* described = nullptr;    // of a class
    Object* message = nullptr;     // of an exception
    jint code = 0;                 // of a VELKException
    jobject test_reference = nullptr;
};

enum class Kind : std::uint64_t { local = 1, global, test, field, method };

struct Reference {
    Object* object;
    Kind kind;
    bool alive;
};

// Characters lent to a native: whole words, guard words around the units.
struct Characters {
    Object* string;
    std::vector<std::uint64_t> words;
    char16_t* units;
};

constexpr std::size_t guard_words = 2;
constexpr std::uint64_t guard = 0xA5A5A5A5A5A5A5A5;

// JNI promises room for this many local references.
constexpr std::size_t local_capacity = 16;

std::uint16_t next_generation = 0;

} // namespace

struct JvmState : JNIEnv_ {
    explicit JvmState(CallLog& calls) : log(calls) {}

    CallLog& log;
    JNINativeInterface_ table;
    std::uint16_t generation = ++next_generation;
    std::vector<std::unique_ptr<Class>> classes;
    std::vector<std::unique_ptr<Member>> members;
    std::vector<std::unique_ptr<Object>> objects;
    std::vector<Reference> references;
    std::size_t frame_start = 0; // the first reference of the running frame
    std::size_t locals = 0;      // alive
    std::map<const void*, Characters> characters;
    std::vector<Failure> failures;
    Object* pending = nullptr;
    std::string unchecked; // the method call whose exception nobody has looked for
    std::set<const void*> accepted_globals;
    std::vector<std::string> left;
    const std::set<std::string>* may_run_pending = nullptr;
};

namespace {

JvmState& state_of(JNIEnv* env)
{
    return static_cast<JvmState&>(*env);
}

// References and IDs are numbers that no address looks like: what they are, whose they are, which one.
std::uint64_t encode(const JvmState& jvm, Kind kind, std::size_t index)
{
    return static_cast<std::uint64_t>(kind) << 56 | static_cast<std::uint64_t>(jvm.generation) << 40 |
           (index + 1) << 4;
}

std::optional<std::size_t> index_of(const JvmState& jvm, Kind kind, const void* handle, std::size_t count)
{
    const std::uint64_t index = ((reinterpret_cast<std::uint64_t>(handle) & 0xFFFFFFFFF0) >> 4) - 1;
    if (index >= count || encode(jvm, kind, index) != reinterpret_cast<std::uint64_t>(handle)) return {};
    return index;
}

Reference* find_reference(JvmState& jvm, const void* handle)
{
    for (const Kind kind : {Kind::local, Kind::global, Kind::test}) {
        const auto index = index_of(jvm, kind, handle, jvm.references.size());
        if (index && jvm.references[*index].kind == kind) return &jvm.references[*index];
    }
    return nullptr;
}

Member* find_id(JvmState& jvm, Kind kind, const void* id)
{
    const auto index = index_of(jvm, kind, id, jvm.members.size());
    if (!index || jvm.members[*index]->is_method() != (kind == Kind::method)) return nullptr;
    return jvm.members[*index].get();
}

std::string name_of(const Object& object)
{
    if (object.described != nullptr) return "class " + object.described->short_name();
    return object.name.empty() ? object.type->short_name() : object.name;
}

std::string name_of(JvmState& jvm, const void* handle)
{
    if (handle == nullptr) return "null";
    const Reference* reference = find_reference(jvm, handle);
    return reference == nullptr ? "unknown" : name_of(*reference->object);
}

std::string name_of_id(JvmState& jvm, Kind kind, const void* id)
{
    const Member* member = find_id(jvm, kind, id);
    return id == nullptr ? "null" : member == nullptr ? "unknown" : member->name;
}

jobject add_reference(JvmState& jvm, Object* object, Kind kind)
{
    if (object == nullptr) return nullptr;
    jvm.references.push_back({object, kind, true});
    if (kind == Kind::local && ++jvm.locals > local_capacity) {
        violation(jvm.log, "more than " + std::to_string(local_capacity) + " local references");
    }
    return reinterpret_cast<jobject>(encode(jvm, kind, jvm.references.size() - 1));
}

Class* find_class(const JvmState& jvm, const std::string& name)
{
    for (const auto& type : jvm.classes)
        if (type->name == name) return type.get();
    return nullptr;
}

Class& class_named(const JvmState& jvm, const std::string& name)
{
    Class* type = find_class(jvm, name);
    if (type == nullptr) {
        std::fprintf(stderr, "the scripted JVM has no class %s\n", name.c_str());
        std::abort();
    }
    return *type;
}

Member* find_member(const JvmState& jvm, const Class& owner, const std::string& name)
{
    for (const auto& member : jvm.members)
        if (member->owner == &owner && member->name == name) return member.get();
    return nullptr;
}

Object* add_object(JvmState& jvm, Class& type)
{
    jvm.objects.push_back(std::make_unique<Object>(Object{&type, {}, {}, {}, {}, {}}));
    return jvm.objects.back().get();
}

Object* add_string(JvmState& jvm, std::u16string_view text)
{
    Object* string = add_object(jvm, class_named(jvm, "java/lang/String"));
    string->text = text;
    return string;
}

Object* add_string(JvmState& jvm, const std::string& bytes)
{
    Object* string = add_string(jvm, std::u16string(bytes.begin(), bytes.end()));
    string->bytes = bytes;
    return string;
}

void raise(JvmState& jvm, const char* class_name, const std::string& message)
{
    jvm.pending = add_object(jvm, class_named(jvm, class_name));
    jvm.pending->message = add_string(jvm, message);
}

// What each JNI function begins with: the log line, and whether the call may be made now.
void enter(JvmState& jvm, const std::string& function, const std::string& arguments)
{
    jvm.log.push_back(arguments.empty() ? function : function + " " + arguments);
    if (jvm.pending != nullptr && !jvm.may_run_pending->contains(function))
        violation(jvm.log, function + " with an exception pending");
    if (!jvm.unchecked.empty())
        violation(jvm.log, function + " without looking for an exception of " + jvm.unchecked);
    jvm.unchecked.clear();
}

// The functions that JNI permits with an exception pending.
void enter_any_time(JvmState& jvm, const std::string& function, const std::string& arguments)
{
    jvm.log.push_back(arguments.empty() ? function : function + " " + arguments);
}

std::optional<Failure> failure_of(JvmState& jvm, const std::string& function)
{
    std::optional<Failure> due;
    for (Failure& failure : jvm.failures)
        if (failure.function == function && --failure.nth == 0) due = failure;
    std::erase_if(jvm.failures, [](const Failure& failure) { return failure.nth == 0; });
    if (due && due->exception != nullptr) raise(jvm, due->exception, function + " was told to fail");
    return due;
}

// The object of a reference that must be good, or null after failing the test.
Object* use(JvmState& jvm, const void* handle)
{
    Reference* reference = find_reference(jvm, handle);
    if (reference != nullptr && reference->alive) return reference->object;
    const char* what = handle == nullptr ? "null" : reference == nullptr ? "unknown" : "deleted";
    violation(jvm.log, std::string("use of a reference that is ") + what);
    return nullptr;
}

Object* use(JvmState& jvm, const void* handle, const char* class_name)
{
    Object* object = use(jvm, handle);
    if (object == nullptr || object->type->name == class_name) return object;
    violation(jvm.log, name_of(*object) + " is no " + class_name);
    return nullptr;
}

Class* use_class(JvmState& jvm, const void* handle)
{
    Object* object = use(jvm, handle, "java/lang/Class");
    return object == nullptr ? nullptr : object->described;
}

Member* use_id(JvmState& jvm, Kind kind, const void* id, const Class* type)
{
    Member* member = find_id(jvm, kind, id);
    if (member == nullptr) {
        violation(jvm.log, id == nullptr ? "use of a null ID" : "use of an unknown ID");
        return nullptr;
    }
    if (member->owner == type) return member;
    violation(jvm.log, member->path() + " is no member of " + type->name);
    return nullptr;
}

// Classes and members.

jclass JNICALL FindClass(JNIEnv* env, const char* name)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "FindClass", name);
    if (failure_of(jvm, "FindClass")) return nullptr;
    const Class* type = find_class(jvm, name);
    if (type != nullptr && !type->hidden)
        return static_cast<jclass>(add_reference(jvm, type->mirror, Kind::local));
    raise(jvm, "java/lang/NoClassDefFoundError", name);
    return nullptr;
}

void* look_up(JNIEnv* env, const std::string& function, Kind kind, jclass clazz, const char* name,
              const char* signature)
{
    JvmState& jvm = state_of(env);
    const Reference* reference = find_reference(jvm, clazz);
    const bool is_class = reference != nullptr && reference->object->described != nullptr;
    const std::string owner = is_class ? reference->object->described->name : name_of(jvm, clazz);
    enter(jvm, function, owner + "." + name + " " + signature);
    const Class* type = use_class(jvm, clazz);
    if (type == nullptr || failure_of(jvm, function)) return nullptr;
    for (std::size_t i = 0; i < jvm.members.size(); ++i) {
        const Member& member = *jvm.members[i];
        if (member.owner == type && member.name == name && member.signature == signature && !member.hidden)
            return reinterpret_cast<void*>(encode(jvm, kind, i));
    }
    raise(jvm, kind == Kind::field ? "java/lang/NoSuchFieldError" : "java/lang/NoSuchMethodError", name);
    return nullptr;
}

jfieldID JNICALL GetFieldID(JNIEnv* env, jclass clazz, const char* name, const char* signature)
{
    return static_cast<jfieldID>(look_up(env, "GetFieldID", Kind::field, clazz, name, signature));
}

jmethodID JNICALL GetMethodID(JNIEnv* env, jclass clazz, const char* name, const char* signature)
{
    return static_cast<jmethodID>(look_up(env, "GetMethodID", Kind::method, clazz, name, signature));
}

// References.

jobject JNICALL NewGlobalRef(JNIEnv* env, jobject handle)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "NewGlobalRef", name_of(jvm, handle));
    if (failure_of(jvm, "NewGlobalRef") || handle == nullptr) return nullptr;
    return add_reference(jvm, use(jvm, handle), Kind::global);
}

void delete_reference(JvmState& jvm, const void* handle, Kind kind)
{
    if (handle == nullptr || use(jvm, handle) == nullptr) return;
    Reference* reference = find_reference(jvm, handle);
    if (reference->kind != kind) {
        violation(jvm.log, name_of(*reference->object) + " is deleted as a reference that it is not");
        return;
    }
    reference->alive = false;
    if (kind == Kind::local) --jvm.locals;
}

void JNICALL DeleteGlobalRef(JNIEnv* env, jobject handle)
{
    JvmState& jvm = state_of(env);
    enter_any_time(jvm, "DeleteGlobalRef", name_of(jvm, handle));
    delete_reference(jvm, handle, Kind::global);
}

void JNICALL DeleteLocalRef(JNIEnv* env, jobject handle)
{
    JvmState& jvm = state_of(env);
    enter_any_time(jvm, "DeleteLocalRef", name_of(jvm, handle));
    delete_reference(jvm, handle, Kind::local);
}

jboolean JNICALL IsInstanceOf(JNIEnv* env, jobject handle, jclass clazz)
{
    JvmState& jvm = state_of(env);
    const Reference* reference = find_reference(jvm, clazz);
    const bool is_class = reference != nullptr && reference->object->described != nullptr;
    enter(jvm, "IsInstanceOf",
          name_of(jvm, handle) + " " +
              (is_class ? reference->object->described->short_name() : name_of(jvm, clazz)));
    const Class* type = use_class(jvm, clazz);
    const Object* object = handle == nullptr ? nullptr : use(jvm, handle);
    return handle == nullptr || (object != nullptr && object->type == type);
}

// Fields.

Value* field(JNIEnv* env, const char* function, jobject handle, jfieldID id, const std::string& signature)
{
    JvmState& jvm = state_of(env);
    enter(jvm, function, name_of(jvm, handle) + "." + name_of_id(jvm, Kind::field, id));
    Object* object = use(jvm, handle);
    const Member* member = object == nullptr ? nullptr : use_id(jvm, Kind::field, id, object->type);
    if (member == nullptr) return nullptr;
    const bool is_reference = signature == "L";
    const bool fits =
        is_reference ? member->signature.find_first_of("L[") == 0 : member->signature == signature;
    if (!fits) {
        violation(jvm.log, std::string(function) + " on a field of type " + member->signature);
        return nullptr;
    }
    return failure_of(jvm, function) ? nullptr : &object->fields[member];
}

template <class Number>
Number get_number(JNIEnv* env, const char* function, jobject object, jfieldID id, const char* signature)
{
    const Value* value = field(env, function, object, id, signature);
    return value == nullptr ? Number{} : static_cast<Number>(value->number);
}

void set_number(JNIEnv* env, const char* function, jobject object, jfieldID id, const char* signature,
                jlong number)
{
    if (Value* value = field(env, function, object, id, signature)) value->number = number;
}

jboolean JNICALL GetBooleanField(JNIEnv* env, jobject object, jfieldID id)
{
    return get_number<jboolean>(env, "GetBooleanField", object, id, "Z");
}

jint JNICALL GetIntField(JNIEnv* env, jobject object, jfieldID id)
{
    return get_number<jint>(env, "GetIntField", object, id, "I");
}

jlong JNICALL GetLongField(JNIEnv* env, jobject object, jfieldID id)
{
    return get_number<jlong>(env, "GetLongField", object, id, "J");
}

void JNICALL SetBooleanField(JNIEnv* env, jobject object, jfieldID id, jboolean number)
{
    set_number(env, "SetBooleanField", object, id, "Z", number);
    if (number > 1) violation(state_of(env).log, "a boolean is 0 or 1");
}

void JNICALL SetIntField(JNIEnv* env, jobject object, jfieldID id, jint number)
{
    set_number(env, "SetIntField", object, id, "I", number);
}

void JNICALL SetLongField(JNIEnv* env, jobject object, jfieldID id, jlong number)
{
    set_number(env, "SetLongField", object, id, "J", number);
}

jobject JNICALL GetObjectField(JNIEnv* env, jobject object, jfieldID id)
{
    const Value* value = field(env, "GetObjectField", object, id, "L");
    return value == nullptr ? nullptr : add_reference(state_of(env), value->object, Kind::local);
}

bool takes_name(const Object& object)
{
    return object.name.empty() && (object.type->name == "java/lang/String" ||
                                   object.type->name == "java/util/ArrayList" || object.type->name == "[");
}

void store(Value& value, Object* object, const std::string& field_name)
{
    value.object = object;
    if (object != nullptr && takes_name(*object)) object->name = field_name;
}

void JNICALL SetObjectField(JNIEnv* env, jobject object, jfieldID id, jobject handle)
{
    JvmState& jvm = state_of(env);
    Value* value = field(env, "SetObjectField", object, id, "L");
    if (value == nullptr) return;
    const Member* member = find_id(jvm, Kind::field, id);
    Object* stored = handle == nullptr ? nullptr : use(jvm, handle);
    if (stored != nullptr && member->signature != "Ljava/lang/Object;" &&
        member->signature != "L" + stored->type->name + ";")
        violation(jvm.log, member->path() + " takes no " + stored->type->name);
    store(*value, stored, member->name);
}

// Methods.

// Whether the method may be called; the failure that it was told, if any.
bool call(JNIEnv* env, const char* function, jobject handle, jmethodID id, const char* signature,
          const std::string& arguments, std::optional<Failure>& failure)
{
    JvmState& jvm = state_of(env);
    enter(jvm, function, name_of(jvm, handle) + "." + name_of_id(jvm, Kind::method, id) + arguments);
    jvm.unchecked = function;
    const Object* object = use(jvm, handle);
    const Member* method = object == nullptr ? nullptr : use_id(jvm, Kind::method, id, object->type);
    if (method == nullptr) return false;
    if (method->signature != signature) {
        violation(jvm.log, std::string(function) + " of a method " + method->signature);
        return false;
    }
    failure = failure_of(jvm, function);
    return !failure;
}

// The argument is read only of a method that has one.
bool is_method(JNIEnv* env, jmethodID id, const char* name)
{
    const Member* method = find_id(state_of(env), Kind::method, id);
    return method != nullptr && method->name == name;
}

jint JNICALL CallIntMethodV(JNIEnv* env, jobject list, jmethodID id, va_list)
{
    std::optional<Failure> failure;
    if (call(env, "CallIntMethod", list, id, "()I", "", failure))
        return static_cast<jint>(use(state_of(env), list)->elements.size());
    return failure ? failure->result : 0;
}

jobject JNICALL CallObjectMethodV(JNIEnv* env, jobject list, jmethodID id, va_list arguments)
{
    JvmState& jvm = state_of(env);
    const jint index = is_method(env, id, "get") ? va_arg(arguments, jint) : -1;
    std::optional<Failure> failure;
    if (!call(env, "CallObjectMethod", list, id, "(I)Ljava/lang/Object;", " " + std::to_string(index),
              failure))
        return nullptr;
    const std::vector<Object*>& elements = use(jvm, list)->elements;
    if (index >= 0 && static_cast<std::size_t>(index) < elements.size())
        return add_reference(jvm, elements[static_cast<std::size_t>(index)], Kind::local);
    raise(jvm, "java/lang/IndexOutOfBoundsException", std::to_string(index));
    return nullptr;
}

jboolean JNICALL CallBooleanMethodV(JNIEnv* env, jobject list, jmethodID id, va_list arguments)
{
    JvmState& jvm = state_of(env);
    const jobject element = is_method(env, id, "add") ? va_arg(arguments, jobject) : nullptr;
    std::optional<Failure> failure;
    if (!call(env, "CallBooleanMethod", list, id, "(Ljava/lang/Object;)Z", " " + name_of(jvm, element),
              failure))
        return failure && failure->result != 0;
    use(jvm, list)->elements.push_back(element == nullptr ? nullptr : use(jvm, element));
    return JNI_TRUE;
}

jobject JNICALL NewObjectV(JNIEnv* env, jclass clazz, jmethodID id, va_list arguments)
{
    JvmState& jvm = state_of(env);
    const Reference* reference = find_reference(jvm, clazz);
    const bool is_class = reference != nullptr && reference->object->described != nullptr;
    enter(jvm, "NewObject", is_class ? reference->object->described->short_name() : name_of(jvm, clazz));
    Class* type = use_class(jvm, clazz);
    const Member* constructor = type == nullptr ? nullptr : use_id(jvm, Kind::method, id, type);
    if (constructor == nullptr) return nullptr;
    if (constructor->name != "<init>") violation(jvm.log, constructor->path() + " is no constructor");
    if (failure_of(jvm, "NewObject")) return nullptr;
    Object* object = add_object(jvm, *type);
    if (constructor->signature == "(Ljava/lang/String;I)V") {
        const auto message = va_arg(arguments, jstring);
        object->message = message == nullptr ? nullptr : use(jvm, message, "java/lang/String");
        object->code = va_arg(arguments, jint);
    }
    return add_reference(jvm, object, Kind::local);
}

// Strings and arrays.

jstring JNICALL NewString(JNIEnv* env, const jchar* units, jsize length)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "NewString", std::to_string(length));
    if (length < 0 || (units == nullptr && length > 0)) {
        violation(jvm.log, "NewString of no text");
        return nullptr;
    }
    if (failure_of(jvm, "NewString")) return nullptr;
    Object* string = add_string(jvm, std::u16string(units, units + length));
    return static_cast<jstring>(add_reference(jvm, string, Kind::local));
}

jstring JNICALL NewStringUTF(JNIEnv* env, const char* bytes)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "NewStringUTF", bytes == nullptr ? "null" : bytes);
    if (bytes == nullptr) violation(jvm.log, "NewStringUTF of no text");
    if (failure_of(jvm, "NewStringUTF") || bytes == nullptr) return nullptr;
    return static_cast<jstring>(add_reference(jvm, add_string(jvm, std::string(bytes)), Kind::local));
}

jsize JNICALL GetStringLength(JNIEnv* env, jstring handle)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "GetStringLength", name_of(jvm, handle));
    const Object* string = use(jvm, handle, "java/lang/String");
    if (string == nullptr) return 0;
    if (const auto failure = failure_of(jvm, "GetStringLength")) return failure->result;
    return static_cast<jsize>(string->text.size());
}

std::size_t text_bytes(const Characters& characters)
{
    return characters.string->text.size() * sizeof(char16_t);
}

void poison_guards(Characters& characters)
{
    auto* end = reinterpret_cast<char*>(characters.units) + text_bytes(characters);
    auto* last = reinterpret_cast<char*>(characters.words.data() + characters.words.size());
    ASAN_POISON_MEMORY_REGION(characters.words.data(), guard_words * sizeof(std::uint64_t));
    ASAN_POISON_MEMORY_REGION(end, static_cast<std::size_t>(last - end));
}

// The units as Java holds them, with no zero unit behind.
std::vector<std::uint64_t> guarded_copy(const std::u16string& text)
{
    const std::size_t bytes = text.size() * sizeof(char16_t);
    std::vector<std::uint64_t> words(2 * guard_words + (bytes + 7) / 8, guard);
    std::memcpy(words.data() + guard_words, text.data(), bytes);
    return words;
}

const jchar* JNICALL GetStringChars(JNIEnv* env, jstring handle, jboolean* is_copy)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "GetStringChars", name_of(jvm, handle));
    Object* string = use(jvm, handle, "java/lang/String");
    if (string == nullptr || failure_of(jvm, "GetStringChars")) return nullptr;
    if (is_copy != nullptr) *is_copy = JNI_TRUE;
    Characters characters{string, guarded_copy(string->text), nullptr};
    characters.units = reinterpret_cast<char16_t*>(characters.words.data() + guard_words);
    poison_guards(characters);
    const auto* units = reinterpret_cast<const jchar*>(characters.units);
    jvm.characters.emplace(units, std::move(characters));
    return units;
}

void JNICALL ReleaseStringChars(JNIEnv* env, jstring handle, const jchar* units)
{
    JvmState& jvm = state_of(env);
    enter_any_time(jvm, "ReleaseStringChars", name_of(jvm, handle));
    const Object* string = use(jvm, handle, "java/lang/String");
    const auto found = jvm.characters.find(units);
    if (found == jvm.characters.end() || found->second.string != string) {
        violation(jvm.log, "ReleaseStringChars of characters that were not taken from the string");
        return;
    }
    const std::vector<std::uint64_t>& words = found->second.words;
    ASAN_UNPOISON_MEMORY_REGION(words.data(), words.size() * sizeof words[0]);
    if (words != guarded_copy(string->text)) violation(jvm.log, "a string's characters were written");
    jvm.characters.erase(found);
}

jsize JNICALL GetArrayLength(JNIEnv* env, jarray handle)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "GetArrayLength", name_of(jvm, handle));
    const Object* array = use(jvm, handle, "[");
    if (array == nullptr) return 0;
    if (const auto failure = failure_of(jvm, "GetArrayLength")) return failure->result;
    return static_cast<jsize>(array->elements.size());
}

jobject JNICALL GetObjectArrayElement(JNIEnv* env, jobjectArray handle, jsize index)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "GetObjectArrayElement", name_of(jvm, handle) + " " + std::to_string(index));
    const Object* array = use(jvm, handle, "[");
    if (array == nullptr || failure_of(jvm, "GetObjectArrayElement")) return nullptr;
    if (index >= 0 && static_cast<std::size_t>(index) < array->elements.size())
        return add_reference(jvm, array->elements[static_cast<std::size_t>(index)], Kind::local);
    raise(jvm, "java/lang/ArrayIndexOutOfBoundsException", std::to_string(index));
    return nullptr;
}

// Exceptions.

jint JNICALL Throw(JNIEnv* env, jthrowable handle)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "Throw", name_of(jvm, handle));
    Object* exception = use(jvm, handle);
    if (exception == nullptr) return -1;
    if (const auto failure = failure_of(jvm, "Throw")) return failure->result;
    jvm.pending = exception;
    return 0;
}

jint JNICALL ThrowNew(JNIEnv* env, jclass clazz, const char* message)
{
    JvmState& jvm = state_of(env);
    enter(jvm, "ThrowNew", name_of(jvm, clazz));
    const Class* type = use_class(jvm, clazz);
    if (type == nullptr) return -1;
    if (const auto failure = failure_of(jvm, "ThrowNew")) return failure->result;
    raise(jvm, type->name.c_str(), message);
    return 0;
}

jboolean JNICALL ExceptionCheck(JNIEnv* env)
{
    JvmState& jvm = state_of(env);
    enter_any_time(jvm, "ExceptionCheck", "");
    jvm.unchecked.clear();
    return jvm.pending != nullptr;
}

jthrowable JNICALL ExceptionOccurred(JNIEnv* env)
{
    JvmState& jvm = state_of(env);
    enter_any_time(jvm, "ExceptionOccurred", "");
    jvm.unchecked.clear();
    return static_cast<jthrowable>(add_reference(jvm, jvm.pending, Kind::local));
}

void JNICALL ExceptionClear(JNIEnv* env)
{
    JvmState& jvm = state_of(env);
    enter_any_time(jvm, "ExceptionClear", "");
    jvm.unchecked.clear();
    jvm.pending = nullptr;
}

// The function table.

using Slot = void (*)();
constexpr std::size_t slot_count = sizeof(JNINativeInterface_) / sizeof(Slot);

template <std::size_t slot> void unexpected()
{
    std::fprintf(stderr, "JNI function in slot %zu of the table was called: natives have no business there\n",
                 slot);
    std::abort();
}

template <std::size_t... slots> std::array<Slot, slot_count> traps(std::index_sequence<slots...>)
{
    return {unexpected<slots>...};
}

void fill_table(JNINativeInterface_& table)
{
    const std::array<Slot, slot_count> unused = traps(std::make_index_sequence<slot_count>());
    std::memcpy(static_cast<void*>(&table), unused.data(), sizeof table);
    table.FindClass = FindClass;
    table.GetFieldID = GetFieldID;
    table.GetMethodID = GetMethodID;
    table.NewGlobalRef = NewGlobalRef;
    table.DeleteGlobalRef = DeleteGlobalRef;
    table.DeleteLocalRef = DeleteLocalRef;
    table.IsInstanceOf = IsInstanceOf;
    table.GetBooleanField = GetBooleanField;
    table.GetIntField = GetIntField;
    table.GetLongField = GetLongField;
    table.GetObjectField = GetObjectField;
    table.SetBooleanField = SetBooleanField;
    table.SetIntField = SetIntField;
    table.SetLongField = SetLongField;
    table.SetObjectField = SetObjectField;
    table.CallIntMethodV = CallIntMethodV;
    table.CallObjectMethodV = CallObjectMethodV;
    table.CallBooleanMethodV = CallBooleanMethodV;
    table.NewObjectV = NewObjectV;
    table.NewString = NewString;
    table.NewStringUTF = NewStringUTF;
    table.GetStringLength = GetStringLength;
    table.GetStringChars = GetStringChars;
    table.ReleaseStringChars = ReleaseStringChars;
    table.GetArrayLength = GetArrayLength;
    table.GetObjectArrayElement = GetObjectArrayElement;
    table.Throw = Throw;
    table.ThrowNew = ThrowNew;
    table.ExceptionCheck = ExceptionCheck;
    table.ExceptionOccurred = ExceptionOccurred;
    table.ExceptionClear = ExceptionClear;
}

// The classes that exist.

struct MemberText {
    const char* name;
    const char* signature;
};

struct ClassText {
    const char* name;
    std::vector<MemberText> members;
};

const char* const list_signature = "Ljava/util/ArrayList;";
const char* const string_signature = "Ljava/lang/String;";

const std::vector<ClassText>& class_texts()
{
    static const std::vector<ClassText> texts = {
        {"java/lang/String", {}},
        {"java/lang/Integer", {}},
        {"java/util/ArrayList",
         {{"<init>", "()V"},
          {"add", "(Ljava/lang/Object;)Z"},
          {"get", "(I)Ljava/lang/Object;"},
          {"size", "()I"}}},
        {"com/brel/sorn/velk/VELKException", {{"<init>", "(Ljava/lang/String;I)V"}}},
        {"com/brel/sorn/velk/VELK", {{"debug", "Z"}}},
        {"com/brel/sorn/velk/NativeProvider", {}},
        {"com/brel/sorn/velk/internal/FrameworkDefinition",
         {{"pointer", "J"}, {"initializationOperands", list_signature}}},
        {"com/brel/sorn/velk/internal/ServiceDefinition",
         {{"pointer", "J"},
          {"copyToDestination", "Z"},
          {"initializationOperands", list_signature},
          {"fieldDefinitions", list_signature},
          {"serviceId", string_signature}}},
        {"com/brel/sorn/velk/internal/InitializationOperand",
         {{"pointer", "J"},
          {"parameterId", "I"},
          {"parameterName", string_signature},
          {"iValue", "I"},
          {"sValue", string_signature},
          {"<init>", "()V"}}},
        {"com/brel/sorn/velk/internal/FieldDefinition",
         {{"pointer", "J"},
          {"id", "I"},
          {"length", "I"},
          {"precision", "I"},
          {"scale", "I"},
          {"columnName", string_signature},
          {"<init>", "()V"}}},
        {"com/brel/sorn/velk/RowSet",
         {{"pointer", "J"}, {"rows", "[Lcom/brel/sorn/velk/Row;"}, {"rowSetHasInfo", "Z"}}},
        {"com/brel/sorn/velk/Row",
         {{"pointer", "J"}, {"hasError", "Z"}, {"fields", "[Lcom/brel/sorn/velk/Field;"}}},
        {"com/brel/sorn/velk/Field",
         {{"pointer", "J"},
          {"id", "I"},
          {"sourceSize", "I"},
          {"source", "Ljava/lang/Object;"},
          {"destinationSize", "I"},
          {"destination", "Ljava/lang/Object;"},
          {"errorCode", "I"},
          {"errorMessage", string_signature}}},
        {"[", {}},  // any array of objects
        {"[B", {}}, // a byte array
        {"java/lang/ArrayIndexOutOfBoundsException", {}},
        {"java/lang/IllegalStateException", {}},
        {"java/lang/IndexOutOfBoundsException", {}},
        {"java/lang/NoClassDefFoundError", {}},
        {"java/lang/NoSuchFieldError", {}},
        {"java/lang/NoSuchMethodError", {}},
        {"java/lang/OutOfMemoryError", {}},
        {"java/lang/RuntimeException", {}},
    };
    return texts;
}

Class& add_class(JvmState& jvm, const char* name)
{
    jvm.classes.push_back(std::make_unique<Class>(Class{name, nullptr}));
    Class& type = *jvm.classes.back();
    type.mirror = add_object(jvm, *jvm.classes.front());
    type.mirror->described = &type;
    return type;
}

void add_classes(JvmState& jvm)
{
    add_class(jvm, "java/lang/Class");
    for (const ClassText& text : class_texts()) {
        Class& type = add_class(jvm, text.name);
        for (const MemberText& member : text.members)
            jvm.members.push_back(std::make_unique<Member>(Member{&type, member.name, member.signature}));
    }
}

// What tests see.

jobject test_reference(JvmState& jvm, Object* object)
{
    if (object == nullptr) return nullptr;
    if (object->test_reference == nullptr) object->test_reference = add_reference(jvm, object, Kind::test);
    return object->test_reference;
}

Object& object_of(JvmState& jvm, jobject handle)
{
    const Reference* reference = find_reference(jvm, handle);
    if (reference == nullptr) {
        std::fprintf(stderr, "the test looks at %s\n", name_of(jvm, handle).c_str());
        std::abort();
    }
    return *reference->object;
}

Value& value_of(JvmState& jvm, jobject handle, const char* field_name)
{
    Object& object = object_of(jvm, handle);
    const Member* member = find_member(jvm, *object.type, field_name);
    if (member == nullptr) {
        std::fprintf(stderr, "%s has no field %s\n", object.type->name.c_str(), field_name);
        std::abort();
    }
    return object.fields[member];
}

std::vector<Object*> objects_of(JvmState& jvm, const std::vector<jobject>& handles)
{
    std::vector<Object*> objects;
    for (const jobject handle : handles)
        objects.push_back(handle == nullptr ? nullptr : &object_of(jvm, handle));
    return objects;
}

void end_characters(JvmState& jvm)
{
    for (auto& [units, characters] : jvm.characters) {
        violation(jvm.log, "the characters of " + name_of(*characters.string) + " were not released");
        ASAN_UNPOISON_MEMORY_REGION(characters.words.data(), characters.words.size() * 8);
    }
    jvm.characters.clear();
}

} // namespace

void PrintTo(const Thrown& thrown, std::ostream* out)
{
    *out << thrown.class_name << "(" << ::testing::PrintToString(thrown.message) << ", " << thrown.code
         << ")";
}

Thrown velk_exception(std::optional<std::string> message, jint code)
{
    return {"com/brel/sorn/velk/VELKException", std::move(message), code};
}

Jvm::Jvm(CallLog& log) : state(std::make_unique<JvmState>(log))
{
    state->may_run_pending = &may_run_pending;
    fill_table(state->table);
    state->functions = &state->table;
    add_classes(*state);
}

Jvm::~Jvm()
{
    end_frame();
    if (const auto thrown = take_exception())
        violation(state->log, "an exception was not taken: " + ::testing::PrintToString(*thrown));
    for (const Failure& failure : state->failures)
        violation(state->log, "the failure of " + failure.function + " did not come");
    for (std::size_t i = 0; i < state->references.size(); ++i) {
        const Reference& reference = state->references[i];
        const auto handle = reinterpret_cast<const void*>(encode(*state, Kind::global, i));
        if (reference.kind == Kind::global && reference.alive && !state->accepted_globals.contains(handle))
            violation(state->log, "a global reference was left: " + name_of(*reference.object));
    }
}

JNIEnv* Jvm::env()
{
    return state.get();
}

void Jvm::end_frame()
{
    JvmState& jvm = *state;
    jvm.left.clear();
    for (std::size_t i = jvm.frame_start; i < jvm.references.size(); ++i) {
        Reference& reference = jvm.references[i];
        if (reference.kind != Kind::local || !reference.alive) continue;
        reference.alive = false;
        const std::string name = name_of(*reference.object);
        jvm.left.push_back(name);
        if (name != "VELKException" && !may_leave.contains(name))
            violation(jvm.log, "a local reference was left: " + name);
    }
    jvm.frame_start = jvm.references.size();
    jvm.locals = 0;
    jvm.unchecked.clear();
    end_characters(jvm);
}

const std::vector<std::string>& Jvm::left() const
{
    return state->left;
}

jobject Jvm::object(const char* class_name)
{
    return test_reference(*state, add_object(*state, class_named(*state, class_name)));
}

jstring Jvm::string(std::u16string_view text)
{
    return static_cast<jstring>(test_reference(*state, add_string(*state, text)));
}

jobject Jvm::list(const std::vector<jobject>& elements)
{
    const jobject list = object("java/util/ArrayList");
    object_of(*state, list).elements = objects_of(*state, elements);
    return list;
}

jobjectArray Jvm::array(const std::vector<jobject>& elements)
{
    const jobject array = object("[");
    object_of(*state, array).elements = objects_of(*state, elements);
    return static_cast<jobjectArray>(array);
}

void Jvm::name(jobject object, const char* name)
{
    object_of(*state, object).name = name;
}

void Jvm::set_long(jobject object, const char* field, jlong value)
{
    value_of(*state, object, field).number = value;
}

void Jvm::set_int(jobject object, const char* field, jint value)
{
    value_of(*state, object, field).number = value;
}

void Jvm::set_boolean(jobject object, const char* field, bool value)
{
    value_of(*state, object, field).number = value;
}

void Jvm::set_object(jobject object, const char* field, jobject value)
{
    Object* stored = value == nullptr ? nullptr : &object_of(*state, value);
    store(value_of(*state, object, field), stored, field);
}

jlong Jvm::get_long(jobject object, const char* field)
{
    return value_of(*state, object, field).number;
}

jint Jvm::get_int(jobject object, const char* field)
{
    return static_cast<jint>(value_of(*state, object, field).number);
}

bool Jvm::get_boolean(jobject object, const char* field)
{
    return value_of(*state, object, field).number != 0;
}

jobject Jvm::get_object(jobject object, const char* field)
{
    return test_reference(*state, value_of(*state, object, field).object);
}

std::u16string Jvm::text(jobject string)
{
    return object_of(*state, string).text;
}

std::vector<jobject> Jvm::elements(jobject container)
{
    std::vector<jobject> elements;
    for (Object* element : object_of(*state, container).elements)
        elements.push_back(test_reference(*state, element));
    return elements;
}

std::string Jvm::class_of(jobject object)
{
    return object == nullptr ? "null" : object_of(*state, object).type->name;
}

void Jvm::remove_class(const char* class_name)
{
    class_named(*state, class_name).hidden = true;
}

void Jvm::remove_member(const char* class_name, const char* member)
{
    Member* found = find_member(*state, class_named(*state, class_name), member);
    ASSERT_NE(found, nullptr) << class_name << " has no " << member;
    found->hidden = true;
}

void Jvm::fail(Failure failure)
{
    state->failures.push_back(std::move(failure));
}

std::optional<Thrown> Jvm::take_exception()
{
    const Object* exception = std::exchange(state->pending, nullptr);
    if (exception == nullptr) return {};
    Thrown thrown{exception->type->name, {}, exception->code};
    if (exception->message != nullptr) thrown.message = exception->message->bytes;
    return thrown;
}

std::vector<std::string> Jvm::globals() const
{
    std::vector<std::string> names;
    for (const Reference& reference : state->references)
        if (reference.kind == Kind::global && reference.alive) names.push_back(name_of(*reference.object));
    return names;
}

void Jvm::accept_globals()
{
    for (std::size_t i = 0; i < state->references.size(); ++i)
        if (state->references[i].kind == Kind::global)
            state->accepted_globals.insert(reinterpret_cast<const void*>(encode(*state, Kind::global, i)));
}

} // namespace velk::test
