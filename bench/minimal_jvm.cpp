#include "minimal_jvm.h"

#include <cstring>

namespace velk::bench {

namespace {

String made; // by NewString

// A field's ID is its place among these, from 1 on.
const char* const int_fields[] = {"id", "sourceSize", "errorCode"};
jint Field::* const int_members[] = {&Field::id, &Field::sourceSize, &Field::errorCode};

template <class Reference> Reference reference(std::uintptr_t value)
{
    return reinterpret_cast<Reference>(value);
}

Field& field(jobject object)
{
    return *reinterpret_cast<Field*>(object);
}

jint& int_field(jobject object, jfieldID id)
{
    return field(object).*int_members[reinterpret_cast<std::uintptr_t>(id) - 1];
}

jclass JNICALL FindClass(JNIEnv*, const char*)
{
    return reference<jclass>(1);
}

jobject JNICALL NewGlobalRef(JNIEnv*, jobject object)
{
    return object;
}

void JNICALL DeleteLocalRef(JNIEnv*, jobject) {}

jfieldID JNICALL GetFieldID(JNIEnv*, jclass, const char* name, const char*)
{
    for (std::uintptr_t i = 0; i < std::size(int_fields); ++i)
        if (std::strcmp(name, int_fields[i]) == 0) return reference<jfieldID>(i + 1);
    return reference<jfieldID>(std::size(int_fields) + 1);
}

jmethodID JNICALL GetMethodID(JNIEnv*, jclass, const char*, const char*)
{
    return reference<jmethodID>(1);
}

jboolean JNICALL GetBooleanField(JNIEnv*, jobject, jfieldID)
{
    return JNI_FALSE;
}

jlong JNICALL GetLongField(JNIEnv*, jobject object, jfieldID)
{
    return field(object).pointer;
}

void JNICALL SetLongField(JNIEnv*, jobject object, jfieldID, jlong value)
{
    field(object).pointer = value;
}

jint JNICALL GetIntField(JNIEnv*, jobject object, jfieldID id)
{
    return int_field(object, id);
}

void JNICALL SetIntField(JNIEnv*, jobject object, jfieldID id, jint value)
{
    int_field(object, id) = value;
}

jobject JNICALL GetObjectField(JNIEnv*, jobject object, jfieldID)
{
    return reinterpret_cast<jobject>(field(object).source);
}

void JNICALL SetObjectField(JNIEnv*, jobject, jfieldID, jobject) {}

jboolean JNICALL IsInstanceOf(JNIEnv*, jobject, jclass)
{
    return JNI_TRUE;
}

jsize JNICALL GetStringLength(JNIEnv*, jstring string)
{
    return reinterpret_cast<String*>(string)->length;
}

const jchar* JNICALL GetStringChars(JNIEnv*, jstring string, jboolean*)
{
    return reinterpret_cast<const jchar*>(reinterpret_cast<String*>(string)->units);
}

void JNICALL ReleaseStringChars(JNIEnv*, jstring, const jchar*) {}

jstring JNICALL NewString(JNIEnv*, const jchar* units, jsize length)
{
    made = {reinterpret_cast<const char16_t*>(units), length};
    return reinterpret_cast<jstring>(&made);
}

JNINativeInterface_ table()
{
    JNINativeInterface_ functions{};
    functions.FindClass = FindClass;
    functions.NewGlobalRef = NewGlobalRef;
    functions.DeleteLocalRef = DeleteLocalRef;
    functions.GetFieldID = GetFieldID;
    functions.GetMethodID = GetMethodID;
    functions.GetBooleanField = GetBooleanField;
    functions.GetLongField = GetLongField;
    functions.SetLongField = SetLongField;
    functions.GetIntField = GetIntField;
    functions.SetIntField = SetIntField;
    functions.GetObjectField = GetObjectField;
    functions.SetObjectField = SetObjectField;
    functions.IsInstanceOf = IsInstanceOf;
    functions.GetStringLength = GetStringLength;
    functions.GetStringChars = GetStringChars;
    functions.ReleaseStringChars = ReleaseStringChars;
    functions.NewString = NewString;
    return functions;
}

} // namespace

JNIEnv* env()
{
    static const JNINativeInterface_ functions = table();
    static JNIEnv environment{&functions};
    return &environment;
}

std::u16string last_string()
{
    return {made.units, static_cast<std::size_t>(made.length)};
}

} // namespace velk::bench
