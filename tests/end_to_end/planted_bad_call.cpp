// A native that breaks the rules of JNI: it goes on calling with an exception pending. The checker of the
// virtual machine must report it; one that does not would find nothing in the bridge either.

#include <jni.h>

extern "C" JNIEXPORT void JNICALL Java_com_brel_sorn_velk_masking_PlantedBadCall_call(JNIEnv* env, jclass)
{
    env->ThrowNew(env->FindClass("java/lang/IllegalStateException"), "planted");
    env->FindClass("java/lang/String");
}
