#pragma once

// The natives as the JVM finds them.

#include <jni.h>

extern "C" {

#define VELK_NATIVE(result, name) JNIEXPORT result JNICALL Java_com_brel_sorn_velk_##name
#define VELK_MIRROR_NATIVES(name)                                                                            \
    VELK_NATIVE(jint, name##_toC)(JNIEnv*, jobject);                                                         \
    VELK_NATIVE(jint, name##_toJava)(JNIEnv*, jobject);                                                      \
    VELK_NATIVE(void, name##_free)(JNIEnv*, jobject)

VELK_NATIVE(void, VELK_init0)(JNIEnv*, jobject);
VELK_NATIVE(jint, VELK_initializeFramework0)(JNIEnv*, jobject, jobject definition);
VELK_NATIVE(jint, VELK_parseVELKSyntaxString)(JNIEnv*, jobject, jstring masking_string, jobject target);
VELK_NATIVE(jint, VELK_terminateFramework0)(JNIEnv*, jobject);
VELK_NATIVE(jint, VELK_destroy0)(JNIEnv*, jobject);
VELK_NATIVE(jint, NativeProvider_initializeProvider0)
(JNIEnv*, jobject, jstring service_id, jobject service, jboolean flag);
VELK_NATIVE(jint, NativeProvider_serviceProvider0)
(JNIEnv*, jobject, jint handle, jobject service, jobject row_set);
VELK_NATIVE(jint, NativeProvider_terminateProvider0)(JNIEnv*, jobject, jint handle);
VELK_MIRROR_NATIVES(internal_FrameworkDefinition);
VELK_MIRROR_NATIVES(internal_ServiceDefinition);
VELK_MIRROR_NATIVES(internal_InitializationOperand);
VELK_MIRROR_NATIVES(internal_FieldDefinition);
VELK_MIRROR_NATIVES(RowSet);
VELK_MIRROR_NATIVES(Row);
VELK_MIRROR_NATIVES(Field);

#undef VELK_NATIVE
#undef VELK_MIRROR_NATIVES

} // extern "C"
